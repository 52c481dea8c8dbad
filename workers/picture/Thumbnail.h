#pragma once

#include <cstdint>
#include <vector>

namespace picture {

/// The longest side of a thumbnail, in pixels.
inline constexpr int kThumbnailSize = 320;

/// The values go between the two processes.
enum class Outcome : std::uint8_t {
    Decoded = 0,
    Corrupted = 1,   ///< Of no known format, damaged, or more than decoding may take.
    Unavailable = 2, ///< Decoding, or encoding what came of it, does not work here.
};

/// What became of a picture.
struct Thumbnail {
    Outcome outcome = Outcome::Corrupted;
    std::vector<std::uint8_t> png; ///< Empty unless decoded.
};

} // namespace picture
