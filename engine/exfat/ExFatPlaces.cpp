#include "engine/exfat/ExFatPlaces.h"

#include <algorithm>

namespace kova {

int64 ExFatPlaces::add(const ExFatPlace& place) {
    places_.push_back(place);
    const int64 cluster = place.firstCluster;
    const bool isOwn =
        !geometry_.isCluster(place.firstCluster) || indexes_.find(cluster) != nullptr;
    const int64 id = isOwn ? nextOwnId_++ : cluster;
    indexes_[id] = places_.size();
    return id;
}

const ExFatPlace* ExFatPlaces::find(int64 id) const {
    const std::size_t* const index = indexes_.find(id);
    return index == nullptr ? nullptr : &places_[*index - 1];
}

uint64 ExFatPlaces::knownClusters(const ExFatPlace& place) const {
    if (place.dataLength == 0 || !geometry_.isCluster(place.firstCluster))
        return 0;
    return place.noFatChain ? geometry_.clustersFor(place.dataLength) : 1;
}

const ClusterRanges& ExFatPlaces::claimed() {
    for (; claimedPlaces_ < places_.size(); ++claimedPlaces_) {
        const ExFatPlace& place = places_[claimedPlaces_];
        claimed_.add(place.firstCluster, knownClusters(place));
    }
    return claimed_;
}

void ExFatPlaces::settleDoubts() {
    if (doubtsSettled_)
        return;
    doubtsSettled_ = true;
    std::vector<ExFatPlace*> byAge;
    byAge.reserve(places_.size());
    for (ExFatPlace& place : places_)
        byAge.push_back(&place);
    std::sort(byAge.begin(), byAge.end(), [](const ExFatPlace* left, const ExFatPlace* right) {
        return left->creationTime > right->creationTime;
    });
    // From the youngest on; those made at one moment are one file that was renamed or moved.
    ClusterRanges younger;
    for (auto begin = byAge.begin(); begin != byAge.end();) {
        const auto end = std::find_if(begin, byAge.end(), [begin](const ExFatPlace* place) {
            return place->creationTime != (*begin)->creationTime;
        });
        for (auto at = begin; at != end; ++at)
            (*at)->inDoubt = younger.overlap((*at)->firstCluster, knownClusters(**at));
        for (auto at = begin; at != end; ++at)
            younger.add((*at)->firstCluster, knownClusters(**at));
        begin = end;
    }
}

} // namespace kova
