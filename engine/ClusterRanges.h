#pragma once

#include "engine/types.h"

#include <map>

namespace kova {

/// A set of clusters, kept as ranges that neither overlap nor touch.
class ClusterRanges {
public:
    /// Adds `count` clusters from `first` on.
    void add(uint32 first, uint64 count);

    /// How many of `count` clusters from `first` on are in the set.
    [[nodiscard]] uint64 overlap(uint32 first, uint64 count) const;

    /// The first cluster from `cluster` on that is not in the set.
    [[nodiscard]] uint64 pastRange(uint64 cluster) const;

    /// Where the first range behind `cluster` begins; past every cluster where there is none.
    [[nodiscard]] uint64 nextRange(uint64 cluster) const;

private:
    std::map<uint64, uint64> ranges_; ///< First cluster of each, and the one behind its last.
};

} // namespace kova
