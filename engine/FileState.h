#pragma once

#include "engine/types.h"

namespace kova {

/// How much of a found file is still its own, as the file system tells it now.
struct FileState {
    enum class Kind {
        Unknown,            ///< Nobody can tell.
        Whole,              ///< No other file holds any of its clusters.
        Partly,             ///< Other files hold `taken` of its `clusters` clusters.
        Overwritten,        ///< Other files hold all of them.
        Resident,           ///< Its content lies in its record: what is read is what it was.
        Uncertain,          ///< Where it lay is a guess, however good.
        Unreadable,         ///< Nothing tells where it lay, or what tells it is damaged.
        Erased,             ///< Only zeros are left where it lay; see `ZVolume::assessContent`.
        NotWhatItsNameSays, ///< What lies there does not fit its suffix; see the same.
        Inconsistent,       ///< What lies there breaks off; see `ZVolume::assessWholeContent`.
    };

    Kind kind = Kind::Unknown;
    uint64 clusters = 0; ///< Clusters that its content takes, holes left out.
    uint64 taken = 0;    ///< Of these, held by other files now.
};

} // namespace kova
