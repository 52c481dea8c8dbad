#include "engine/content/PngRows.h"

#include "engine/BigEndian.h"

#include <algorithm>

namespace kova {

namespace {

constexpr std::size_t kWidthAt = 0;
constexpr std::size_t kHeightAt = 4;
constexpr std::size_t kDepthAt = 8;
constexpr std::size_t kColourAt = 9;
constexpr std::size_t kPackingAt = 10;
constexpr std::size_t kFilteringAt = 11;
constexpr std::size_t kInterlaceAt = 12;
constexpr uint32 kMostSide = 0x7FFFFFFF;
constexpr uint8 kFilters = 5;

/// Samples of a pixel by the kind of colour; 0: there is no such kind.
constexpr uint8 kSamples[] = {1, 0, 3, 1, 2, 0, 4};

/// Which pixels an interlaced picture has in each of its passes: from one on, every so many.
struct Grid {
    uint32 x;
    uint32 y;
    uint32 stepX;
    uint32 stepY;
};

constexpr Grid kAll[] = {{0, 0, 1, 1}};
constexpr Grid kInterlaced[] = {{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4},
                                {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}};

constexpr uint64 pixels(uint32 side, uint32 from, uint32 step) {
    return side > from ? (uint64{side} - from + step - 1) / step : 0;
}

} // namespace

bool PngRows::takeHeader(std::span<const uint8> header) {
    const auto width = readBe<uint32>(header, kWidthAt);
    const auto height = readBe<uint32>(header, kHeightAt);
    const uint8 depth = header[kDepthAt];
    const uint8 colour = header[kColourAt];
    const uint8 interlace = header[kInterlaceAt];
    if (width == 0 || height == 0 || width > kMostSide || height > kMostSide || depth == 0 ||
        depth > 16 || colour >= std::size(kSamples) || kSamples[colour] == 0 || interlace > 1 ||
        header[kPackingAt] != 0 || header[kFilteringAt] != 0)
        return false;
    passes_.clear();
    for (const Grid& grid : interlace == 0 ? std::span<const Grid>(kAll) : kInterlaced) {
        const uint64 across = pixels(width, grid.x, grid.stepX);
        const uint64 down = pixels(height, grid.y, grid.stepY);
        if (across > 0 && down > 0)
            passes_.push_back({1 + (across * kSamples[colour] * depth + 7) / 8, down});
    }
    return true;
}

bool PngRows::take(std::span<const uint8> inflated) {
    bytes_ += inflated.size();
    asFilters_ += static_cast<uint64>(
        std::ranges::count_if(inflated, [](uint8 byte) { return byte < kFilters; }));
    while (!inflated.empty()) {
        if (rowLeft_ == 0) {
            if (pass_ == passes_.size() || inflated[0] >= kFilters)
                return false;
            ++begun_;
            rowLeft_ = passes_[pass_].rowBytes;
            if (++row_ == passes_[pass_].rows) {
                row_ = 0;
                ++pass_;
            }
        }
        const auto count = static_cast<std::size_t>(std::min<uint64>(rowLeft_, inflated.size()));
        rowLeft_ -= count;
        inflated = inflated.subspan(count);
    }
    return true;
}

std::size_t PngRows::sureRows() const {
    constexpr double kAccident = 1e-5;
    constexpr std::size_t kLeast = 4;
    const double share = static_cast<double>(asFilters_ + 1) / static_cast<double>(bytes_ + 1);
    std::size_t rows = 0;
    double accident = 1;
    for (; accident > kAccident && rows < kMostSure; ++rows)
        accident *= share;
    return accident > kAccident ? 0 : std::max(rows, kLeast);
}

} // namespace kova
