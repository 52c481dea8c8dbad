#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace platform {

/// A little-endian unsigned number at a byte offset, which must lie within `bytes`.
template <typename Number>
[[nodiscard]] Number littleEndian(std::span<const std::uint8_t> bytes, std::size_t offset) {
    Number value = 0;
    for (std::size_t i = 0; i < sizeof(Number); ++i)
        value = static_cast<Number>(value | (static_cast<Number>(bytes[offset + i]) << (8 * i)));
    return value;
}

} // namespace platform
