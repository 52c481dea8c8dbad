#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace format {

/// Reads a little-endian integer that need not be aligned. The caller has checked that
/// `sizeof(T)` bytes can be read at `bytes`.
template <typename T>
[[nodiscard]] inline T loadLe(const std::uint8_t* bytes) {
    static_assert(std::endian::native == std::endian::little, "made for little-endian machines");
    T value;
    std::memcpy(&value, bytes, sizeof(T));
    return value;
}

/// Writes a little-endian integer that need not be aligned; the caller has checked the room.
template <typename T>
inline void storeLe(std::uint8_t* bytes, T value) {
    std::memcpy(bytes, &value, sizeof(T));
}

} // namespace format
