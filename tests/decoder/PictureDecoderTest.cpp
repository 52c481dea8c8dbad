#include "decoder/picture/PictureDecoder.h"

#include <gtest/gtest.h>

#include <FreeImage.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

namespace picture {

namespace {

using Bytes = std::vector<std::uint8_t>;

Thumbnail decode(const Bytes& file) {
    static const PictureDecoder decoder;
    return decoder.decode(file);
}

Bytes fixture(const std::string& name) {
    std::ifstream file(ORVANE_SOURCE_DIR "/tests/pictures/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

Bytes encoded(FIBITMAP* picture, FREE_IMAGE_FORMAT format) {
    FIMEMORY* const memory = FreeImage_OpenMemory();
    EXPECT_TRUE(FreeImage_SaveToMemory(format, picture, memory));
    BYTE* bytes = nullptr;
    DWORD size = 0;
    FreeImage_AcquireMemory(memory, &bytes, &size);
    const Bytes made(bytes, bytes + size);
    FreeImage_CloseMemory(memory);
    return made;
}

double brightness(const Thumbnail& picture, std::size_t pixel) {
    const std::uint8_t* const bytes = &picture.pixels[pixel * kPixelBytes];
    return 0.114 * bytes[0] + 0.587 * bytes[1] + 0.299 * bytes[2];
}

/// How much brighter and darker go together in both, 1 for the same picture.
double likeness(const Thumbnail& one, const Thumbnail& other) {
    const std::size_t count = one.pixels.size() / kPixelBytes;
    double x = 0;
    double y = 0;
    double xx = 0;
    double yy = 0;
    double xy = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const double a = brightness(one, i);
        const double b = brightness(other, i);
        x += a;
        y += b;
        xx += a * a;
        yy += b * b;
        xy += a * b;
    }
    const auto n = static_cast<double>(count);
    return (n * xy - x * y) / std::sqrt((n * xx - x * x) * (n * yy - y * y));
}

template <class Number>
void fill(FIBITMAP* picture, double greatest, unsigned channels) {
    const unsigned width = FreeImage_GetWidth(picture);
    for (unsigned y = 0; y < FreeImage_GetHeight(picture); ++y) {
        auto* line = reinterpret_cast<Number*>(FreeImage_GetScanLine(picture, static_cast<int>(y)));
        for (unsigned i = 0; i < width * channels; ++i) {
            const bool isOpacity = channels == 4 && i % channels == 3;
            const double share = isOpacity ? 1 : double(i / channels) / (width - 1); // NOLINT
            line[i] = static_cast<Number>(greatest * share);
        }
    }
}

} // namespace

TEST(PictureDecoderTest, EveryFormatShowsTheSamePicture) {
    const Thumbnail expected = decode(fixture("small.png"));
    ASSERT_EQ(expected.pixels.size(), 24U * 16 * kPixelBytes);
    for (const char* name : {"bmp", "ico", "j2k", "jp2", "mng", "pct", "pcx", "ppm", "psd", "ras",
                             "sgi", "tga", "tif", "xpm", "gif"})
        EXPECT_EQ(decode(fixture(std::string("small.") + name)).pixels, expected.pixels) << name;
    for (const char* name :
         {"dds", "jng", "jpg", "pbm", "pgm", "xbm", "webp", "heic", "avif", "mp4", "mpg"}) {
        const Thumbnail made = decode(fixture(std::string("small.") + name));
        ASSERT_EQ(made.pixels.size(), expected.pixels.size()) << name;
        EXPECT_GT(likeness(made, expected), 0.8) << name;
    }
    // These have no brightest value, and are mapped so that all can be told apart.
    for (const char* name : {"exr", "hdr", "pfm"}) {
        const Thumbnail made = decode(fixture(std::string("small.") + name));
        ASSERT_EQ(made.pixels.size(), expected.pixels.size()) << name;
        EXPECT_GT(likeness(made, expected), 0.65) << name;
    }
}

TEST(PictureDecoderTest, EveryTypeOfPixelIsConvertedWhetherItIsScaledOrNot) {
    for (const auto& [type, fillWith, greatest, channels] :
         {std::tuple{FIT_UINT16, &fill<std::uint16_t>, 65535.0, 1U},
          std::tuple{FIT_INT16, &fill<std::int16_t>, 30000.0, 1U},
          std::tuple{FIT_UINT32, &fill<std::uint32_t>, 4e9, 1U},
          std::tuple{FIT_INT32, &fill<std::int32_t>, 2e9, 1U},
          std::tuple{FIT_FLOAT, &fill<float>, 3.0, 1U},
          std::tuple{FIT_DOUBLE, &fill<double>, 3.0, 1U},
          std::tuple{FIT_COMPLEX, &fill<double>, 3.0, 2U},
          std::tuple{FIT_RGB16, &fill<std::uint16_t>, 65535.0, 3U},
          std::tuple{FIT_RGBA16, &fill<std::uint16_t>, 65535.0, 4U},
          std::tuple{FIT_RGBF, &fill<float>, 3.0, 3U},
          std::tuple{FIT_RGBAF, &fill<float>, 3.0, 4U}}) {
        for (const unsigned width : {100U, 1000U}) {
            SCOPED_TRACE(testing::Message() << "type " << type << ", " << width);
            FIBITMAP* const picture = FreeImage_AllocateT(type, static_cast<int>(width), 8);
            ASSERT_NE(picture, nullptr);
            fillWith(picture, greatest, channels);
            if (type == FIT_FLOAT || type == FIT_RGBF)
                *reinterpret_cast<float*>(FreeImage_GetScanLine(picture, 0)) = INFINITY;
            const Thumbnail made = decode(encoded(picture, FIF_TIFF));
            FreeImage_Unload(picture);
            ASSERT_EQ(made.outcome, Outcome::Decoded);
            ASSERT_EQ(made.width, std::min(width, kThumbnailSize));
            EXPECT_LT(brightness(made, 0), 40);
            EXPECT_GT(brightness(made, made.width - 1), 200);
            for (std::size_t x = 1; x < made.width; ++x)
                EXPECT_GE(brightness(made, x), brightness(made, x - 1) - 1) << x;
        }
    }
}

TEST(PictureDecoderTest, WhatIsBeyondItsMeansIsNotCalledCorrupted) {
    FIBITMAP* const picture = FreeImage_Allocate(8, 8, 24);
    Bytes huge = encoded(picture, FIF_BMP);
    FreeImage_Unload(picture);
    for (const std::size_t at : {18U, 22U}) { // both sides become 12,000 pixels long
        huge[at] = 0xE0;
        huge[at + 1] = 0x2E;
    }
    EXPECT_EQ(decode(huge).outcome, Outcome::Corrupted);
    huge.resize(std::size_t{1} << 20);
    EXPECT_EQ(decode(huge).outcome, Outcome::Unavailable);

    // The library cannot tell a size that is none from one for which there is no memory.
    Bytes sizeless = fixture("small.pcx");
    sizeless[3] = 1;
    EXPECT_EQ(decode(sizeless).outcome, Outcome::Unavailable);

    // Kinds without a codec here, and a damaged file of one that there is.
    const Bytes heif = fixture("small.heic");
    for (const Bytes& file : {Bytes{0x1A, 0x45, 0xDF, 0xA3, 0x9F},
                              Bytes{0, 0, 0, 24, 'f', 't', 'y', 'p', 'i', 's', 'o', 'm'}})
        EXPECT_EQ(decode(file).outcome, Outcome::Unavailable);
    EXPECT_EQ(decode({heif.begin(), heif.begin() + 300}).outcome, Outcome::Corrupted);
    const Bytes png = fixture("small.png");
    EXPECT_EQ(decode({png.begin(), png.begin() + 60}).outcome, Outcome::Corrupted);
    EXPECT_EQ(decode({'t', 'e', 'x', 't'}).outcome, Outcome::Corrupted);
}

} // namespace picture
