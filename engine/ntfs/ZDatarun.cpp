#include "engine/ntfs/ZDatarun.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <optional>
#include <span>

namespace kova {

namespace {

using RunList = std::vector<ZDatarun>;

int64 addChecked(int64 a, int64 b) {
    int64 sum = 0;
    if (__builtin_add_overflow(a, b, &sum))
        throw ZDatarun::ECorruptAttribute{};
    return sum;
}

/// A little-endian two's-complement integer of any width. One that does not fit is corrupt.
int64 signedInteger(std::span<const uint8> bytes) {
    const uint8 sign = (bytes.back() & 0x80) != 0 ? 0xFF : 0x00;
    uint64 value = 0;
    for (std::size_t i = 0; i < sizeof(value); ++i)
        value |= static_cast<uint64>(i < bytes.size() ? bytes[i] : sign) << (8 * i);
    const bool negative = static_cast<int64>(value) < 0;
    const auto beyond =
        bytes.size() > sizeof(value) ? bytes.subspan(sizeof(value)) : bytes.first(0);
    const bool fits =
        std::all_of(beyond.begin(), beyond.end(), [sign](uint8 byte) { return byte == sign; });
    if (!fits || negative != (sign != 0))
        throw ZDatarun::ECorruptAttribute{};
    return static_cast<int64>(value);
}

/// Decodes the pairs themselves, up to the terminating 0 byte; returns the VCN they end at.
int64 decodePairs(std::span<const uint8> pairs, int64 vcn, RunList& out) {
    int64 lcn = 0;
    std::size_t at = 0;
    const auto check = [&pairs](std::size_t end) {
        if (end >= pairs.size()) // The 0 byte must follow inside the attribute.
            throw ZDatarun::ECorruptAttribute{};
    };
    check(at);
    while (pairs[at] != 0) {
        const std::size_t lengthBytes = pairs[at] & 0x0F;
        const std::size_t offsetBytes = pairs[at] >> 4;
        if (lengthBytes == 0)
            throw ZDatarun::ECorruptAttribute{};
        check(at + 1 + lengthBytes + offsetBytes);
        ZDatarun run;
        run.vcn = vcn;
        run.length = signedInteger(pairs.subspan(at + 1, lengthBytes));
        if (run.length < 0)
            throw ZDatarun::ECorruptAttribute{};
        vcn = addChecked(vcn, run.length);
        run.lcn = ZDatarun::Hole;
        if (offsetBytes != 0) {
            lcn = addChecked(lcn, signedInteger(pairs.subspan(at + 1 + lengthBytes, offsetBytes)));
            if (lcn < ZDatarun::Hole)
                throw ZDatarun::ECorruptAttribute{};
            addChecked(lcn, run.length); // Its last cluster has a number, too.
            run.lcn = lcn;
        }
        out.push_back(run);
        at += 1 + lengthBytes + offsetBytes;
    }
    return vcn;
}

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
    const auto bytes = attribute.bytes();
    if (attribute.runsOffset() > bytes.size())
        throw ECorruptAttribute{};

    out.clear();
    int64 vcn = attribute.firstVcn();
    if (vcn > 0)
        out.push_back({0, NotMapped, vcn});
    vcn = decodePairs(bytes.subspan(attribute.runsOffset()), vcn, out);

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

int64 ZDatarun::vcnToLcn(const RunList& runs, int64 vcn) {
    for (const ZDatarun& run : runs) {
        if (vcn < run.vcn || vcn - run.vcn >= run.length)
            continue;
        return run.lcn < 0 ? run.lcn : run.lcn + (vcn - run.vcn);
    }
    return NotFound;
}

} // namespace kova
