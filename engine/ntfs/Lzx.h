#pragma once

#include "engine/types.h"

#include <cstddef>
#include <span>

namespace kova {

/// Expands LZX, as patch and cabinet files hold it, in the variant of system images: chunks of
/// 32 KiB that know nothing of each other, and whose jumps of x86 programs are always translated.
class Lzx {
public:
    static constexpr std::size_t kChunkBytes = std::size_t{32} << 10;

    /// Fills all of `out`, at most `kChunkBytes`; false when `packed` does not say with what.
    static bool expand(std::span<const uint8> packed, std::span<uint8> out);
};

} // namespace kova
