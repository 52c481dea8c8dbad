#pragma once

#include "engine/LittleEndian.h"
#include "format/ExFatBootSector.h"
#include "platform/LocalTime.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>

namespace kova::exfat {

using BootSector = format::ExFatBootSector;

/// The number of the first cluster of the heap.
inline constexpr uint32 kFirstCluster = BootSector::kFirstCluster;

/// Entries of the FAT: the next cluster, or one of these.
inline constexpr uint32 kFreeEntry = 0; ///< Not used for what is free: the bitmap tells that.
inline constexpr uint32 kFatMedia = 0xFFFFFFF8; ///< Stands in the first entry of every FAT.

/// No folder is larger.
inline constexpr uint64 kLargestFolder = uint64{256} << 20;

/// Whether the last sector of a boot region repeats the checksum of those before it, with the
/// fields left out that change while a volume is mounted.
[[nodiscard]] bool isRegionWhole(std::span<const uint8> region, uint32 sectorBytes);

/// A view of one 32-byte directory entry. It does not own the bytes.
class DirectoryEntry {
public:
    static constexpr std::size_t kBytes = 32;

    static constexpr uint8 kInUse = 0x80;     ///< Cleared when the entry is deleted.
    static constexpr uint8 kSecondary = 0x40; ///< Belongs to the primary entry before it.

    /// What an entry is: its type without the in-use bit.
    static constexpr uint8 kEnd = 0x00; ///< Only as a whole type: no entry from here on was used.
    static constexpr uint8 kBitmap = 0x01;
    static constexpr uint8 kUpcaseTable = 0x02;
    static constexpr uint8 kLabel = 0x03;
    static constexpr uint8 kFile = 0x05;
    static constexpr uint8 kStream = 0x40;
    static constexpr uint8 kName = 0x41;

    /// `bytes` holds `kBytes` bytes and outlives the view.
    explicit DirectoryEntry(const uint8* bytes) : bytes_(bytes) {}

    /// 0, 1
    [[nodiscard]] uint8 type() const { return bytes_[0]; }

    [[nodiscard]] uint8 kind() const { return static_cast<uint8>(type() & ~kInUse); }

    [[nodiscard]] bool isInUse() const { return (type() & kInUse) != 0; }

    [[nodiscard]] bool isSecondary() const { return (type() & kSecondary) != 0; }

    /// Whether an entry of this type is defined for folders, or is the unused end of one.
    [[nodiscard]] bool isDefined() const;

    [[nodiscard]] const uint8* bytes() const { return bytes_; }

private:
    const uint8* bytes_;
};

/// The first entry of a file's or folder's set.
struct FileEntry {
    uint8 secondaryCount = 0; ///< 1, 1: entries of the set that follow.
    uint16 checksum = 0;      ///< 2, 2: of the whole set; see `setChecksum`.
    uint16 attributes = 0;    ///< 4, 2
    int64 creationTime = 0;   ///< 8, 4; 20, 1; 22, 1. All times as FILETIME, 0 when there is none.
    int64 modificationTime = 0; ///< 12, 4; 21, 1; 23, 1
    int64 accessTime = 0;       ///< 16, 4; 24, 1

    /// Whether the clock's distance from UTC is not known (22, 23 and 24, 1 each): the time is what
    /// a clock there showed.
    bool isCreationLocal = false;
    bool isModificationLocal = false;
    bool isAccessLocal = false;

    /// Takes what is local to be of this machine's time zone.
    void tellInUtc(platform::LocalTimes& localTimes);

    static constexpr uint16 kDirectory = 0x10;         ///< Attribute bit.
    static constexpr uint16 kDefinedAttributes = 0x37; ///< All attribute bits that mean something.

    [[nodiscard]] static FileEntry decode(DirectoryEntry entry);
};

/// The entry behind it, which tells where the content lies.
struct StreamEntry {
    uint8 flags = 0;             ///< 1, 1
    uint8 nameLength = 0;        ///< 3, 1: UTF-16 units.
    uint16 nameHash = 0;         ///< 4, 2: of the name in upper case.
    uint64 validLength = 0;      ///< 8, 8: bytes that were written; the others are zeros.
    uint32 firstCluster = 0;     ///< 20, 4; 0 for an empty file.
    uint64 dataLength = 0;       ///< 24, 8: bytes of the file.
    bool reservedIsZero = false; ///< 2, 1; 6, 2; 16, 4.

    static constexpr uint8 kMayAllocate = 0x01; ///< Flag; without it there are no clusters.
    static constexpr uint8 kNoFatChain = 0x02;  ///< Flag: the clusters follow each other.

    [[nodiscard]] static StreamEntry decode(DirectoryEntry entry);

    [[nodiscard]] bool noFatChain() const { return (flags & kNoFatChain) != 0; }
};

/// UTF-16 units in a name entry (2, 30).
inline constexpr std::size_t kNameUnits = 15;

/// Appends the units of a name entry to a name that is to have `length` units in the end.
void appendUnits(DirectoryEntry entry, std::size_t length, std::u16string& name);

/// The label in an entry of the root directory for it (1, 1: its UTF-16 units, 2, 22: these);
/// nothing when it is no such entry, or has none.
[[nodiscard]] std::optional<std::u16string> labelIn(DirectoryEntry entry);

/// The checksum of an entry set, whole entries, as it was while in use.
[[nodiscard]] uint16 setChecksum(std::span<const uint8> set);

/// The entry of the root directory for the allocation bitmap or the up-case table.
struct TableEntry {
    bool isSecond = false;   ///< 1, 1, bit 0: the bitmap that belongs to the second FAT.
    uint32 checksum = 0;     ///< 4, 4: of the up-case table.
    uint32 firstCluster = 0; ///< 20, 4
    uint64 bytes = 0;        ///< 24, 8

    [[nodiscard]] static TableEntry decode(DirectoryEntry entry);
};

} // namespace kova::exfat
