#pragma once

#include "engine/ClusterRanges.h"
#include "engine/FormerStarts.h"
#include "engine/IdTable.h"
#include "engine/exfat/ExFatGeometry.h"

#include <cstddef>
#include <vector>

namespace kova {

/// Where a deleted file or folder says that its content lies.
struct ExFatPlace {
    uint32 firstCluster = 0;
    bool noFatChain = false; ///< Its clusters follow each other.
    /// It went with its folder: that its clusters are in use may be its own doing.
    bool isInUse = false;
    bool inDoubt = false; ///< Another one that was made at the same moment claims some of them.
    /// It was in a folder that nothing leads to: nobody knows what else was made since.
    bool isForgotten = false;
    /// Of the clusters known to have been its own, those on which a file lay that was made later,
    /// before it was deleted too: what they hold is that file's.
    uint64 takenLater = 0;
    uint64 dataLength = 0;
    uint64 validLength = 0; ///< Bytes that were written, at most `dataLength`.
    int64 creationTime = 0; ///< FILETIME.
    /// What a file's name promises; null for a folder.
    const FormerStarts::Kinds* kinds = nullptr;
};

/// The places of all nodes of a scan, and the ids by which they are found.
///
/// The id is the first cluster for the first node that names it. Others that name the same one,
/// and those without a cluster (empty files), get ids from 2^32 on, which is no cluster, in the
/// order in which they are found. The root is 0.
class ExFatPlaces {
public:
    explicit ExFatPlaces(const ExFatGeometry& geometry) : geometry_(geometry) {}

    static constexpr int64 kRootId = 0;

    /// Keeps a place and returns its id.
    int64 add(const ExFatPlace& place);

    /// All of them, in the order in which they were added.
    [[nodiscard]] const std::vector<ExFatPlace>& all() const { return places_; }

    /// The place of a node, null when there is none.
    [[nodiscard]] const ExFatPlace* find(int64 id) const;

    /// The clusters that are known to have been of what was deleted: all of a place whose clusters
    /// follow each other, the first of another one.
    [[nodiscard]] const ClusterRanges& claimed();

    /// Clusters that are known to be a place's own; 0 for an empty file.
    [[nodiscard]] uint64 knownClusters(const ExFatPlace& place) const;

    /// Finds out what later files took of earlier ones, once all places are there.
    void settleAges();

private:
    static constexpr int64 kFirstOwnId = int64{1} << 32;

    void doubtTwins(std::vector<ExFatPlace*> places) const;

    const ExFatGeometry& geometry_;
    std::vector<ExFatPlace> places_;
    IdTable<std::size_t> indexes_; ///< By id: one more than the place's index.
    int64 nextOwnId_ = kFirstOwnId;
    ClusterRanges claimed_;
    std::size_t claimedPlaces_ = 0; ///< The places that `claimed_` covers already.
    bool agesSettled_ = false;
};

} // namespace kova
