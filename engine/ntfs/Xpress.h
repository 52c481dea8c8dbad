#pragma once

#include "engine/types.h"

#include <span>

namespace kova {

/// Expands XPRESS with Huffman codes, as [MS-XCA] describes it, one chunk of at most 64 KiB.
class Xpress {
public:
    /// Fills all of `out`; false when `packed` does not say with what.
    static bool expand(std::span<const uint8> packed, std::span<uint8> out);
};

} // namespace kova
