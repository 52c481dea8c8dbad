#pragma once

#include "decoder/picture/Thumbnail.h"

#include <cstdint>
#include <span>
#include <string>

namespace picture {

/// Has `file` decoded by the decoder at path `program`, in a process of its own that is given
/// nothing but these bytes. Whatever they do to it, there is an answer within 3 seconds, and the
/// process has ended by then. A decoder that does not start, or takes longer, makes the picture
/// unavailable; a file over which it ends before is corrupted.
[[nodiscard]] Thumbnail decodeApart(const std::wstring& program,
                                    std::span<const std::uint8_t> file);

} // namespace picture
