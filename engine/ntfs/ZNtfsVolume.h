#pragma once

#include "engine/ZVolume.h"
#include "engine/ntfs/NtfsLayout.h"
#include "engine/ntfs/ZDatarun.h"

#include <optional>
#include <vector>

namespace kova {

class ZMftRecord;

/// An NTFS volume: finds the file records that are no longer allocated.
///
/// Failures are the thrown `int` 0, or the empty structures of `ZMftRecord`, `ZAttribute` and
/// `ZDatarun`. `init` lets them pass; a scan skips the record, an extraction returns false.
class ZNtfsVolume : public ZVolume {
public:
    using ZVolume::ZVolume;

    /// Has `init` take the boot sector from this byte of the media, where a copy of it lies,
    /// instead of from its position. Sectors are then 512 bytes or larger and the byte is a
    /// multiple of 512.
    void setBootSectorAt(uint64 byte) { bootSectorAt_ = byte; }

    bool init() override;

    /// Fills `tree` with the unallocated records and the live directories above them. A false
    /// answer of the progress callback ends it while the records are walked.
    void scan(ZFileTree* tree) override;

    /// Copies the content of the file whose record number is the node's id. The volume is read
    /// as it is now: clusters that another file has taken since give that file's bytes.
    bool extract(const ZFileTreeNode& node, ZStream* out) override;

    /// The three steps of `init`.
    void readBootSector();
    void loadMft();
    void loadVolumeBitmap();

    /// Reads one file record into `buffer` and applies its fixups; false when they do not fit the
    /// record's size and were left alone. The record's cluster is found through the run list of
    /// the MFT, or, without `viaRunList`, from the MFT's first cluster on.
    virtual bool readMftRecord(int64 number, ntfs::RecordBuffer& buffer, bool viaRunList);

    /// Whether a record is found through the run list.
    [[nodiscard]] static bool needsRunList(int64 number) {
        return (number & static_cast<int64>(ntfs::kRecordNumberMask)) >= ntfs::kFirstMappedRecord;
    }

    /// Reads `count` clusters from `lcn` on; `buffer` is sized to them.
    void readClusters(int64 lcn, uint32 count, std::vector<uint8>& buffer);
    /// The same into a buffer that has room for them.
    void readClusters(int64 lcn, uint32 count, uint8* buffer);

    [[nodiscard]] ClusterLayout clusterLayout() const override;
    [[nodiscard]] bool isInUse(uint64 index) const override;
    [[nodiscard]] std::vector<ByteRange> placeOf(const ZFileTreeNode& node) override;

    [[nodiscard]] uint64 totalClusters() const { return totalClusters_; }

    [[nodiscard]] uint32 recordSize() const { return recordSize_; } ///< Bytes.

    [[nodiscard]] uint32 bytesPerCluster() const { return bytesPerCluster_; }

    /// File records in the MFT, as far as the media can hold them.
    [[nodiscard]] uint32 recordCount() const { return recordCount_; }

    /// Accounts for `bytes` read or searched on behalf of what the volume says. A volume that
    /// lets the same clusters or records be asked for over and over is the generic failure.
    void spend(uint64 bytes);

protected:
    /// Takes cluster and record sizes from a boot sector; nonsense is the generic failure.
    void useGeometry(const ntfs::BootSector& boot);

    void setRecordCount(uint32 records) { recordCount_ = records; }

    /// Applies the fixups of a record just read; see `readMftRecord`.
    static bool applyFixups(ntfs::RecordBuffer& record);
    bool processRecord(ZFileTree& tree, int64 number, bool onlyDirectories);
    void startSpending();

private:
    [[nodiscard]] bool isAllocated(uint32 number) const;
    [[nodiscard]] int64 lcnOfMft(int64 vcn) const;
    [[nodiscard]] uint64 heldBytes() const;

    std::optional<uint64> bootSectorAt_;
    ntfs::BootSector bootSector_;
    uint32 recordCount_ = 0;
    uint32 recordSize_ = 0;
    uint32 recordsPerCluster_ = 0;
    uint32 sectorsPerRecord_ = 0;
    uint32 bytesPerCluster_ = 0;
    std::vector<ZDatarun> mftRuns_;
    std::vector<uint8> mftBitmap_;    ///< Bit i, least significant first: record i is allocated.
    std::vector<uint8> volumeBitmap_; ///< Loaded and kept; nothing asks it.

    uint64 totalClusters_ = 0;
    bool mftRunsInOrder_ = false;
    uint64 leftToSpend_ = 0;
};

} // namespace kova
