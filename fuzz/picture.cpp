#include "picture/PictureDecoder.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <span>

// Most of what runs here is the library's, which the decoder process keeps in: findings are ours
// when they are in its caller, and otherwise worth a report to the library.

/// As in the decoder process, what does not fit the memory is not there.
extern "C" const char* __asan_default_options() { // NOLINT: the sanitizer's name
    return "allocator_may_return_null=1:max_allocation_size_mb=800";
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
