#pragma once

#include "engine/ExtractReport.h"
#include "engine/FileState.h"
#include "engine/ZTreeListing.h"
#include "engine/types.h"

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <optional>

/// What came of one file of a recovery, or of a folder that could not be created.
struct RecoveredFile {
    /// Why a file is not complete.
    enum class Problem {
        Unreadable,   ///< The volume does not give the file's data, or not all of it.
        CannotCreate, ///< The output file or folder could not be created.
        CannotWrite,  ///< Writing the output failed.
        OutputFull,   ///< The output drive has no room left for it.
        Mismatch,     ///< The output drive does not give back what was written.
    };

    std::size_t entry = kova::ZTreeListing::kNone; ///< Its index in the listing.
    QString path;                                  ///< Where it was written, or would have been.
    bool isFolder = false;
    std::optional<Problem> problem;
    QString detail; ///< The system's own words for the problem, if it had any.
    /// A file that is not of this recovery had its name, so it got another one.
    bool gaveWay = false;
    kova::int64 size = 0;               ///< Bytes that it should have.
    kova::int64 writtenBytes = 0;       ///< Of these, in the output.
    kova::uint64 unreadableSectors = 0; ///< Zeros stand in their place.
    kova::ExtractReport report;
    kova::FileState state;
    /// SHA-256 of what was written, 32 bytes, if it was asked for and the file is there.
    QByteArray sha256;
    bool isVerified = false; ///< What was written was read back, and is the same.

    /// Whether other files hold some of what it was, so that what was written is not all its own.
    [[nodiscard]] bool isOverwritten() const {
        return state.kind == kova::FileState::Kind::Partly ||
               state.kind == kova::FileState::Kind::Overwritten;
    }

    /// Whether nothing but zeros was left of it.
    [[nodiscard]] bool isErased() const { return state.kind == kova::FileState::Kind::Erased; }

    [[nodiscard]] bool isComplete() const { return !problem && !isOverwritten() && !isErased(); }

    /// Whether it is complete, but what was written may be another file's all the same.
    [[nodiscard]] bool isDoubtful() const {
        using Kind = kova::FileState::Kind;
        return isComplete() && (state.kind == Kind::Uncertain || state.kind == Kind::Inconsistent ||
                                state.kind == Kind::NotWhatItsNameSays);
    }
};
