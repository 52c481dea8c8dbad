#pragma once

#include "cli/Source.h"
#include "platform/Folder.h"

#include <QString>
#include <QStringList>

#include <memory>

/// The directory that files are recovered to.
class OutputDirectory {
public:
    /// Sees to it, before anything else is done, that `path` is a directory that can be written
    /// and that writing there cannot harm what is to be recovered. Creates it if need be. Throws
    /// `CommandError`. `replaces`: existing files will be overwritten. `isForced`: it need not be
    /// known where what is written goes.
    OutputDirectory(const QString& path, const Source& source, bool replaces, bool isForced);
    OutputDirectory(const OutputDirectory&) = delete;
    OutputDirectory& operator=(const OutputDirectory&) = delete;
    ~OutputDirectory() = default;

    /// Without a trailing separator.
    [[nodiscard]] const QString& path() const { return path_; }

    /// The same, open. A scan may take hours, and its path may lead elsewhere by then.
    [[nodiscard]] const std::shared_ptr<platform::Folder>& folder() const { return folder_; }

private:
    /// Folders from the outermost to the innermost. Those that have stayed empty go with it.
    struct CreatedFolders {
        CreatedFolders() = default;
        CreatedFolders(const CreatedFolders&) = delete;
        CreatedFolders& operator=(const CreatedFolders&) = delete;
        ~CreatedFolders();

        QStringList paths;
    };

    void refuseHarm(const Source& source, bool replaces, bool isForced) const;
    void create();

    QString path_;
    CreatedFolders created_;
    std::shared_ptr<platform::Folder> folder_ = std::make_shared<platform::Folder>();
};
