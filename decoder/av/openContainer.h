#pragma once

#include "decoder/av/AvHandle.h"
#include "decoder/av/MemoryInput.h"

namespace av {

/// Opens a container in memory and looks for what its streams of one kind are; all others are
/// left alone. Null when it is none of `containers` or is damaged.
/// @param containers, decoders names of the library's, with commas between them: others stay
///        closed, and so do files that the container refers to
AvHandle<AVFormatContext> openContainer(const MemoryInput& input, const char* containers,
                                        const char* decoders, AVMediaType kind);

} // namespace av
