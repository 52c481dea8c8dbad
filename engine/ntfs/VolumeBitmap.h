#pragma once

#include "engine/types.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>
#include <vector>

namespace kova {

/// Which clusters files hold: bit i of the bytes, least significant first, is cluster i.
class VolumeBitmap {
public:
    VolumeBitmap() = default;

    explicit VolumeBitmap(std::vector<uint8> bytes) : bytes_(std::move(bytes)) {}

    /// Clusters that it tells of.
    [[nodiscard]] uint64 clusters() const { return uint64{8} * bytes_.size(); }

    /// One that it does not reach is free.
    [[nodiscard]] bool isInUse(uint64 cluster) const {
        const uint64 byte = cluster / 8;
        return byte < bytes_.size() && ((bytes_[byte] >> (cluster % 8)) & 1) != 0;
    }

    /// How many of `count` clusters from `first` on are in use.
    [[nodiscard]] uint64 countInUse(uint64 first, uint64 count) const {
        uint64 inUse = 0;
        const uint64 end = std::min(first + std::min(count, clusters()), clusters());
        while (first < end && first % 8 != 0)
            inUse += isInUse(first++) ? 1U : 0U;
        constexpr uint64 kWordBits = 64;
        for (; first + kWordBits <= end; first += kWordBits) {
            uint64 word = 0;
            std::memcpy(&word, &bytes_[first / 8], sizeof(word));
            inUse += static_cast<uint64>(std::popcount(word));
        }
        while (first < end)
            inUse += isInUse(first++) ? 1U : 0U;
        return inUse;
    }

private:
    std::vector<uint8> bytes_;
};

} // namespace kova
