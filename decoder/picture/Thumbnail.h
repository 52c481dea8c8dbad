#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace picture {

/// The longest side of a thumbnail, in pixels.
inline constexpr std::uint32_t kThumbnailSize = 320;
/// Blue, green, red and opacity, a byte each.
inline constexpr std::size_t kPixelBytes = 4;

/// The values go between the two processes.
enum class Outcome : std::uint8_t {
    Decoded = 0,
    Corrupted = 1,   ///< Of no known format, or damaged.
    Unavailable = 2, ///< Nothing is known against it, but it takes too much, or a codec is missing.
};

/// What became of a picture. Unless it is decoded there are no pixels, and both sides are 0.
struct Thumbnail {
    Outcome outcome = Outcome::Corrupted;
    std::uint32_t width = 0; ///< 1 to kThumbnailSize, as is the height.
    std::uint32_t height = 0;
    std::vector<std::uint8_t> pixels; ///< Of kPixelBytes each, row by row from the top.
};

} // namespace picture
