#include "engine/fat/FatClusterUse.h"

#include "engine/fat/FatGeometry.h"

#include <algorithm>

namespace kova {

namespace {

void append(std::vector<FatRun>& runs, FatRun run) {
    if (run.count == 0)
        return;
    if (!runs.empty()) {
        FatRun& last = runs.back();
        if (last.first + last.count == run.first && last.isTaken == run.isTaken) {
            last.count += run.count;
            return;
        }
    }
    runs.push_back(run);
}

} // namespace

FatClusterUse::FatClusterUse(const FatTable& table, uint32 lastCluster)
    : table_(&table), lastCluster_(lastCluster) {
    // What the table does not reach is as good as bad.
    const uint32 end = std::min(lastCluster + 1, table.clusters());
    for (uint32 cluster = kFirstDataCluster; cluster < end; ++cluster) {
        if (!table.isFree(cluster))
            continue;
        if (!free_.empty() && free_.back().end == cluster)
            ++free_.back().end;
        else
            free_.push_back({cluster, cluster + 1});
    }
}

void FatClusterUse::addDeleted(uint32 first) {
    if (first > lastCluster_)
        return;
    if (deletedStarts_.empty())
        deletedStarts_.resize(std::size_t{lastCluster_} + 1);
    deletedStarts_[first] = true;
}

/// The extent that holds the cluster, else the next one.
std::vector<FatClusterUse::Extent>::const_iterator
FatClusterUse::freeExtentAt(uint32 cluster) const {
    return std::partition_point(free_.begin(), free_.end(),
                                [cluster](const Extent& extent) { return extent.end <= cluster; });
}

uint32 FatClusterUse::freeFrom(uint32 cluster) const {
    const auto extent = freeExtentAt(cluster);
    return extent == free_.end() || extent->first > cluster ? 0 : extent->end - cluster;
}

ClusterRun FatClusterUse::freeRunAt(uint64 cluster) const {
    const auto extent =
        cluster > lastCluster_ ? free_.end() : freeExtentAt(static_cast<uint32>(cluster));
    return extent == free_.end() ? ClusterRun()
                                 : ClusterRun{extent->first, uint64{extent->end} - extent->first};
}

void FatClusterUse::findOwners() {
    owners_.resize(std::size_t{lastCluster_} + 1);
    std::vector<bool> seen(owners_.size());
    for (const auto& [first, created] : live_) {
        uint32 cluster = first;
        while (cluster >= kFirstDataCluster && cluster <= lastCluster_ && !seen[cluster]) {
            const uint32 entry = table_->entry(cluster);
            if (!table_->isInChain(entry))
                break;
            seen[cluster] = true;
            owners_[cluster] = created;
            cluster = entry;
        }
    }
}

/// Whether the live file in this cluster came after one created then. Where clocks do not tell, it
/// was there before.
bool FatClusterUse::isYounger(uint32 cluster, uint32 created) {
    if (owners_.empty())
        findOwners();
    return created != 0 && owners_[cluster] > created;
}

std::vector<FatRun> FatClusterUse::layOut(const FatPlace& place, uint64 count, Step step) {
    std::vector<FatRun> runs;
    uint32 cluster = place.first;
    uint64 left = count;
    auto extent = freeExtentAt(cluster);
    bool wrapped = false;
    while (left > 0) {
        if (cluster > lastCluster_) {
            // Drivers look for free space from the start again.
            if (wrapped || step == Step::Nothing || runs.empty())
                break;
            wrapped = true;
            cluster = kFirstDataCluster;
            extent = free_.begin();
        }
        if (wrapped && cluster >= place.first)
            break;
        while (extent != free_.end() && extent->end <= cluster)
            ++extent;
        if (extent != free_.end() && extent->first <= cluster) {
            const uint32 end = extent->end;
            const auto now = static_cast<uint32>(std::min<uint64>(left, end - cluster));
            append(runs, {cluster, now, false});
            cluster += now;
            left -= now;
            continue;
        }
        // In use. A file cannot have begun where another one was.
        if (step == Step::Nothing || cluster == place.first || isYounger(cluster, place.created)) {
            append(runs, {cluster, 1, true});
            ++cluster;
            --left;
        } else {
            cluster = extent != free_.end() ? extent->first : lastCluster_ + 1;
        }
    }
    return runs;
}

} // namespace kova
