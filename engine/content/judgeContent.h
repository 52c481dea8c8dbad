#pragma once

#include "engine/content/ContentKind.h"

#include <span>

namespace kova {

/// What content says about a file of which the size and the promised kinds are known.
struct ContentVerdict {
    Fit fit = Fit::CannotTell; ///< Whether it is one whole file of a promised kind.
    bool begins = true;        ///< False: what lies there is not even the beginning of one.
    uint64 soundBytes = 0;     ///< So many are right.
    uint64 breaksAt = 0;       ///< At least one byte before this or at it is wrong.
};

/// Follows a file of one of these kinds from end to end. Empty files, those of no kind that is
/// known and those of more than 512 MiB are not judged.
[[nodiscard]] ContentVerdict judgeContent(ContentSource& file,
                                          std::span<const ContentKind* const> kinds);

} // namespace kova
