#pragma once

#include "engine/ZVolume.h"
#include "engine/ntfs/FileStates.h"
#include "engine/ntfs/LiveRecycled.h"
#include "engine/ntfs/NtfsFolderIndexes.h"
#include "engine/ntfs/NtfsFolderNames.h"
#include "engine/ntfs/NtfsLayout.h"
#include "engine/ntfs/NtfsStream.h"
#include "engine/ntfs/RunList.h"
#include "engine/ntfs/VolumeBitmap.h"

#include <map>
#include <optional>
#include <vector>

namespace kova {

class ZMftRecord;

/// An NTFS volume: finds the file records that are no longer allocated.
///
/// The low 48 bits of a node's id are its record number, 0 to 2^48 - 1. Above them stands which of
/// the record's named streams the node is, counted from 1 in the order of the record; 0 is the file
/// itself. So no stream's id is that of a record, and all are positive.
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

    /// Copies the content of the file or stream that the node's id names. The volume is read
    /// as it is now: clusters that another file has taken since give that file's bytes.
    bool extract(const ZFileTreeNode& node, ZStream* out) override;

    /// By the volume's bitmap and the file's run list; with the option `wholeFiles` only. Most
    /// files are answered from what the scan has kept, without reading.
    [[nodiscard]] FileState assess(const ZFileTreeNode& node) override;

    /// The three steps of `init`.
    void readBootSector();
    void loadMft();
    void loadVolumeBitmap();

    /// Reads one file record into `buffer` and applies its fixups; false when they do not fit the
    /// record's size and were left alone. The record's cluster is found through the run list of
    /// the MFT, or, without `viaRunList`, from the MFT's first cluster on.
    virtual bool readMftRecord(int64 number, ntfs::RecordBuffer& buffer, bool viaRunList);

    /// Whether a record is found through the run list.
    [[nodiscard]] bool usesRunList(int64 number) const;

    /// Reads `count` clusters from `lcn` on; `buffer` is sized to them.
    void readClusters(int64 lcn, uint32 count, std::vector<uint8>& buffer);
    /// The same into a buffer that has room for them.
    void readClusters(int64 lcn, uint32 count, uint8* buffer);

    /// Walks all records. Very many indexes are left out, and so are those of damaged folders.
    [[nodiscard]] NtfsFolderIndexes folderIndexes();

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
    /// The same, answering false in place of the failure.
    [[nodiscard]] bool trySpend(uint64 bytes);

    /// Bytes of the media, or, where it does not tell, more than there are.
    [[nodiscard]] uint64 heldBytes() const;

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
    [[nodiscard]] int64 lcnOfMft(int64 vcn, bool viaRunList) const;
    void readAcrossClusters(uint64 index, ntfs::RecordBuffer& buffer, bool viaRunList);

    void loadMftClassic();
    bool loadMftFrom(uint64 lcn);
    void loadMftBitmap(ZMftRecord& record);

    bool processClassic(ZFileTree& tree, int64 number, bool onlyDirectories);
    bool processToday(ZFileTree& tree, int64 number, bool onlyDirectories);
    bool describeFile(ZMftRecord& record, ZFileTreeNode& node);
    void insertStreams(ZFileTree& tree, ZMftRecord& record, const ZFileTreeNode& file);
    void separateStrangers(ZFileTree& tree, int64 folder, uint16 sequence, bool inUse);
    void nameFormerFolders(ZFileTree& tree);
    void noteLive(int64 number, LiveRecycled& live);
    bool insertLive(ZFileTree& tree, int64 number);
    void restoreRecycled(ZFileTree& tree, const std::vector<uint32>& liveDescriptions);

    /// Folders whose records are others' now, while they are put back into a tree.
    struct FormerFolders {
        ZFileTree& tree;
        const NtfsFolderNames& names;
        std::map<uint64, int64> ids; ///< By reference; `kLostFolder` where nothing tells.
        int64 nextId;
        int depth; ///< Folders that are being put back below each other.
    };

    int64 formerFolder(uint64 reference, FormerFolders& former);
    std::vector<uint8> smallContent(const ZFileTreeNode& file);
    void lookForNames(NtfsFolderNames& names);
    bool lookInFolder(int64 number, NtfsFolderNames& names);
    void addFolderIndex(int64 number, NtfsFolderIndexes& indexes);
    [[nodiscard]] uint64 folderOf(int64 id);

    bool findStreamOf(ZMftRecord& record, int64 id, NtfsStream& stream) const;
    bool extractToday(int64 id, ZStream& out);
    [[nodiscard]] ExtractReport::Reason whyElsewhere(ZMftRecord& record, const NtfsStream& stream);
    [[nodiscard]] bool findPacked(ZMftRecord& record, NtfsStream& packed) const;
    void extractPacked(ZMftRecord& record, const NtfsStream& stream, const NtfsStream& packed,
                       ZStream& out);
    [[nodiscard]] bool isOverwritten(ZMftRecord& record, const NtfsStream& stream) const;
    [[nodiscard]] bool isBeyondDevice(ZMftRecord& record, const NtfsStream& stream) const;
    template <typename IsLost>
    [[nodiscard]] bool isAllLost(ZMftRecord& record, const NtfsStream& stream, IsLost isLost) const;
    [[nodiscard]] FileState stateOf(ZMftRecord& record, const NtfsStream& stream);
    [[nodiscard]] int64 clustersOf(const NtfsStream& stream) const;

    std::optional<uint64> bootSectorAt_;
    ntfs::BootSector bootSector_;
    uint32 recordCount_ = 0;
    uint32 recordSize_ = 0;
    uint32 recordsPerCluster_ = 0;
    uint32 sectorsPerRecord_ = 0;
    uint32 bytesPerCluster_ = 0;
    RunList mftRuns_;
    std::vector<uint8> mftBitmap_; ///< Bit i, least significant first: record i is allocated.
    bool bitmapHasGaps_ = false;   ///< What it says is free may not be.
    VolumeBitmap volumeBitmap_;    ///< Empty when it is not known in full.

    uint64 totalClusters_ = 0;
    uint64 mftLcn_ = 0; ///< Where records are found without the run list.
    uint64 leftToSpend_ = 0;

    /// Kept from record to record while a scan walks over them.
    struct Walk {
        struct Reference {
            uint32 record;
            uint16 parentSequence;
        };

        struct Folder {
            uint32 record;
            uint16 sequence;
            bool inUse;
        };

        std::vector<Reference> references; ///< In ascending order.
        std::vector<Folder> folders;
    };

    std::optional<Walk> walk_;
    FileStates states_;
    bool seesRecycled_ = false; ///< The scan: something may tell of what was in the recycle bin.
};

} // namespace kova
