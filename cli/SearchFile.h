#pragma once

#include "engine/search/SavedSearch.h"
#include "platform/Drives.h"
#include "platform/Failure.h"
#include "platform/Folder.h"

#include <QString>

/// The file that a search is kept in, so that it can be gone on with and its finds be recovered
/// later.
class SearchFile {
public:
    /// Reads such a file. Throws `CommandError` when it cannot be read, or is none.
    [[nodiscard]] static kova::SavedSearch load(const QString& path);

    /// Sees to it that writing the file cannot harm what is on `drive`. `exists`: it is there and
    /// is replaced; otherwise nothing may be. Throws `CommandError`.
    SearchFile(const QString& path, const platform::Drive& drive, bool exists);

    /// Replaces the file at once by one with this search: it is whole at any moment. What goes
    /// wrong is kept in `failure`.
    void write(const kova::SavedSearch& search);

    /// Why the last `write` did not succeed.
    [[nodiscard]] const platform::Failure& failure() const { return failure_; }

    [[nodiscard]] const QString& path() const { return path_; }

    /// Whether there is one, of this search or of that which it goes on with.
    [[nodiscard]] bool exists() const { return exists_; }

private:
    [[nodiscard]] platform::Failure replace(const kova::SavedSearch& search);

    QString path_;
    platform::Folder folder_; ///< That it is in.
    bool exists_;
    platform::Failure failure_;
};
