#pragma once

#include "engine/PieceFinder.h"
#include "engine/fat/FatPlace.h"
#include "engine/fat/FatTable.h"

#include <utility>
#include <vector>

namespace kova {

/// Consecutive clusters of a file, in the order of its content.
struct FatRun {
    uint32 first = 0;
    uint32 count = 0;
    bool isTaken = false; ///< Another file has been written here since.
};

/// Who holds the clusters of a volume: live files by the FAT, and deleted ones as far as a scan has
/// found out.
class FatClusterUse {
public:
    /// What a deleted file's clusters step over: where free space is in pieces, fragments lie.
    enum class Step {
        Nothing,   ///< It lies in one piece.
        LiveFiles, ///< Clusters that live files held before it was written.
    };

    /// Nothing is in use.
    FatClusterUse() = default;

    /// `table` is kept by reference. Clusters 2 to `lastCluster` are told about.
    FatClusterUse(const FatTable& table, uint32 lastCluster);

    /// A live file or directory that begins at `first`, with its creation stamp.
    void addLive(uint32 first, uint32 created) { live_.emplace_back(first, created); }

    /// A deleted file that begins at `first`.
    void addDeleted(uint32 first);

    /// Free clusters in a row from this one on.
    [[nodiscard]] uint32 freeFrom(uint32 cluster) const;

    /// The free clusters in a row that hold `cluster`, from their first on, or the next ones; none:
    /// count 0.
    [[nodiscard]] ClusterRun freeRunAt(uint64 cluster) const;

    /// Whether an added deleted file begins here.
    [[nodiscard]] bool isDeletedStart(uint32 cluster) const {
        return cluster < deletedStarts_.size() && deletedStarts_[cluster];
    }

    /// `count` clusters of a file from its first on. Fewer when the volume does not have them.
    [[nodiscard]] std::vector<FatRun> layOut(const FatPlace& place, uint64 count, Step step);

private:
    struct Extent {
        uint32 first = 0;
        uint32 end = 0;
    };

    [[nodiscard]] std::vector<Extent>::const_iterator freeExtentAt(uint32 cluster) const;
    [[nodiscard]] bool isYounger(uint32 cluster, uint32 created);
    void findOwners();

    const FatTable* table_ = nullptr;
    uint32 lastCluster_ = 0;
    std::vector<Extent> free_; ///< Free clusters, ascending.
    std::vector<std::pair<uint32, uint32>> live_;
    std::vector<uint32> owners_; ///< By cluster: when its live file was created; 0 unknown.
    std::vector<bool> deletedStarts_;
};

} // namespace kova
