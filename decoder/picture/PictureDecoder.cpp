#include "decoder/picture/PictureDecoder.h"

#include "decoder/picture/Bitmap.h"
#include "decoder/picture/isCameraRaw.h"
#include "decoder/picture/isKnownPicture.h"
#ifdef ORVANE_FILMS
#include "decoder/picture/decodeFilm.h"
#endif
#ifdef ORVANE_HEIF
#include "decoder/picture/decodeHeif.h"
#endif

#include <FreeImage.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

namespace picture {

namespace {

/// Decoded pixels, in bytes. What decoding takes besides fits the memory of the process as well.
constexpr std::uint64_t kMostPixelBytes = std::uint64_t{384} << 20;

/// More pixels than this from one byte of a file no format of pictures gets: who promises them is
/// damaged.
constexpr std::uint64_t kMostExpansion = std::uint64_t{1} << 15;

/// JPEG files are read at a smaller scale right away when a side is longer than this, and still
/// larger than a thumbnail then.
constexpr unsigned kLongestUnscaledSide = 2048;
constexpr int kScaledSide = 2 * int{kThumbnailSize};
/// The side goes in the upper half of the flags.
constexpr int kScaleShift = 16;

constexpr unsigned kThumbnailBits = 8 * kPixelBytes;

using Memory = std::unique_ptr<FIMEMORY, decltype(&FreeImage_CloseMemory)>;

/// Whether the library has said, since this was last cleared, that it fails for want of memory or
/// of a codec and not by the file's fault. It tells only in words.
bool lacksMeans = false;

void hear(FREE_IMAGE_FORMAT /*format*/, const char* message) {
    constexpr std::array<std::string_view, 6> kWords{
        "memory", "alloc", "unsupported", "not supported", "not support", "not configured"};
    std::string said(message == nullptr ? "" : message);
    std::transform(said.begin(), said.end(), said.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    lacksMeans =
        lacksMeans || std::any_of(kWords.begin(), kWords.end(), [&](std::string_view word) {
            return said.find(word) != std::string::npos;
        });
}

Thumbnail failed(Outcome outcome) {
    return {.outcome = outcome, .width = 0, .height = 0, .pixels = {}};
}

/// From the start, wherever reading stood before.
Bitmap load(FREE_IMAGE_FORMAT format, FIMEMORY* stream, int flags) {
    FreeImage_SeekMemory(stream, 0, SEEK_SET);
    return {FreeImage_LoadFromMemory(format, stream, flags), FreeImage_Unload};
}

Bitmap decodeWhole(FREE_IMAGE_FORMAT format, FIMEMORY* stream, std::size_t fileBytes) {
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
    if (height != 0 && width > kMostPixelBytes * 8 / bitsPerPixel / height) {
        lacksMeans = width * height / kMostExpansion <= fileBytes;
        return {nullptr, FreeImage_Unload};
    }
    return load(format, stream, 0);
}

/// Infinities and what is no number, which renderings have here and there, would spread over
/// the whole picture.
void clearNonFinite(FIBITMAP* picture) {
    const unsigned values = FreeImage_GetLine(picture) / sizeof(float);
    for (unsigned y = 0; y < FreeImage_GetHeight(picture); ++y) {
        auto* const line = reinterpret_cast<float*>(FreeImage_GetScanLine(picture, int(y)));
        std::replace_if(
            line, line + values, [](float value) { return !std::isfinite(value); }, 0.0F);
    }
}

/// Types that the library neither scales nor shows become ones that it does.
Bitmap scalable(Bitmap picture) {
    switch (FreeImage_GetImageType(picture.get())) {
    case FIT_FLOAT:
    case FIT_RGBF:
    case FIT_RGBAF:
        clearNonFinite(picture.get());
        return picture;
    case FIT_BITMAP:
    case FIT_UINT16:
    case FIT_RGB16:
    case FIT_RGBA16:
        return picture;
    default:
        return {FreeImage_ConvertToStandardType(picture.get(), TRUE), FreeImage_Unload};
    }
}

/// As a screen takes it. The library would do so only where it scales.
Bitmap standard(FIBITMAP* picture) {
    switch (FreeImage_GetImageType(picture)) {
    case FIT_FLOAT:
        return {FreeImage_ConvertToStandardType(picture, TRUE), FreeImage_Unload};
    case FIT_UINT16:
        return {FreeImage_ConvertTo8Bits(picture), FreeImage_Unload};
    case FIT_RGBF:
    case FIT_RGBAF:
        return {FreeImage_ToneMapping(picture, FITMO_DRAGO03), FreeImage_Unload};
    default:
        return {FreeImage_ConvertTo32Bits(picture), FreeImage_Unload};
    }
}

/// Null when the library cannot do it.
Bitmap scaledDown(Bitmap whole) {
    whole = scalable(std::move(whole));
    Bitmap small{nullptr, FreeImage_Unload};
    if (whole != nullptr)
        small.reset(FreeImage_MakeThumbnail(whole.get(), int{kThumbnailSize}, FALSE));
    whole.reset();
    if (small != nullptr)
        small = standard(small.get());
    if (small != nullptr && FreeImage_GetBPP(small.get()) != kThumbnailBits)
        small.reset(FreeImage_ConvertTo32Bits(small.get()));
    return small;
}

/// Rows are from the bottom in the library.
Thumbnail toThumbnail(FIBITMAP* bitmap) {
    Thumbnail made{.outcome = Outcome::Decoded,
                   .width = FreeImage_GetWidth(bitmap),
                   .height = FreeImage_GetHeight(bitmap),
                   .pixels = {}};
    made.pixels.reserve(std::size_t{made.width} * made.height * kPixelBytes);
    for (unsigned y = made.height; y-- > 0;) {
        const BYTE* const line = FreeImage_GetScanLine(bitmap, static_cast<int>(y));
        made.pixels.insert(made.pixels.end(), line, line + made.width * kPixelBytes);
    }
    return made;
}

Thumbnail shrunk(Bitmap picture, Outcome whyNone) {
    if (picture == nullptr)
        return failed(whyNone);
    const Bitmap small = scaledDown(std::move(picture));
    return small == nullptr ? failed(Outcome::Unavailable) : toThumbnail(small.get());
}

/// Of what the library does not know.
Thumbnail decodeOther(std::span<const std::uint8_t> file) {
    [[maybe_unused]] Outcome outcome = Outcome::Unavailable;
#ifdef ORVANE_HEIF
    if (auto picture = decodeHeif(file, kMostPixelBytes, outcome))
        return shrunk(*std::move(picture), outcome);
#endif
    if (!isKnownPicture(file))
        return failed(Outcome::Corrupted);
#ifdef ORVANE_FILMS
    return shrunk(decodeFilm(file, outcome), outcome);
#else
    return failed(Outcome::Unavailable);
#endif
}

Thumbnail decodeFile(std::span<const std::uint8_t> file) {
    // The library takes no pointer to constant bytes, but reads only.
    const Memory input(
        FreeImage_OpenMemory(const_cast<BYTE*>(file.data()), static_cast<DWORD>(file.size())),
        FreeImage_CloseMemory);
    const FREE_IMAGE_FORMAT format = FreeImage_GetFileTypeFromMemory(input.get(), 0);
    if (format == FIF_UNKNOWN)
        return decodeOther(file);
    Bitmap whole = decodeWhole(format, input.get(), file.size());
    if (whole == nullptr) {
        // Files of cameras that the library does not know yet come as TIFF files.
        const bool lacksCodec = format == FIF_TIFF && isCameraRaw(file);
        return failed(lacksMeans || lacksCodec ? Outcome::Unavailable : Outcome::Corrupted);
    }
    // Its rows are from the bottom, which the library takes no notice of.
    if (format == FIF_PFM)
        FreeImage_FlipVertical(whole.get());
    return shrunk(std::move(whole), Outcome::Unavailable);
}

} // namespace

PictureDecoder::PictureDecoder() {
    FreeImage_Initialise(FALSE);
    FreeImage_SetOutputMessage(&hear);
}

Thumbnail PictureDecoder::decode(std::span<const std::uint8_t> file) const {
    if (file.empty())
        return failed(Outcome::Corrupted);
    if (file.size() > std::numeric_limits<DWORD>::max())
        return failed(Outcome::Unavailable);
    lacksMeans = false;
    try {
        return decodeFile(file);
    } catch (const std::bad_alloc&) {
        return failed(Outcome::Unavailable);
    }
}

} // namespace picture
