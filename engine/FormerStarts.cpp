#include "engine/FormerStarts.h"

#include "engine/content/ContentKinds.h"
#include "engine/content/kinds.h"

#include <algorithm>
#include <iterator>
#include <tuple>

namespace kova {

namespace {

/// No known suffix is longer.
constexpr std::size_t kLongestSuffix = 12;

} // namespace

bool FormerStarts::proveNothing(const Kinds& kinds) {
    return std::all_of(kinds.begin(), kinds.end(),
                       [](const ContentKind* kind) { return kind == &textKind(); });
}

const FormerStarts::Kinds& FormerStarts::kindsOf(std::wstring_view name) {
    std::wstring suffix = suffixOf(name);
    if (suffix.size() > kLongestSuffix)
        suffix.clear();
    const auto known = kinds_.find(suffix);
    if (known != kinds_.end())
        return known->second;
    Kinds kinds = kindsForSuffix(suffix);
    // Most names that promise nothing do so in the same way.
    return kinds_.emplace(kinds.empty() ? std::wstring() : std::move(suffix), std::move(kinds))
        .first->second;
}

void FormerStarts::add(const Start& start) {
    starts_.push_back(start);
    isSorted_ = false;
}

void FormerStarts::addFolder(uint32 cluster) {
    Start start;
    start.cluster = cluster;
    start.clusters = 1;
    start.isInOnePiece = true;
    start.remains = Remains::There;
    start.kinds = &kindsOf({});
    add(start);
}

/// Of those that share a cluster, the likeliest to lie there still comes first, and stays alone.
std::vector<FormerStarts::Start>& FormerStarts::sorted() {
    if (isSorted_)
        return starts_;
    isSorted_ = true;
    const auto isBefore = [](const Start& a, const Start& b) {
        const auto rank = [](const Start& start) {
            return std::tuple(start.cluster, start.remains != Remains::There, -start.created);
        };
        return rank(a) < rank(b);
    };
    // Folders have come in order, and then files, as a rule.
    const auto middle = std::is_sorted_until(starts_.begin(), starts_.end(), isBefore);
    if (std::is_sorted(middle, starts_.end(), isBefore))
        std::inplace_merge(starts_.begin(), middle, starts_.end(), isBefore);
    else
        std::sort(starts_.begin(), starts_.end(), isBefore);
    const auto isSame = [](const Start& a, const Start& b) { return a.cluster == b.cluster; };
    starts_.erase(std::unique(starts_.begin(), starts_.end(), isSame), starts_.end());
    findScattered();
    return starts_;
}

void FormerStarts::findScattered() {
    scattered_.clear();
    for (auto start = starts_.begin(); start != starts_.end(); ++start) {
        const auto next = std::next(start);
        const bool isInterrupted = !start->isInOnePiece && next != starts_.end() &&
                                   next->cluster - start->cluster < start->clusters;
        if (!start->isScattered && !isInterrupted)
            continue;
        const int64 before = scattered_.empty() ? 0 : scattered_.back().youngest;
        scattered_.push_back({start->cluster, std::max(before, start->created)});
    }
}

bool FormerStarts::mayBeOverwritten(uint32 cluster, int64 created) {
    static_cast<void>(sorted());
    const auto behind =
        std::partition_point(scattered_.begin(), scattered_.end(),
                             [cluster](const Scattered& one) { return one.cluster < cluster; });
    return behind != scattered_.begin() && std::prev(behind)->youngest >= created;
}

bool FormerStarts::anyInside(uint32 cluster, uint64 count) {
    if (count <= 1)
        return false;
    const std::vector<Start>& all = sorted();
    const auto next = std::partition_point(
        all.begin(), all.end(), [cluster](const Start& start) { return start.cluster <= cluster; });
    return next != all.end() && next->cluster - uint64{cluster} < count;
}

} // namespace kova
