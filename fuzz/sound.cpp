#include "decoder/sound/SoundDecoder.h"

extern "C" {
#include <libavutil/log.h>
}

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

// What runs here is FFmpeg's for the most part, built without checks; the decoder process keeps
// in what it does.

/// As in the decoder process, what does not fit the memory is not there.
extern "C" const char* __asan_default_options() { // NOLINT: the sanitizer's name
    return "allocator_may_return_null=1:max_allocation_size_mb=900:detect_leaks=0";
}

/// The first two bytes choose a place to read from, the rest is the file.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr std::size_t kPlaceBytes = 2;
    constexpr std::size_t kPieceBytes = std::size_t{64} << 10;
    if (size < kPlaceBytes)
        return 0;
    av_log_set_level(AV_LOG_QUIET);
    const auto decoder = sound::SoundDecoder::open({data + kPlaceBytes, size - kPlaceBytes});
    if (!decoder)
        return 0;
    const std::uint64_t length = decoder->length();
    const std::uint64_t frame = decoder->frameBytes();
    if (length == 0 || length % frame != 0)
        std::abort();
    std::vector<std::uint8_t> piece(kPieceBytes);
    const std::uint64_t part = (std::uint64_t{data[0]} << 8) | data[1];
    for (const std::uint64_t position : {std::uint64_t{0}, length / 65536 * part}) {
        const std::uint64_t there = length - position / frame * frame;
        const std::uint64_t whole = kPieceBytes / frame * frame;
        if (decoder->read(position, piece) != std::min(there, whole))
            std::abort();
    }
    return 0;
}
