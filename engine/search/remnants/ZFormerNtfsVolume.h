#pragma once

#include "engine/ntfs/ZNtfsVolume.h"
#include "engine/search/ShiftedMedia.h"

#include <unordered_map>

namespace kova {

/// An NTFS volume of which only file records are left: its files are read by what these say.
class ZFormerNtfsVolume : public ZNtfsVolume {
public:
    struct Geometry {
        int64 start = 0;         ///< Byte on the media at which the volume began.
        uint32 clusterBytes = 0; ///< A power of two.
        uint32 recordBytes = 0;
        /// By record number: the byte on the media at which the record lies.
        std::unordered_map<int64, uint64> records;
    };

    /// `media` is not owned and outlives this.
    ZFormerNtfsVolume(ZCustomMedia* media, Geometry geometry);

    /// Nothing is to be read.
    bool init() override;

    /// Fills `tree` with all records that are left, live or not when the volume went.
    void scan(ZFileTree* tree) override;

    bool readMftRecord(int64 number, ntfs::RecordBuffer& buffer, bool viaRunList) override;

    [[nodiscard]] std::vector<ByteRange> placeOf(const ZFileTreeNode& node) override;

private:
    ZCustomMedia& whole_; ///< Where the records lie.
    Geometry geometry_;
    ShiftedMedia shifted_; ///< Where the clusters lie.
};

} // namespace kova
