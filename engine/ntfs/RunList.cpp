#include "engine/ntfs/RunList.h"

#include "engine/ntfs/MappingPairs.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>
#include <numeric>
#include <optional>
#include <queue>

namespace kova {

namespace {

using Runs = std::vector<ZDatarun>;

/// Whether `second` continues `first`, so that one run can stand for both.
bool mergeable(const ZDatarun& first, const ZDatarun& second) {
    if (first.lcn == ZDatarun::NotMapped && second.lcn == ZDatarun::NotMapped)
        return true;
    if (first.endVcn() != second.vcn)
        return false;
    if (first.lcn >= 0 && second.lcn >= 0)
        return first.lcn + first.length == second.lcn;
    return first.lcn == ZDatarun::Hole && second.lcn == ZDatarun::Hole;
}

/// Puts `runs` in the place of `replaced` runs of `list` from `at` on. The last of them is joined
/// with the run after, and the one before with the first, where they continue each other.
/// Returns the index after what was put in.
std::size_t splice(Runs& list, std::size_t at, std::size_t replaced, Runs runs, bool joinBefore,
                   bool joinAfter) {
    std::size_t first = at;
    std::size_t last = at + replaced;
    if (joinAfter && last < list.size() && mergeable(runs.back(), list[last]))
        runs.back().length += list[last++].length;
    if (joinBefore && first > 0 && mergeable(list[first - 1], runs.front())) {
        ZDatarun joined = list[--first];
        joined.length += runs.front().length;
        runs.front() = joined;
    }
    const auto where = list.erase(list.begin() + static_cast<std::ptrdiff_t>(first),
                                  list.begin() + static_cast<std::ptrdiff_t>(last));
    list.insert(where, runs.begin(), runs.end());
    return first + runs.size();
}

/// A terminator of the whole list stands where the run before it ends.
void fixTerminator(Runs& list, std::size_t at) {
    if (at > 0 && at < list.size() && list[at].lcn == ZDatarun::EndOfList)
        list[at].vcn = list[at - 1].endVcn();
}

void insertBefore(Runs& list, std::size_t at, Runs runs) {
    const int64 endBefore = at == 0 ? 0 : list[at - 1].endVcn();
    const int64 gap = runs.front().vcn - endBefore;
    if (gap > 0)
        runs.insert(runs.begin(), {endBefore, ZDatarun::NotMapped, gap});
    const std::size_t after = splice(list, at, 0, std::move(runs), true, false);
    if (after >= list.size())
        return;
    ZDatarun& next = list[after];
    next.vcn = list[after - 1].endVcn();
    if ((next.lcn == ZDatarun::Hole || next.lcn == ZDatarun::NotMapped) && after + 1 < list.size())
        next.length = std::max<int64>(list[after + 1].vcn - next.vcn, 0);
}

void appendAfter(Runs& list, std::size_t at, Runs runs) {
    list[at].length = std::max<int64>(runs.front().vcn - list[at].vcn, 0);
    fixTerminator(list, splice(list, at + 1, 0, std::move(runs), false, true));
}

void split(Runs& list, std::size_t at, Runs runs) {
    ZDatarun rest = list[at];
    list[at].length = std::max<int64>(runs.front().vcn - list[at].vcn, 0);
    rest.vcn = runs.back().endVcn();
    rest.length = at + 1 < list.size() ? std::max<int64>(list[at + 1].vcn - rest.vcn, 0) : 0;
    runs.push_back(rest);
    splice(list, at + 1, 0, std::move(runs), false, false);
}

/// Makes the list end at `endVcn`, the end of the whole attribute.
void extendTo(Runs& list, int64 endVcn) {
    ZDatarun& terminator = list.back();
    if (terminator.vcn > endVcn)
        return;
    if (terminator.vcn == endVcn) {
        terminator.lcn = ZDatarun::EndOfList;
        return;
    }
    if (list.size() > 1 && list[list.size() - 2].lcn == ZDatarun::NotMapped)
        list.pop_back();
    ZDatarun& last = list.back();
    last = {last.vcn, ZDatarun::NotMapped, endVcn - last.vcn};
    list.push_back({endVcn, ZDatarun::EndOfList, 0});
}

} // namespace

bool RunList::decode(uint32 bytesPerCluster, const ntfs::AttributeHeader& attribute) {
    if (attribute.isMissing() || attribute.isResident() || attribute.firstVcn() < 0)
        return false;
    MappingPairs pairs(attribute);
    isInOrder_ = false;
    runs_.clear();
    if (attribute.firstVcn() > 0)
        runs_.push_back({0, ZDatarun::NotMapped, attribute.firstVcn()});
    for (ZDatarun run; pairs.next(run);)
        runs_.push_back(run);
    int64 vcn = pairs.vcn();

    const int64 last = attribute.lastVcn();
    if (last != 0 && vcn - 1 != last)
        throw ZDatarun::ECorruptAttribute{};
    if (attribute.firstVcn() == 0) {
        const int64 allocated = attribute.allocatedSize();
        const int64 clusters = allocated / bytesPerCluster + (allocated % bytesPerCluster > 0);
        const int64 highest = clusters - 1;
        if (last != 0 && last > highest)
            throw ZDatarun::ECorruptAttribute{};
        if (last != 0 && last < highest) {
            runs_.push_back({vcn, ZDatarun::NotMapped, highest - last});
            vcn += highest - last;
        }
        runs_.push_back({vcn, ZDatarun::EndOfList, 0});
    } else {
        runs_.push_back({vcn, ZDatarun::NotMapped, 0});
    }
    return true;
}

void RunList::merge(const RunList& extent) {
    Runs& destination = runs_;
    const Runs& source = extent.runs_;
    if (source.empty())
        return;
    isInOrder_ = false;
    if (destination.empty()) {
        destination = source;
        if (destination.front().vcn != 0)
            destination.insert(destination.begin(),
                               {0, ZDatarun::NotMapped, destination.front().vcn});
        return;
    }

    const std::size_t sourceEnd = source.size() - 1;
    std::size_t first = 0;
    while (first < sourceEnd && source[first].lcn < ZDatarun::Hole)
        ++first;
    if (first == sourceEnd)
        throw ZDatarun::EInvalidArgument{};

    const std::size_t end = destination.size() - 1;
    std::size_t at = 0;
    while (at < end && destination[at].endVcn() <= source[first].vcn)
        ++at;
    const ZDatarun target = destination[at];
    if (target.vcn == source[first].vcn && target.lcn >= 0 && source[first].lcn >= 0)
        throw ZDatarun::EInvalidArgument{};

    std::optional<int64> attributeEnd;
    if (source[sourceEnd].lcn == ZDatarun::EndOfList)
        attributeEnd = source[sourceEnd].vcn;
    std::size_t last = sourceEnd;
    while (last > first && source[last].lcn < ZDatarun::Hole)
        --last;

    const ZDatarun& sourceLast = source[sourceEnd - 1];
    const bool start = target.lcn < ZDatarun::NotMapped || target.vcn == source[first].vcn;
    bool finish = target.lcn >= ZDatarun::NotMapped && target.endVcn() <= sourceLast.endVcn();
    if (finish && target.length == 0 && last < sourceEnd)
        ++last; // The terminator goes over, too.
    if (attributeEnd && target.endVcn() > sourceLast.vcn)
        finish = false;

    Runs runs(source.begin() + static_cast<std::ptrdiff_t>(first),
              source.begin() + static_cast<std::ptrdiff_t>(last) + 1);
    if (start && finish)
        fixTerminator(destination, splice(destination, at, 1, std::move(runs), true, true));
    else if (start)
        insertBefore(destination, at, std::move(runs));
    else if (finish)
        appendAfter(destination, at, std::move(runs));
    else
        split(destination, at, std::move(runs));

    if (destination.empty())
        throw ZDatarun::EUnknownError{};
    if (attributeEnd)
        extendTo(destination, *attributeEnd);
}

void RunList::putInOrder() {
    std::erase_if(runs_, [](const ZDatarun& run) { return run.length <= 0; });
    // Of the runs that have begun and not ended, the one that stood first counts.
    std::vector<std::size_t> byBegin(runs_.size());
    std::iota(byBegin.begin(), byBegin.end(), std::size_t{0});
    std::stable_sort(byBegin.begin(), byBegin.end(),
                     [this](std::size_t a, std::size_t b) { return runs_[a].vcn < runs_[b].vcn; });
    std::priority_queue<std::size_t, std::vector<std::size_t>, std::greater<>> open;
    Runs ordered;
    std::size_t next = 0;
    int64 vcn = 0;
    while (next < byBegin.size() || !open.empty()) {
        while (!open.empty() && runs_[open.top()].endVcn() <= vcn)
            open.pop();
        if (open.empty()) {
            if (next == byBegin.size())
                break;
            vcn = runs_[byBegin[next]].vcn;
        }
        while (next < byBegin.size() && runs_[byBegin[next]].vcn <= vcn)
            open.push(byBegin[next++]);
        const ZDatarun& run = runs_[open.top()];
        const int64 end =
            next < byBegin.size() ? std::min(run.endVcn(), runs_[byBegin[next]].vcn) : run.endVcn();
        if (end > vcn)
            ordered.push_back({vcn, run.lcn < 0 ? run.lcn : run.lcn + (vcn - run.vcn), end - vcn});
        vcn = std::max(vcn, end);
    }
    runs_ = std::move(ordered);
    isInOrder_ = true;
}

int64 RunList::lcnOf(int64 vcn) const {
    const auto covers = [vcn](const ZDatarun& run) {
        return vcn >= run.vcn && vcn - run.vcn < run.length;
    };
    auto run = runs_.begin();
    auto end = runs_.end();
    if (isInOrder_) { // Only the last one that begins no later can.
        end = std::upper_bound(run, end, vcn,
                               [](int64 v, const ZDatarun& other) { return v < other.vcn; });
        run = end == run ? run : std::prev(end);
    }
    run = std::find_if(run, end, covers);
    if (run == end)
        return ZDatarun::NotFound;
    return run->lcn < 0 ? run->lcn : run->lcn + (vcn - run->vcn);
}

} // namespace kova
