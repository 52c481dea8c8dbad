#pragma once

#include "engine/types.h"

#include <cstddef>
#include <span>

namespace kova {

/// Appends `length` bytes to the first `made` of `out`, from `distance` before their end on; what
/// is copied may be part of what is made. Leaving `out` on either side is the generic failure.
inline void copyBack(std::span<uint8> out, std::size_t& made, std::size_t distance,
                     std::size_t length) {
    if (distance == 0 || distance > made || length > out.size() - made)
        fail();
    for (const std::size_t end = made + length; made < end; ++made)
        out[made] = out[made - distance];
}

} // namespace kova
