#pragma once

#include "cli/CommandError.h"
#include "cli/Progress.h"
#include "cli/SearchFile.h"
#include "platform/Drives.h"
#include "workers/ScanSession.h"

#include <QCommandLineParser>
#include <QString>

#include <optional>

/// The volume that a command reads: a drive by its letter, a device, or an image file.
class Source {
public:
    static void addOptions(QCommandLineParser& parser);

    /// Opens what the command's argument stands for. Throws `CommandError` when it cannot be
    /// opened, is neither NTFS, exFAT nor FAT, or several partitions of an image would do.
    explicit Source(const QCommandLineParser& parser);
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;
    ~Source() = default;

    [[nodiscard]] const platform::Drive& drive() const { return drive_; }

    /// As Windows names it: what was scanned, or what the drive says; empty when nothing tells.
    [[nodiscard]] QString fileSystem() const {
        return QString::fromStdString(session_.fileSystem());
    }

    /// The image file's path; empty when it is no image.
    [[nodiscard]] QString imagePath() const;

    [[nodiscard]] kova::ZCustomMedia& media() { return session_.media(); }

    [[nodiscard]] kova::ZVolume& volume() { return *session_.volume(); }

    /// What the scan finds; may be given a filter before.
    [[nodiscard]] kova::ZFileTree& tree() const { return session_.tree(); }

    /// Fills the tree, once, keeps what a search has found in a file if that is asked for, and
    /// warns of what is missing in it. Throws `CommandError` when the volume cannot be used, or the
    /// user asked to stop.
    void scan();

private:
    /// A search of the whole drive, as the options ask for it.
    struct Search {
        kova::SearchOptions options;
        std::optional<kova::SavedSearch> before; ///< It goes on from there.
        bool readsOn = true;                     ///< False: nothing more is looked at.
        QString file;                            ///< The one with `before`, or to be written.
    };

    [[nodiscard]] static std::optional<Search> searchIn(const QCommandLineParser& parser);
    void search();
    void warnOfSaving() const;

    bool onProgress(double done);
    [[nodiscard]] CommandError whyNotScanned() const;
    void warnOfGaps() const;

    QString name_; ///< As the user gave it, for messages.
    platform::Drive drive_;
    std::optional<Search> search_;    ///< Set: the whole drive is searched, too.
    std::optional<SearchFile> saved_; ///< What becomes of the search is kept there.
    Progress* progress_ = nullptr;    ///< While a scan runs.
    ScanSession session_;
    bool offersSearch_; ///< Where one may help, and there was none.
};
