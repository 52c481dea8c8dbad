#include "workers/picture/PictureDecoder.h"

#include <FreeImage.h>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <memory>

namespace picture {

namespace {

/// Decoded pixels, in bytes. What decoding takes besides fits the memory of the process as well.
constexpr std::uint64_t kMostPixelBytes = std::uint64_t{384} << 20;

/// JPEG files are read at a smaller scale right away when a side is longer than this, and still
/// larger than a thumbnail then.
constexpr unsigned kLongestUnscaledSide = 2048;
constexpr int kScaledSide = 2 * kThumbnailSize;
/// The side goes in the upper half of the flags.
constexpr int kScaleShift = 16;

using Bitmap = std::unique_ptr<FIBITMAP, decltype(&FreeImage_Unload)>;
using Memory = std::unique_ptr<FIMEMORY, decltype(&FreeImage_CloseMemory)>;

/// From the start, wherever reading stood before.
Bitmap load(FREE_IMAGE_FORMAT format, FIMEMORY* stream, int flags) {
    FreeImage_SeekMemory(stream, 0, SEEK_SET);
    return {FreeImage_LoadFromMemory(format, stream, flags), FreeImage_Unload};
}

Bitmap decodeWhole(FREE_IMAGE_FORMAT format, FIMEMORY* stream) {
    if (FreeImage_FIFSupportsNoPixels(format) == FALSE)
        return load(format, stream, 0);
    Bitmap header = load(format, stream, FIF_LOAD_NOPIXELS);
    if (header == nullptr)
        return header;
    const std::uint64_t width = FreeImage_GetWidth(header.get());
    const std::uint64_t height = FreeImage_GetHeight(header.get());
    if (format == FIF_JPEG && std::max(width, height) > kLongestUnscaledSide)
        return load(format, stream, kScaledSide << kScaleShift);
    const std::uint64_t bitsPerPixel = std::max(FreeImage_GetBPP(header.get()), 1U);
    if (height != 0 && width > kMostPixelBytes * 8 / bitsPerPixel / height)
        return {nullptr, FreeImage_Unload};
    return load(format, stream, 0);
}

} // namespace

PictureDecoder::PictureDecoder() {
    FreeImage_Initialise(FALSE);
}

Thumbnail PictureDecoder::decode(std::span<const std::uint8_t> file) const {
    if (file.empty() || file.size() > std::numeric_limits<DWORD>::max())
        return {Outcome::Corrupted, {}};
    // The library takes no pointer to constant bytes, but reads only.
    const Memory input(
        FreeImage_OpenMemory(const_cast<BYTE*>(file.data()), static_cast<DWORD>(file.size())),
        FreeImage_CloseMemory);
    const FREE_IMAGE_FORMAT format = FreeImage_GetFileTypeFromMemory(input.get(), 0);
    if (format == FIF_UNKNOWN)
        return {Outcome::Corrupted, {}};
    Bitmap whole = decodeWhole(format, input.get());
    if (whole == nullptr)
        return {Outcome::Corrupted, {}};

    const Memory output(FreeImage_OpenMemory(nullptr, 0), FreeImage_CloseMemory);
    const Bitmap thumbnail(FreeImage_MakeThumbnail(whole.get(), kThumbnailSize, TRUE),
                           FreeImage_Unload);
    whole.reset();
    BYTE* bytes = nullptr;
    DWORD size = 0;
    if (thumbnail == nullptr ||
        FreeImage_SaveToMemory(FIF_PNG, thumbnail.get(), output.get(), PNG_DEFAULT) == FALSE ||
        FreeImage_AcquireMemory(output.get(), &bytes, &size) == FALSE)
        return {Outcome::Unavailable, {}};
    return {Outcome::Decoded, {bytes, bytes + size}};
}

} // namespace picture
