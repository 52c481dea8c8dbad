#pragma once

#include "engine/ntfs/ZDatarun.h"
#include "engine/types.h"

#include <map>
#include <string>
#include <vector>

namespace kova::test {

/// Builds one NTFS file record, attribute by attribute, in the order of the calls.
class RecordBuilder {
public:
    struct Extent {
        int64 firstVcn = 0;
        int64 lastVcn = -2; ///< -2: as the runs say.
        int64 dataSize = 0;
        int64 allocatedSize = -1;   ///< -1: as the runs say.
        int64 initializedSize = -1; ///< -1: the data size.
        uint16 flags = 0;
        uint8 compressionUnit = 0;
        std::u16string name = {};
    };

    explicit RecordBuilder(uint32 recordSize = 1024);

    RecordBuilder& flags(uint16 value); ///< 1 in use, 2 directory
    RecordBuilder& base(uint64 reference);
    /// Created at `time`, written, changed and read a tick later each; all unset for 0.
    RecordBuilder& standardInformation(int64 time, uint32 fileAttributes = 0x20);
    RecordBuilder& fileName(int64 parent, const std::u16string& name, uint8 nameSpace = 1);
    RecordBuilder& resident(uint32 type, const std::vector<uint8>& value,
                            const std::u16string& name = {});
    /// `runs` without a terminator; holes have the LCN `ZDatarun::Hole`.
    RecordBuilder& nonResident(uint32 type, const std::vector<ZDatarun>& runs,
                               const Extent& extent);
    /// A whole unnamed $DATA of `size` bytes over the runs.
    RecordBuilder& data(const std::vector<ZDatarun>& runs, int64 size, uint32 bytesPerCluster);

    /// Offset of the attribute added last, for tests that damage it.
    [[nodiscard]] std::size_t lastOffset() const { return last_; }

    /// The record as the engine sees it, to be changed before `bytes`.
    [[nodiscard]] std::vector<uint8>& raw() { return record_; }

    /// The record as it stands on disk, with fixups.
    [[nodiscard]] std::vector<uint8> bytes() const;

    /// Mapping pairs for runs that begin at VCN `firstVcn`, with the terminating 0.
    static std::vector<uint8> mappingPairs(const std::vector<ZDatarun>& runs);

private:
    void append(uint32 type, std::vector<uint8> header, const std::vector<uint8>& content,
                const std::u16string& name);

    std::vector<uint8> record_;
    std::size_t end_;
    std::size_t last_ = 0;
    uint16 nextId_ = 0;
};

/// One entry of an $ATTRIBUTE_LIST value.
std::vector<uint8> attributeListEntry(uint32 type, uint64 record, int64 firstVcn = 0,
                                      uint16 id = 0);

/// Builds a small NTFS volume in memory: boot sector, $MFT, root directory, $Bitmap, and the
/// records given.
class NtfsBuilder {
public:
    struct Geometry {
        uint32 bytesPerSector = 512;
        uint32 sectorsPerCluster = 8;
        uint32 recordSize = 1024;
        uint32 recordCount = 64;
        uint32 clusters = 256;
        /// Extents of the MFT, LCN and clusters; empty: one that is long enough.
        std::vector<std::pair<int64, int64>> mftExtents = {};
    };

    explicit NtfsBuilder(Geometry geometry);

    NtfsBuilder() : NtfsBuilder(Geometry{}) {}

    [[nodiscard]] uint32 bytesPerCluster() const {
        return geometry_.bytesPerSector * geometry_.sectorsPerCluster;
    }

    [[nodiscard]] RecordBuilder newRecord() const { return RecordBuilder(geometry_.recordSize); }

    /// A deleted file in the root folder, so far without content.
    [[nodiscard]] RecordBuilder newFile(const std::u16string& name = u"a",
                                        uint8 nameSpace = 1) const {
        return newRecord().standardInformation(1).fileName(5, name, nameSpace);
    }

    /// First cluster behind the MFT: free for data.
    [[nodiscard]] int64 firstFreeLcn() const { return firstFreeLcn_; }

    /// Puts a record; `allocated` is its bit in the MFT bitmap.
    NtfsBuilder& put(uint32 number, const std::vector<uint8>& record, bool allocated = false);

    NtfsBuilder& put(uint32 number, const RecordBuilder& record, bool allocated = false) {
        return put(number, record.bytes(), allocated);
    }

    /// A deleted file with resident content.
    NtfsBuilder& deletedFile(uint32 number, int64 parent, const std::u16string& name,
                             const std::string& content);
    NtfsBuilder& directory(uint32 number, int64 parent, const std::u16string& name, bool live);
    NtfsBuilder& putClusters(int64 lcn, const std::vector<uint8>& bytes);

    /// Marks clusters as in use, besides those of the MFT and the boot sector.
    NtfsBuilder& takeClusters(int64 lcn, int64 count);

    /// The volume. Records of the system that were not put are made.
    [[nodiscard]] std::vector<uint8> build();

private:
    /// Where a byte of the MFT lies in the image.
    [[nodiscard]] std::size_t mftOffset(std::size_t offset) const;

    Geometry geometry_;
    std::vector<std::pair<int64, int64>> mftExtents_;
    int64 firstFreeLcn_ = 0;
    std::map<uint32, std::vector<uint8>> records_;
    std::vector<uint8> bitmap_;
    std::vector<uint8> volumeBitmap_; ///< Of a volume of very many clusters, its begin.
    std::vector<uint8> image_;
};

} // namespace kova::test
