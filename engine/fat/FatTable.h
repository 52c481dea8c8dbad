#pragma once

#include "engine/fat/FatLayout.h"

#include <vector>

namespace kova {

/// A file allocation table in memory: for each cluster the cluster that follows it in its chain,
/// 0 when it is free, or a mark.
class FatTable {
public:
    /// An empty table.
    FatTable() = default;

    FatTable(FatType type, std::vector<uint8> bytes);

    /// Bytes of a table that reaches up to `lastCluster`.
    [[nodiscard]] static uint64 bytesFor(FatType type, uint32 lastCluster);

    /// The entry of a cluster; the bad-cluster mark for one beyond the table.
    [[nodiscard]] uint32 entry(uint32 cluster) const;

    [[nodiscard]] bool isFree(uint32 cluster) const { return entry(cluster) == kFree; }

    /// Whether a cluster with this entry may be read as part of a chain: it is neither free nor
    /// bad.
    [[nodiscard]] bool isInChain(uint32 entry) const { return entry != kFree && entry != bad_; }

    /// Whether a chain ends with the cluster that has this entry. (So it does with a free one,
    /// which is not even read.)
    [[nodiscard]] bool isEnd(uint32 entry) const { return entry > bad_; }

    /// Whether its first entry holds the media byte with all bits above it set, as in every table
    /// that has been formatted.
    [[nodiscard]] bool hasStart() const { return clusters_ > 0 && entry(0) >= (bad_ & ~7U); }

    /// Clusters that the table tells about, counted from 0.
    [[nodiscard]] uint32 clusters() const { return clusters_; }

private:
    static constexpr uint32 kFree = 0;

    FatType type_ = FatType::Unknown;
    std::vector<uint8> bytes_;
    uint32 clusters_ = 0;
    /// The bad-cluster mark; the entries above it end a chain.
    uint32 bad_ = 0x0FFFFFF7;
};

} // namespace kova
