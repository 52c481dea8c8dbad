#pragma once

#include "decoder/picture/Bitmap.h"
#include "decoder/picture/Thumbnail.h"

#include <cstdint>
#include <optional>
#include <span>

namespace picture {

/// The main picture of an HEIF file, HEIC or AVIF, or a thumbnail in it that is large enough:
/// 32 bits to a pixel. Nothing when the file is of another kind; null with the reason in `outcome`
/// when it cannot be decoded. Pictures that would take more than `mostBytes` are unavailable.
[[nodiscard]] std::optional<Bitmap> decodeHeif(std::span<const std::uint8_t> file,
                                               std::uint64_t mostBytes, Outcome& outcome);

} // namespace picture
