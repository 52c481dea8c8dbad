#include "engine/exfat/ExFatExtents.h"

#include <algorithm>
#include <utility>

namespace kova {

ExFatExtents::ExFatExtents(const ExFatPlace& place, const ExFatGeometry& geometry,
                           ExFatTable& table, const ExFatBitmap& bitmap,
                           const ClusterRanges& claimed) {
    uint64 wanted = geometry.clustersFor(place.dataLength);
    if (wanted == 0 || !geometry.isCluster(place.firstCluster))
        return;
    if (place.noFatChain) {
        const uint64 behind = uint64{exfat::kFirstCluster} + geometry.clusterCount;
        clusters_ = std::min(wanted, behind - place.firstCluster);
        runs_.push_back({place.firstCluster, clusters_});
        const uint64 held = uint64{geometry.lastCluster} + 1;
        if (place.firstCluster < held)
            taken_ = bitmap.countUsed(place.firstCluster,
                                      std::min(clusters_, held - place.firstCluster));
        return;
    }

    // A chain may lead in circles.
    wanted = std::min<uint64>(wanted, geometry.lastCluster);
    uint32 last = place.firstCluster;
    append(last);
    taken_ = bitmap.isUsed(last) ? 1U : 0U;
    while (clusters_ < wanted) {
        const uint32 next = table.entry(last);
        if (!geometry.isCluster(next) || next == last)
            break;
        // Who has a cluster now may have changed where it leads.
        isGuess_ = isGuess_ || bitmap.isUsed(last);
        taken_ += bitmap.isUsed(next) ? 1U : 0U;
        append(next);
        last = next;
    }
    // A chain that breaks off went on somewhere else.
    isGuess_ = isGuess_ || (clusters_ > 1 && clusters_ < wanted);
    const uint64 behind = uint64{geometry.lastCluster} + 1;
    for (uint64 next = static_cast<uint64>(last) + 1; clusters_ < wanted && next < behind; ++next) {
        const uint64 unclaimed = claimed.pastRange(next);
        isGuess_ = isGuess_ || unclaimed != next || bitmap.isUsed(static_cast<uint32>(next));
        if (unclaimed != next)
            next = unclaimed - 1;
        else if (!bitmap.isUsed(static_cast<uint32>(next)))
            append(static_cast<uint32>(next));
    }
    isGuess_ = isGuess_ || clusters_ < wanted;
}

ExFatExtents::ExFatExtents(std::vector<ClusterRun> runs) : runs_(std::move(runs)), isGuess_(true) {
    for (const ClusterRun& run : runs_)
        clusters_ += run.count;
}

void ExFatExtents::append(uint32 cluster) {
    if (!runs_.empty() && runs_.back().first + runs_.back().count == cluster)
        ++runs_.back().count;
    else
        runs_.push_back({cluster, 1});
    ++clusters_;
}

} // namespace kova
