#include "engine/ClusterRanges.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace kova {

void ClusterRanges::add(uint32 first, uint64 count) {
    if (count == 0)
        return;
    uint64 end = first + count;
    auto next = ranges_.upper_bound(first);
    const bool isJoined = next != ranges_.begin() && std::prev(next)->second >= first;
    const auto range = isJoined ? std::prev(next) : ranges_.emplace_hint(next, first, end);
    for (; next != ranges_.end() && next->first <= end; next = ranges_.erase(next))
        end = std::max(end, next->second);
    range->second = std::max(range->second, end);
}

uint64 ClusterRanges::overlap(uint32 first, uint64 count) const {
    const uint64 end = first + count;
    uint64 shared = 0;
    auto at = ranges_.upper_bound(first);
    if (at != ranges_.begin())
        --at;
    for (; at != ranges_.end() && at->first < end; ++at) {
        const uint64 from = std::max<uint64>(at->first, first);
        shared += std::max(std::min(at->second, end), from) - from;
    }
    return shared;
}

uint64 ClusterRanges::pastRange(uint64 cluster) const {
    const auto after = ranges_.upper_bound(cluster);
    if (after == ranges_.begin())
        return cluster;
    return std::max(cluster, std::prev(after)->second);
}

uint64 ClusterRanges::nextRange(uint64 cluster) const {
    const auto range = ranges_.upper_bound(cluster);
    return range == ranges_.end() ? std::numeric_limits<uint64>::max() : range->first;
}

} // namespace kova
