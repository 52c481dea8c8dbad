#pragma once

#include "engine/types.h"

namespace kova {

/// Where a found file begins, and how sure that is.
struct FatPlace {
    enum class Certainty : uint8 {
        Known,   ///< Its entry says so, or nothing else is possible.
        Guessed, ///< Found again, and clearly better than any other place.
        Doubted, ///< Another place is as likely, or another file the likelier owner.
        None,    ///< Not known.
    };

    uint32 first = 0;   ///< First cluster; 0: not known, or the file is empty.
    uint32 created = 0; ///< `FatDirectoryEntry::creationStamp`.
    Certainty certainty = Certainty::None;
};

} // namespace kova
