#pragma once

#include <cstdint>
#include <span>

namespace picture {

/// Whether a TIFF file's first directory names a camera, as those do in which cameras keep what
/// their sensor saw: a codec for TIFF pictures alone may find none in them.
[[nodiscard]] bool isCameraRaw(std::span<const std::uint8_t> file);

} // namespace picture
