#pragma once

#include "decoder/picture/Thumbnail.h"

#include <cstdint>
#include <span>

namespace picture {

/// Decodes pictures of every format that FreeImage knows, and HEIF and the first pictures of films
/// where it is built with what they take. The bytes may be anything, and the library's decoders are
/// not to be trusted with that: only a process with nothing to lose, and with bounded memory and
/// time, calls this.
class PictureDecoder {
public:
    PictureDecoder();

    /// The content of `file` says of which format it is. A picture whose header tells that it would
    /// not fit the memory is unavailable, unless so few bytes cannot hold so many pixels. Not for
    /// two threads at once: the library tells its reasons to the process.
    [[nodiscard]] Thumbnail decode(std::span<const std::uint8_t> file) const;
};

} // namespace picture
