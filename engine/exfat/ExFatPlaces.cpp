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

/// Of places that were made at one moment: the same one twice is one file that was renamed or
/// moved; of those that otherwise share clusters, nobody knows which came later.
void ExFatPlaces::doubtTwins(std::vector<ExFatPlace*> places) const {
    std::sort(places.begin(), places.end(), [](const ExFatPlace* left, const ExFatPlace* right) {
        return left->firstCluster < right->firstCluster;
    });
    ExFatPlace* furthest = nullptr;
    const auto endOf = [this](const ExFatPlace& place) {
        return place.firstCluster + knownClusters(place);
    };
    for (ExFatPlace* place : places) {
        if (knownClusters(*place) == 0)
            continue;
        const bool isSame = furthest != nullptr && place->firstCluster == furthest->firstCluster &&
                            place->dataLength == furthest->dataLength;
        if (furthest != nullptr && !isSame && place->firstCluster < endOf(*furthest))
            place->inDoubt = furthest->inDoubt = true;
        if (furthest == nullptr || endOf(*place) > endOf(*furthest))
            furthest = place;
    }
}

void ExFatPlaces::settleAges() {
    if (agesSettled_)
        return;
    agesSettled_ = true;
    std::vector<ExFatPlace*> byAge;
    byAge.reserve(places_.size());
    for (ExFatPlace& place : places_)
        byAge.push_back(&place);
    std::sort(byAge.begin(), byAge.end(), [](const ExFatPlace* left, const ExFatPlace* right) {
        return left->creationTime > right->creationTime;
    });
    // From the youngest on.
    ClusterRanges younger;
    for (auto begin = byAge.begin(); begin != byAge.end();) {
        const auto end = std::find_if(begin, byAge.end(), [begin](const ExFatPlace* place) {
            return place->creationTime != (*begin)->creationTime;
        });
        for (auto at = begin; at != end; ++at)
            (*at)->takenLater = younger.overlap((*at)->firstCluster, knownClusters(**at));
        doubtTwins({begin, end});
        for (auto at = begin; at != end; ++at)
            younger.add((*at)->firstCluster, knownClusters(**at));
        begin = end;
    }
}

} // namespace kova
