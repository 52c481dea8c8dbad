#pragma once

#include "engine/types.h"

#include <cstddef>
#include <span>

namespace kova {

/// Expands LZNT1, in which NTFS compresses: chunks that each hold up to 4096 bytes of content,
/// plain or as literals and references back into the same chunk.
class Lznt1 {
public:
    static constexpr std::size_t kChunkBytes = 4096;

    /// Expands `packed` into `out`; what it does not reach becomes zero. A damaged chunk costs
    /// itself, as far as it makes no sense. Returns whether nothing damaged was met among the
    /// first `needed` bytes.
    static bool expand(std::span<const uint8> packed, std::span<uint8> out, std::size_t needed);
};

} // namespace kova
