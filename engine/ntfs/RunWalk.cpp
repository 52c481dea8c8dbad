#include "engine/ntfs/RunWalk.h"

#include "engine/ntfs/ZMftRecord.h"

#include <algorithm>

namespace kova {

RunWalk::RunWalk(ZMftRecord& record, const NtfsStream& stream, int64 clusters)
    : record_(record), stream_(stream), end_(clusters) {}

bool RunWalk::next(ZDatarun& run) {
    while (vcn_ < end_) {
        if (nextOfExtent(run))
            return true;
        const auto& extents = stream_.extents;
        while (nextExtent_ < extents.size() && extents[nextExtent_].firstVcn < vcn_)
            ++nextExtent_;
        const int64 begin = nextExtent_ < extents.size() ? extents[nextExtent_].firstVcn : end_;
        if (begin == vcn_) {
            open(extents[nextExtent_++]);
            continue;
        }
        hasGaps_ = true;
        run = {vcn_, ZDatarun::NotMapped, std::min(begin, end_) - vcn_};
        vcn_ = run.endVcn();
        return true;
    }
    return false;
}

void RunWalk::open(const NtfsStream::Extent& extent) {
    try {
        const auto header =
            record_.extentHeader(extent.record, stream_.type, stream_.name, extent.firstVcn);
        if (header.isMissing())
            return;
        pairs_ = MappingPairs(header);
        // 0 also stands for an end that is not told: as far as the pairs go.
        const int64 last = header.lastVcn();
        pairsEnd_ = last > 0 && last < end_ ? last + 1 : end_;
    } catch (...) { // NOLINT(bugprone-empty-catch): the extent is a gap
    }
}

bool RunWalk::nextOfExtent(ZDatarun& run) {
    try {
        while (vcn_ < pairsEnd_) {
            if (!pairs_.next(run))
                break;
            run.length = std::min(run.length, std::min(pairsEnd_, end_) - vcn_);
            vcn_ += run.length;
            if (run.length > 0)
                return true;
        }
    } catch (const ZDatarun::ECorruptAttribute&) { // NOLINT(bugprone-empty-catch): a gap, too
    }
    pairsEnd_ = vcn_;
    return false;
}

} // namespace kova
