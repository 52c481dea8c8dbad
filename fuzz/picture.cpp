#include "workers/picture/PictureDecoder.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <span>

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
    constexpr std::array<uint8_t, 8> kSignature{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    const bool isPng = thumbnail.png.size() > kSignature.size() &&
                       std::equal(kSignature.begin(), kSignature.end(), thumbnail.png.begin());
    if (isPng != (thumbnail.outcome == picture::Outcome::Decoded))
        std::abort();
    return 0;
}
