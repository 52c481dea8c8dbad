#pragma once

#include "engine/ntfs/MappingPairs.h"
#include "engine/ntfs/NtfsStream.h"

namespace kova {

class ZMftRecord;

/// The runs of a stream in the order of its clusters, read and decoded as they are asked for, so
/// that their number costs no memory.
///
/// What no extent maps is a run with the LCN `NotMapped`; of extents that overlap the first one
/// counts. Nothing that the volume says throws.
class RunWalk {
public:
    /// Walks the first `clusters` clusters of a non-resident stream of `record`. Both outlive the
    /// walk; no other extension record may be asked of `record` meanwhile.
    RunWalk(ZMftRecord& record, const NtfsStream& stream, int64 clusters);

    /// Gives the next run, of 1 cluster or more; false at the end.
    bool next(ZDatarun& run);

    /// Whether runs so far were missing.
    [[nodiscard]] bool hasGaps() const { return hasGaps_; }

private:
    bool nextOfExtent(ZDatarun& run);
    void open(const NtfsStream::Extent& extent);

    ZMftRecord& record_;
    const NtfsStream& stream_;
    int64 vcn_ = 0; ///< Where the next run begins.
    int64 end_;
    std::size_t nextExtent_ = 0;
    MappingPairs pairs_;
    int64 pairsEnd_ = 0; ///< The VCN after the extent that is open; not above `vcn_`: none is.
    bool hasGaps_ = false;
};

} // namespace kova
