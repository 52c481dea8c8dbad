#pragma once

#include "engine/types.h"

#include <bit>
#include <cstddef>
#include <cstring>
#include <span>

namespace kova {

/// Reads a little-endian integer that need not be aligned. The caller has checked that
/// `sizeof(T)` bytes can be read at `bytes`.
template <typename T>
[[nodiscard]] inline T loadLe(const uint8* bytes) {
    static_assert(std::endian::native == std::endian::little, "the engine runs on little-endian");
    T value;
    std::memcpy(&value, bytes, sizeof(T));
    return value;
}

/// Writes a little-endian integer that need not be aligned; the caller has checked the room.
template <typename T>
inline void storeLe(uint8* bytes, T value) {
    std::memcpy(bytes, &value, sizeof(T));
}

/// Reads a little-endian integer `offset` bytes into `bytes`. A field that leaves the buffer is
/// the generic failure.
template <typename T>
[[nodiscard]] inline T readLe(std::span<const uint8> bytes, std::size_t offset) {
    if (offset > bytes.size() || bytes.size() - offset < sizeof(T))
        fail();
    return loadLe<T>(bytes.data() + offset);
}

} // namespace kova
