#include "engine/exfat/ClusterRanges.h"

#include <algorithm>
#include <iterator>

namespace kova {

void ClusterRanges::add(uint32 first, uint64 count) {
    if (count == 0)
        return;
    uint64 begin = first;
    uint64 end = begin + count;
    auto at = ranges_.upper_bound(begin);
    if (at != ranges_.begin() && std::prev(at)->second >= begin)
        at = std::prev(at);
    while (at != ranges_.end() && at->first <= end) {
        begin = std::min(begin, at->first);
        end = std::max(end, at->second);
        at = ranges_.erase(at);
    }
    ranges_.emplace_hint(at, begin, end);
}

bool ClusterRanges::overlap(uint32 first, uint64 count) const {
    const auto after = ranges_.lower_bound(first + count);
    return count != 0 && after != ranges_.begin() && std::prev(after)->second > first;
}

uint64 ClusterRanges::pastRange(uint64 cluster) const {
    const auto after = ranges_.upper_bound(cluster);
    if (after == ranges_.begin())
        return cluster;
    return std::max(cluster, std::prev(after)->second);
}

} // namespace kova
