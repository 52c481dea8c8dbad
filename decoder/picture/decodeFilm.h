#pragma once

#include "decoder/picture/Bitmap.h"
#include "decoder/picture/Thumbnail.h"

#include <cstdint>
#include <span>

namespace picture {

/// The first picture of a film, 32 bits to a pixel. Null with the reason in `outcome` when there is
/// none, or it cannot be decoded: what is no film, and films of kinds that are not taken, are
/// unavailable.
[[nodiscard]] Bitmap decodeFilm(std::span<const std::uint8_t> file, Outcome& outcome);

} // namespace picture
