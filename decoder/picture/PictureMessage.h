#pragma once

#include <cstdint>

namespace decoder {

/// What became of a picture. When it is decoded, its pixels are the next message.
struct PictureMessage {
    std::uint32_t outcome; ///< A picture::Outcome.
    std::uint32_t width;
    std::uint32_t height;
};

} // namespace decoder
