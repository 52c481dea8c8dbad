#pragma once

#include <cstdint>
#include <span>

namespace picture {

/// Whether the bytes begin as a picture or film does of a kind that some build of the decoder, or
/// none, can show.
[[nodiscard]] bool isKnownPicture(std::span<const std::uint8_t> file);

} // namespace picture
