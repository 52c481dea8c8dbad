#pragma once

#include "engine/types.h"

#include <cstddef>
#include <span>

namespace kova {

/// Reads a big-endian integer that need not be aligned. The caller has checked that `sizeof(T)`
/// bytes can be read at `bytes`.
template <typename T>
[[nodiscard]] inline T loadBe(const uint8* bytes) {
    uint64 value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i)
        value = (value << 8) | bytes[i];
    return static_cast<T>(value);
}

/// Reads a big-endian integer `offset` bytes into `bytes`. A field that leaves the buffer is the
/// generic failure.
template <typename T>
[[nodiscard]] inline T readBe(std::span<const uint8> bytes, std::size_t offset) {
    if (offset > bytes.size() || bytes.size() - offset < sizeof(T))
        fail();
    return loadBe<T>(bytes.data() + offset);
}

} // namespace kova
