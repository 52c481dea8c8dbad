#pragma once

#include "engine/PieceFinder.h"
#include "engine/exfat/ExFatLayout.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace kova {

/// Which clusters are in use. Clusters that the bitmap does not reach are.
class ExFatBitmap {
public:
    /// One that is not known: no cluster is in use.
    ExFatBitmap() = default;

    /// Bit i, least significant first: cluster i + 2 is in use.
    explicit ExFatBitmap(std::vector<uint8> bytes) : bytes_(std::move(bytes)) {}

    [[nodiscard]] bool isKnown() const { return !bytes_.empty(); }

    [[nodiscard]] bool isUsed(uint32 cluster) const {
        if (!isKnown() || cluster < exfat::kFirstCluster)
            return isKnown();
        const uint32 bit = cluster - exfat::kFirstCluster;
        return bit / 8 >= bytes_.size() || ((bytes_[bit / 8] >> (bit % 8)) & 1U) != 0;
    }

    /// Clusters in use among `count` from `first` on.
    [[nodiscard]] uint64 countUsed(uint32 first, uint64 count) const {
        uint64 used = 0;
        for (uint64 i = 0; i < count; ++i)
            used += isUsed(static_cast<uint32>(first + i)) ? 1U : 0U;
        return used;
    }

    /// Free clusters in a row, the first of them at `cluster` or behind it, none beyond `last`;
    /// no more than 65,536 at once. Count 0: there are none.
    [[nodiscard]] ClusterRun freeRunAt(uint64 cluster, uint32 last) const {
        constexpr uint64 kMost = 65536;
        while (cluster <= last && isUsed(static_cast<uint32>(cluster)))
            ++cluster;
        ClusterRun run{static_cast<uint32>(std::min<uint64>(cluster, last)), 0};
        while (run.count < kMost && cluster + run.count <= last &&
               !isUsed(static_cast<uint32>(cluster + run.count)))
            ++run.count;
        return run;
    }

private:
    std::vector<uint8> bytes_;
};

} // namespace kova
