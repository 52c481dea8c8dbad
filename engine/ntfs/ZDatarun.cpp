#include "engine/ntfs/ZDatarun.h"

#include "engine/ntfs/MappingPairs.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <numeric>
#include <optional>
#include <queue>

namespace kova {

namespace {

using RunList = std::vector<ZDatarun>;

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
std::size_t splice(RunList& list, std::size_t at, std::size_t replaced, RunList runs,
                   bool joinBefore, bool joinAfter) {
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
void fixTerminator(RunList& list, std::size_t at) {
    if (at > 0 && at < list.size() && list[at].lcn == ZDatarun::EndOfList)
        list[at].vcn = list[at - 1].endVcn();
}

void insertBefore(RunList& list, std::size_t at, RunList runs) {
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

void appendAfter(RunList& list, std::size_t at, RunList runs) {
    list[at].length = std::max<int64>(runs.front().vcn - list[at].vcn, 0);
    fixTerminator(list, splice(list, at + 1, 0, std::move(runs), false, true));
}

void split(RunList& list, std::size_t at, RunList runs) {
    ZDatarun rest = list[at];
    list[at].length = std::max<int64>(runs.front().vcn - list[at].vcn, 0);
    rest.vcn = runs.back().endVcn();
    rest.length = at + 1 < list.size() ? std::max<int64>(list[at + 1].vcn - rest.vcn, 0) : 0;
    runs.push_back(rest);
    splice(list, at + 1, 0, std::move(runs), false, false);
}

/// Makes the list end at `endVcn`, the end of the whole attribute.
void extendTo(RunList& list, int64 endVcn) {
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

bool ZDatarun::decode(uint32 bytesPerCluster, const ntfs::AttributeHeader& attribute, RunList& out,
                      RunList* mergeInto) {
    if (attribute.isMissing() || attribute.isResident() || attribute.firstVcn() < 0)
        return false;
    MappingPairs pairs(attribute);
    out.clear();
    if (attribute.firstVcn() > 0)
        out.push_back({0, NotMapped, attribute.firstVcn()});
    for (ZDatarun run; pairs.next(run);)
        out.push_back(run);
    int64 vcn = pairs.vcn();

    const int64 last = attribute.lastVcn();
    if (last != 0 && vcn - 1 != last)
        throw ECorruptAttribute{};
    if (attribute.firstVcn() == 0) {
        const int64 allocated = attribute.allocatedSize();
        const int64 clusters = allocated / bytesPerCluster + (allocated % bytesPerCluster > 0);
        const int64 highest = clusters - 1;
        if (last != 0 && last > highest)
            throw ECorruptAttribute{};
        if (last != 0 && last < highest) {
            out.push_back({vcn, NotMapped, highest - last});
            vcn += highest - last;
        }
        out.push_back({vcn, EndOfList, 0});
    } else {
        out.push_back({vcn, NotMapped, 0});
    }
    if (mergeInto != nullptr)
        merge(*mergeInto, out);
    return true;
}

void ZDatarun::merge(RunList& destination, const RunList& source) {
    if (source.empty())
        return;
    if (destination.empty()) {
        destination = source;
        if (destination.front().vcn != 0)
            destination.insert(destination.begin(), {0, NotMapped, destination.front().vcn});
        return;
    }

    const std::size_t sourceEnd = source.size() - 1;
    std::size_t first = 0;
    while (first < sourceEnd && source[first].lcn < Hole)
        ++first;
    if (first == sourceEnd)
        throw EInvalidArgument{};

    const std::size_t end = destination.size() - 1;
    std::size_t at = 0;
    while (at < end && destination[at].endVcn() <= source[first].vcn)
        ++at;
    const ZDatarun target = destination[at];
    if (target.vcn == source[first].vcn && target.lcn >= 0 && source[first].lcn >= 0)
        throw EInvalidArgument{};

    std::optional<int64> attributeEnd;
    if (source[sourceEnd].lcn == EndOfList)
        attributeEnd = source[sourceEnd].vcn;
    std::size_t last = sourceEnd;
    while (last > first && source[last].lcn < Hole)
        --last;

    const ZDatarun& sourceLast = source[sourceEnd - 1];
    const bool start = target.lcn < NotMapped || target.vcn == source[first].vcn;
    bool finish = target.lcn >= NotMapped && target.endVcn() <= sourceLast.endVcn();
    if (finish && target.length == 0 && last < sourceEnd)
        ++last; // The terminator goes over, too.
    if (attributeEnd && target.endVcn() > sourceLast.vcn)
        finish = false;

    RunList runs(source.begin() + static_cast<std::ptrdiff_t>(first),
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
        throw EUnknownError{};
    if (attributeEnd)
        extendTo(destination, *attributeEnd);
}

void ZDatarun::putInOrder(RunList& runs) {
    std::erase_if(runs, [](const ZDatarun& run) { return run.length <= 0; });
    // Of the runs that have begun and not ended, the one that stood first counts.
    std::vector<std::size_t> byBegin(runs.size());
    std::iota(byBegin.begin(), byBegin.end(), std::size_t{0});
    std::stable_sort(byBegin.begin(), byBegin.end(),
                     [&runs](std::size_t a, std::size_t b) { return runs[a].vcn < runs[b].vcn; });
    std::priority_queue<std::size_t, std::vector<std::size_t>, std::greater<>> open;
    RunList ordered;
    std::size_t next = 0;
    int64 vcn = 0;
    while (next < byBegin.size() || !open.empty()) {
        while (!open.empty() && runs[open.top()].endVcn() <= vcn)
            open.pop();
        if (open.empty()) {
            if (next == byBegin.size())
                break;
            vcn = runs[byBegin[next]].vcn;
        }
        while (next < byBegin.size() && runs[byBegin[next]].vcn <= vcn)
            open.push(byBegin[next++]);
        const ZDatarun& run = runs[open.top()];
        const int64 end =
            next < byBegin.size() ? std::min(run.endVcn(), runs[byBegin[next]].vcn) : run.endVcn();
        if (end > vcn)
            ordered.push_back({vcn, run.lcn < 0 ? run.lcn : run.lcn + (vcn - run.vcn), end - vcn});
        vcn = std::max(vcn, end);
    }
    runs = std::move(ordered);
}

int64 ZDatarun::vcnToLcn(const RunList& runs, int64 vcn) {
    for (const ZDatarun& run : runs) {
        if (vcn < run.vcn || vcn - run.vcn >= run.length)
            continue;
        return run.lcn < 0 ? run.lcn : run.lcn + (vcn - run.vcn);
    }
    return NotFound;
}

} // namespace kova
