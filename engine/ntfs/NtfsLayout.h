#pragma once

#include "engine/LittleEndian.h"
#include "engine/types.h"
#include "format/NtfsBootSector.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

/// What NTFS has on disk: offsets in bytes, all integers little-endian. Nothing outside this file
/// knows an offset, those of the boot sector apart.
namespace kova::ntfs {

/// The bytes of one file record, fixups applied.
using RecordBuffer = std::vector<uint8>;

/// File records with a fixed meaning.
inline constexpr int64 kMftRecord = 0;
inline constexpr int64 kRootRecord = 5;
/// The volume's own files have the records before it, the root apart.
inline constexpr int64 kFirstUserRecord = 24;
inline constexpr int64 kVolumeRecord = 3;
inline constexpr int64 kVolumeBitmapRecord = 6;
/// Records below this lie in the first extent of the MFT, found without its run list.
inline constexpr int64 kFirstMappedRecord = 16;

/// A record reference: the record's number in the low 48 bits, its sequence number above.
inline constexpr uint64 kRecordNumberMask = 0x0000FFFFFFFFFFFF;
inline constexpr unsigned kSequenceShift = 48;

/// The sequence number of a record reference, 0 when it has none.
[[nodiscard]] constexpr uint16 sequenceOf(uint64 reference) {
    return static_cast<uint16>(reference >> kSequenceShift);
}

/// Whether a reference with sequence number `referred` means a record that has `sequence` now. A
/// record that is freed gets the next number, so one that is free may still be the one meant.
[[nodiscard]] bool isSameRecord(uint16 referred, uint16 sequence, bool inUse);

/// Attribute types.
inline constexpr uint32 kStandardInformation = 0x10;
inline constexpr uint32 kAttributeList = 0x20;
inline constexpr uint32 kFileName = 0x30;
inline constexpr uint32 kData = 0x80;
inline constexpr uint32 kIndexAllocation = 0xA0;
inline constexpr uint32 kVolumeName = 0x60;
inline constexpr uint32 kBitmap = 0xB0;
inline constexpr uint32 kReparsePoint = 0xC0;
inline constexpr uint32 kEndOfAttributes = 0xFFFFFFFF;

/// Attribute types are multiples of this; the list entries' reach up to the second.
inline constexpr uint32 kTypeStep = 0x10;
inline constexpr uint32 kHighestListedType = 0x100;
/// Attributes with a higher id are taken for damaged.
inline constexpr uint16 kHighestAttributeId = 0x100;

using BootSector = format::NtfsBootSector;

/// Offsets into a file record.
struct RecordHeader {
    static constexpr std::size_t kSignature = 0x00;      ///< "FILE"
    static constexpr std::size_t kFixupOffset = 0x04;    ///< u16
    static constexpr std::size_t kFixupCount = 0x06;     ///< u16, the sequence number included
    static constexpr std::size_t kSequence = 0x10;       ///< u16, counts the uses of the record
    static constexpr std::size_t kFirstAttribute = 0x14; ///< u16
    static constexpr std::size_t kFlags = 0x16;          ///< u16
    static constexpr std::size_t kBytesInUse = 0x18;     ///< u32
    static constexpr std::size_t kBytesAllocated = 0x1C; ///< u32, the size of the record
    static constexpr std::size_t kBaseRecord = 0x20;     ///< u64, 0 in a base record
    static constexpr std::size_t kNumber = 0x2C;         ///< u32, since Windows XP

    static constexpr uint16 kInUse = 0x0001;
    static constexpr uint16 kDirectory = 0x0002;
    static constexpr uint16 kViewIndex = 0x0008; ///< One of the volume's own indexes.
    /// Each stride's last two bytes are replaced by a fixup, whatever the sector size.
    static constexpr std::size_t kFixupStride = 512;
};

/// Offsets into a block of an index, of a folder for one.
struct IndexBlock {
    static constexpr std::size_t kSignature = 0x00;   ///< "INDX"
    static constexpr std::size_t kVcn = 0x10;         ///< u64, of the block in its index
    static constexpr std::size_t kHeaderBytes = 0x18; ///< Up to the header of its entries.
};

/// An entry of a folder's index: which file has a name in it.
struct IndexEntry {
    /// Entries begin at multiples of this, in blocks as in records.
    static constexpr std::size_t kStep = 8;
    /// With a name of one character.
    static constexpr std::size_t kShortest = 0x58;

    uint64 reference = 0;        ///< 0x00, u64, record and sequence number of the file
    uint64 parent = 0;           ///< 0x10, u64, those of the folder
    int64 creationTime = 0;      ///< 0x18, FILETIME
    int64 modificationTime = 0;  ///< 0x20, FILETIME
    int64 size = 0;              ///< 0x40, i64, as of when the file was closed last
    bool isDirectory = false;    ///< A bit of the attributes at 0x48, u32
    uint8 nameSpace = 0;         ///< 0x51, u8
    std::span<const uint8> name; ///< 0x52, UTF-16; its length in units is the u8 at 0x50
    std::size_t length = 0;      ///< 0x08, u16, bytes of the entry

    /// Decodes what may be an entry; nothing where its lengths do not agree, or it names no file.
    static std::optional<IndexEntry> decode(std::span<const uint8> bytes);
};

/// Puts the fixups of a record or block of whole strides in place. False when they do not agree
/// with the words that they stand for, as in what was torn, or is no record at all.
[[nodiscard]] bool applyTrueFixups(std::span<uint8> record);

/// One attribute in a record buffer. Reads every field from the buffer with a check; one that
/// leaves it is the generic failure. Does not own the bytes.
class AttributeHeader {
public:
    /// Bytes of the fields that every attribute has.
    static constexpr std::size_t kShortest = 0x10;

    /// In `flags`. A method in the low byte compresses; kSparse alone does not.
    static constexpr uint16 kCompressionMask = 0x00FF;
    static constexpr uint16 kLznt1 = 0x0001;
    static constexpr uint16 kEncrypted = 0x4000;

    AttributeHeader() = default;
    /// `offset` bytes into `record`.
    AttributeHeader(std::span<const uint8> record, std::size_t offset);

    [[nodiscard]] bool isMissing() const { return bytes_.empty(); }

    [[nodiscard]] uint32 type() const { return get<uint32>(0x00); }

    [[nodiscard]] uint32 length() const { return get<uint32>(0x04); }

    [[nodiscard]] uint8 nonResidentFlag() const { return get<uint8>(0x08); }

    [[nodiscard]] bool isResident() const { return nonResidentFlag() == 0; }

    [[nodiscard]] uint8 nameLength() const { return get<uint8>(0x09); }

    [[nodiscard]] uint16 nameOffset() const { return get<uint16>(0x0A); }

    [[nodiscard]] uint16 flags() const { return get<uint16>(0x0C); }

    [[nodiscard]] uint16 id() const { return get<uint16>(0x0E); }

    /// Resident attributes.
    [[nodiscard]] uint32 valueLength() const { return get<uint32>(0x10); }

    [[nodiscard]] uint16 valueOffset() const { return get<uint16>(0x14); }

    /// Non-resident attributes; sizes in bytes.
    [[nodiscard]] int64 firstVcn() const { return get<int64>(0x10); }

    [[nodiscard]] int64 lastVcn() const { return get<int64>(0x18); }

    [[nodiscard]] uint16 runsOffset() const { return get<uint16>(0x20); }

    /// The clusters of a compression unit, as a power of two.
    [[nodiscard]] uint8 compressionUnit() const { return get<uint8>(0x22); }

    [[nodiscard]] int64 allocatedSize() const { return get<int64>(0x28); }

    [[nodiscard]] int64 dataSize() const { return get<int64>(0x30); }

    [[nodiscard]] int64 initializedSize() const { return get<int64>(0x38); }

    /// The attribute's own bytes; a length that leaves the record is the generic failure.
    [[nodiscard]] std::span<const uint8> bytes() const;
    /// `count` bytes at `offset` into the attribute, within the record.
    [[nodiscard]] std::span<const uint8> bytes(std::size_t offset, std::size_t count) const;

private:
    template <typename T>
    [[nodiscard]] T get(std::size_t offset) const {
        return readLe<T>(bytes_, offset);
    }

    std::span<const uint8> bytes_; ///< From the attribute to the end of the record.
};

/// Value of $STANDARD_INFORMATION, as far as it is used. Times are FILETIMEs.
struct StandardInformation {
    static constexpr std::size_t kSize = 72;
    static constexpr uint32 kDirectory = 0x10000000; ///< In `fileAttributes`.

    int64 creationTime = 0;     ///< 0x00, u64
    int64 modificationTime = 0; ///< 0x08, u64
    int64 accessTime = 0;       ///< 0x18, u64
    uint32 fileAttributes = 0;  ///< 0x20, u32

    /// Decodes a value, of which anything missing is zero.
    static StandardInformation decode(std::span<const uint8> value);
};

/// Value of $FILE_NAME, as far as it is used.
struct FileNameValue {
    enum Namespace : uint8 { Posix = 0, Win32 = 1, Dos = 2, Win32AndDos = 3 };

    /// The longest value: a name of 255 UTF-16 units.
    static constexpr std::size_t kLongest = 0x42 + 2 * 255;

    int64 parent = 0;            ///< 0x00, u48 record number
    uint16 parentSequence = 0;   ///< 0x06, u16
    int64 dataSize = 0;          ///< 0x38, i64; often older than the file
    uint8 nameSpace = 0;         ///< 0x41, u8
    std::span<const uint8> name; ///< 0x42, UTF-16; its length in units is the u8 at 0x40

    /// Decodes a value in place; one too short for its name is the generic failure.
    static FileNameValue decode(std::span<const uint8> value);
};

/// Value of $REPARSE_POINT, as far as it is used: what stands behind a file's content.
struct ReparsePoint {
    static constexpr uint32 kPackedSystemFile = 0x80000017;
    static constexpr uint32 kDeduplicated = 0x80000013;
    static constexpr uint32 kArchived = 0xC0000004;
    static constexpr uint32 kArchivedToo = 0x80000006;
    static constexpr uint32 kCloud = 0x9000001A;
    /// These bits of a tag number the cloud's kind.
    static constexpr uint32 kCloudKinds = 0x0000F000;

    /// How a packed system file's content is packed into its stream of the name below.
    enum class Packing { None, Xpress4K, Xpress8K, Xpress16K, Lzx };

    static constexpr std::wstring_view kPackedStream = L"WofCompressedData";

    uint32 tag = 0;                  ///< 0x00, u32
    Packing packing = Packing::None; ///< 0x14, u32; only of what is packed beside the file.

    static ReparsePoint decode(std::span<const uint8> value);

    [[nodiscard]] bool isPacked() const { return tag == kPackedSystemFile || tag == kDeduplicated; }

    [[nodiscard]] bool isElsewhere() const {
        return (tag & ~kCloudKinds) == kCloud || tag == kArchived || tag == kArchivedToo;
    }
};

/// One entry of an $ATTRIBUTE_LIST value.
struct AttributeListEntry {
    static constexpr uint16 kShortest = 0x1A;

    uint32 type = 0;      ///< 0x00, u32
    uint16 length = 0;    ///< 0x04, u16
    uint8 nameLength = 0; ///< 0x06, u8, in UTF-16 units
    uint8 nameOffset = 0; ///< 0x07, u8
    int64 firstVcn = 0;   ///< 0x08, i64
    uint64 record = 0;    ///< 0x10, u48 record number; the sequence number is dropped
    uint16 id = 0;        ///< 0x18, u16

    /// Decodes the entry `offset` bytes into the list. Fields that leave the list are the
    /// generic failure; of an entry of length 0 nothing else is decoded.
    static AttributeListEntry decode(std::span<const uint8> list, std::size_t offset);

    /// The name of the entry that was decoded there, UTF-16; one that leaves the list is the
    /// generic failure.
    [[nodiscard]] std::span<const uint8> name(std::span<const uint8> list,
                                              std::size_t offset) const;
};

} // namespace kova::ntfs
