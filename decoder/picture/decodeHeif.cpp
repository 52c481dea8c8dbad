#include "decoder/picture/decodeHeif.h"

#include <libheif/heif.h>

#include <algorithm>
#include <cstddef>

namespace picture {

namespace {

/// How much of a file its kind is told from.
constexpr std::size_t kBrandBytes = 12;
constexpr int kMostThreads = 4;

struct Release {
    void operator()(heif_context* context) const { heif_context_free(context); }

    void operator()(heif_image_handle* handle) const { heif_image_handle_release(handle); }

    void operator()(heif_image* image) const { heif_image_release(image); }
};

template <class T>
using Owned = std::unique_ptr<T, Release>;

/// Whether the file is at fault.
Outcome outcomeOf(const heif_error& error) {
    switch (error.code) {
    case heif_error_Unsupported_filetype:
    case heif_error_Unsupported_feature:
    case heif_error_Memory_allocation_error:
    case heif_error_Plugin_loading_error:
        return Outcome::Unavailable;
    default:
        return error.subcode == heif_suberror_Security_limit_exceeded ? Outcome::Unavailable
                                                                      : Outcome::Corrupted;
    }
}

int longestSide(const heif_image_handle* handle) {
    return std::max(heif_image_handle_get_width(handle), heif_image_handle_get_height(handle));
}

/// Cameras keep one as large as what is shown; it takes a hundredth of the time.
Owned<heif_image_handle> smallestThatServes(Owned<heif_image_handle> main) {
    heif_item_id id = 0;
    heif_image_handle* small = nullptr;
    if (heif_image_handle_get_list_of_thumbnail_IDs(main.get(), &id, 1) != 1 ||
        heif_image_handle_get_thumbnail(main.get(), id, &small).code != heif_error_Ok)
        return main;
    Owned<heif_image_handle> thumbnail(small);
    return longestSide(small) >= int{kThumbnailSize} ? std::move(thumbnail) : std::move(main);
}

/// From red, green, blue and opacity, rows from the top.
Bitmap toBitmap(const heif_image* image) {
    int stride = 0;
    const std::uint8_t* const plane =
        heif_image_get_plane_readonly(image, heif_channel_interleaved, &stride);
    const int width = heif_image_get_width(image, heif_channel_interleaved);
    const int height = heif_image_get_height(image, heif_channel_interleaved);
    Bitmap bitmap(nullptr, FreeImage_Unload);
    if (plane != nullptr && width > 0 && height > 0)
        bitmap.reset(FreeImage_Allocate(width, height, 8 * int{kPixelBytes}));
    if (bitmap == nullptr)
        return bitmap;
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* from = plane + std::ptrdiff_t{y} * stride;
        BYTE* to = FreeImage_GetScanLine(bitmap.get(), height - 1 - y);
        for (int x = 0; x < width; ++x, from += kPixelBytes, to += kPixelBytes) {
            to[0] = from[2];
            to[1] = from[1];
            to[2] = from[0];
            to[3] = from[3];
        }
    }
    return bitmap;
}

} // namespace

std::optional<Bitmap> decodeHeif(std::span<const std::uint8_t> file, std::uint64_t mostBytes,
                                 Outcome& outcome) {
    if (file.size() < kBrandBytes)
        return std::nullopt;
    const heif_filetype_result kind = heif_check_filetype(file.data(), int{kBrandBytes});
    if (kind != heif_filetype_yes_supported && kind != heif_filetype_yes_unsupported)
        return std::nullopt;
    outcome = Outcome::Unavailable;
    Bitmap none(nullptr, FreeImage_Unload);
    const Owned<heif_context> context(heif_context_alloc());
    if (context == nullptr)
        return none;
    heif_context_set_max_decoding_threads(context.get(), kMostThreads);
    heif_error error = heif_context_read_from_memory_without_copy(context.get(), file.data(),
                                                                  file.size(), nullptr);
    heif_image_handle* handle = nullptr;
    if (error.code == heif_error_Ok)
        error = heif_context_get_primary_image_handle(context.get(), &handle);
    if (error.code != heif_error_Ok) {
        outcome = outcomeOf(error);
        return none;
    }
    const Owned<heif_image_handle> picture = smallestThatServes(Owned<heif_image_handle>(handle));
    const auto width = static_cast<std::uint64_t>(heif_image_handle_get_width(picture.get()));
    const auto height = static_cast<std::uint64_t>(heif_image_handle_get_height(picture.get()));
    if (height != 0 && width > mostBytes / kPixelBytes / height)
        return none;
    heif_image* decoded = nullptr;
    error = heif_decode_image(picture.get(), &decoded, heif_colorspace_RGB,
                              heif_chroma_interleaved_RGBA, nullptr);
    const Owned<heif_image> image(decoded);
    if (error.code != heif_error_Ok) {
        outcome = outcomeOf(error);
        return none;
    }
    return toBitmap(decoded);
}

} // namespace picture
