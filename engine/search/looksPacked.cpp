#include "engine/search/looksPacked.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace kova {

namespace {

/// How often bytes of each value occur and how often they ought to: the sum of the squares of the
/// differences over what is expected. 255 on the average for random ones.
double deviation(std::span<const uint8> bytes) {
    std::array<double, 256> counts{};
    for (const uint8 byte : bytes)
        ++counts[byte];
    const double expected = static_cast<double>(bytes.size()) / static_cast<double>(counts.size());
    double sum = 0;
    for (const double count : counts)
        sum += (count - expected) * (count - expected);
    return expected == 0 ? 0 : sum / expected;
}

/// How far bytes lie from those `step` before them, on a circle of 256, for each place in a step;
/// the least of the means. About 64 for random ones.
std::size_t leastDistance(std::span<const uint8> bytes, std::size_t step) {
    std::size_t least = 256;
    for (std::size_t place = 0; place < step; ++place) {
        std::size_t sum = 0;
        std::size_t count = 0;
        for (std::size_t i = place + step; i < bytes.size(); i += step, ++count) {
            const int apart = std::abs(bytes[i] - bytes[i - step]);
            sum += static_cast<std::size_t>(std::min(apart, 256 - apart));
        }
        least = std::min(least, sum / std::max<std::size_t>(1, count));
    }
    return least;
}

} // namespace

bool looksPacked(std::span<const uint8> bytes) {
    constexpr double kMost = 1000;
    return deviation(bytes) <= kMost;
}

bool looksRandom(std::span<const uint8> bytes) {
    constexpr double kMost = 400;
    constexpr std::size_t kLeast = 56;
    constexpr std::size_t kSampleBytes[] = {1, 2, 3, 4, 6, 8};
    return deviation(bytes) <= kMost && std::ranges::all_of(kSampleBytes, [bytes](auto step) {
               return leastDistance(bytes, step) >= kLeast;
           });
}

} // namespace kova
