#include "decoder/picture/PictureDecoder.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

// Most of what runs here is the library's, which is not built for fuzzing and known to fail on
// hostile files; the decoder process keeps it in. To go on after its findings:
//   fuzz_picture -fork=1 -ignore_crashes=1 -ignore_timeouts=1 -ignore_ooms=1 CORPUS tests/pictures

/// As in the decoder process, what does not fit the memory is not there.
extern "C" const char* __asan_default_options() { // NOLINT: the sanitizer's name
    return "allocator_may_return_null=1:max_allocation_size_mb=800:detect_leaks=0";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const picture::PictureDecoder decoder;
    const picture::Thumbnail thumbnail = decoder.decode({data, size});
    const bool isDecoded = thumbnail.outcome == picture::Outcome::Decoded;
    const size_t side = std::max(thumbnail.width, thumbnail.height);
    if (isDecoded != (side > 0) || side > picture::kThumbnailSize ||
        thumbnail.pixels.size() !=
            size_t{thumbnail.width} * thumbnail.height * picture::kPixelBytes)
        std::abort();
    return 0;
}
