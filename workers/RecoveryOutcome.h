#pragma once

#include "engine/types.h"
#include "workers/RecoveredFile.h"

#include <QString>
#include <QStringList>

/// What came of a recovery. Files are counted, not folders.
struct RecoveryOutcome {
    /// Why it ended.
    enum class End {
        Done,             ///< All files have been attempted.
        Stopped,          ///< The user asked for it.
        SourceGone,       ///< The drive that is read was removed.
        OutputFull,       ///< The output drive has no room for some of the files.
        OutputUnwritable, ///< Nothing can be written to the output directory any more, or what was
                          ///< written has not arrived there.
    };

    End end = End::Done;
    QString detail; ///< The system's own words for the end, if it had any.

    kova::uint32 files = 0;      ///< To be recovered.
    kova::uint32 complete = 0;   ///< Written in full, and no other file's data among it.
    kova::uint32 incomplete = 0; ///< Written in part, or not all of it is theirs any more.
    kova::uint32 failed = 0;     ///< Nothing of them was written, or it may not have arrived.

    kova::uint32 doubtful = 0; ///< Of the complete ones: what they are may be another file's.
    kova::uint32 guessed = 0;  ///< Of the doubtful ones: where they lay is a guess.

    kova::uint32 encrypted = 0;         ///< Of the complete and incomplete ones.
    kova::uint32 partlyOverwritten = 0; ///< Of the incomplete ones.
    kova::uint32 erased = 0;            ///< Of the incomplete ones: only zeros came out.

    /// Of the complete and incomplete ones: read back, and the same as what was written.
    kova::uint32 verified = 0;

    /// Files that were there already with the names of recovered ones, which got others.
    kova::uint32 gaveWay = 0;

    /// With `OutputUnwritable`: the output directory is not there any more.
    bool outputIsGone = false;

    kova::uint64 completeBytes = 0; ///< In the complete files.

    /// Paths of files that were written, but the output drive may not have them. They count as
    /// failed.
    QStringList inDoubt;

    [[nodiscard]] kova::uint32 attempted() const { return complete + incomplete + failed; }

    /// Files that the run did not come to, or that were left out with their folder.
    [[nodiscard]] kova::uint32 notAttempted() const { return files - attempted(); }

    void add(const RecoveredFile& file);

    /// Takes back what `add` has counted: the file may not have arrived.
    void doubt(const RecoveredFile& file);
};
