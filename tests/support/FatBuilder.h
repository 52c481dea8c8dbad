#pragma once

#include "engine/fat/FatLayout.h"

#include <array>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kova::test {

[[nodiscard]] constexpr uint16 fatDate(int year, int month, int day) {
    return static_cast<uint16>((year - 1980) << 9 | month << 5 | day);
}

[[nodiscard]] constexpr uint16 fatTime(int hour, int minute, int second) {
    return static_cast<uint16>(hour << 11 | minute << 5 | second / 2);
}

struct FatShape {
    FatType type = FatType::Fat16;
    uint32 bytesPerSector = 512;
    uint32 sectorsPerCluster = 1;
    uint32 clusters = 0;    ///< Has to fit the type. 0: a few more than the type needs.
    uint32 rootEntries = 0; ///< Not on FAT32. 0: 512.
};

/// What a directory entry says.
struct FatEntry {
    std::string name;        ///< "BASE.EXT", cut to 8 and 3 bytes.
    std::u16string longName; ///< Empty: no long-name entries.
    bool deleted = false;
    uint32 cluster = 0; ///< `addFile` and `addDirectory` set it.
    uint32 size = 0;    ///< `addFile` sets it.
    uint8 attributes = 0x20;
    uint8 caseBits = 0;
    uint16 creationDate = fatDate(2020, 5, 17);
    uint16 creationTime = fatTime(12, 30, 0);
    uint16 writeDate = fatDate(2021, 6, 18);
    uint16 writeTime = fatTime(13, 31, 2);
    uint16 accessDate = fatDate(2022, 7, 19);
};

using FatRawEntry = std::array<uint8, FatDirectoryEntry::kBytes>;

[[nodiscard]] FatRawEntry shortEntry(const FatEntry& entry);

/// The long-name entries of `entry` as they stand on disk, the last piece of the name first.
[[nodiscard]] std::vector<FatRawEntry> longEntries(const FatEntry& entry);

/// Builds a FAT volume in memory. Everything is taken as it is given, so that a volume can be as
/// wrong as a test wants it. Directory 0 is the root.
class FatBuilder {
public:
    explicit FatBuilder(const FatShape& shape = {});

    /// The volume.
    [[nodiscard]] std::vector<uint8>& bytes() { return bytes_; }

    [[nodiscard]] uint32 clusterBytes() const {
        return shape_.bytesPerSector * shape_.sectorsPerCluster;
    }

    [[nodiscard]] uint32 clusterCount() const { return shape_.clusters; }

    /// Byte at which a cluster begins.
    [[nodiscard]] std::size_t offsetOf(uint32 cluster) const;

    [[nodiscard]] std::span<uint8> cluster(uint32 cluster);

    /// Sets an entry of the first FAT.
    void setFat(uint32 cluster, uint32 value);

    /// The mark that ends a chain.
    [[nodiscard]] uint32 endMark() const;

    /// Takes the next `count` clusters as one chain and returns the first.
    uint32 allocate(uint32 count = 1);

    /// Appends an entry to a directory, which grows by a cluster when it is full.
    void addRaw(uint32 directory, const FatRawEntry& entry);

    /// Appends a short entry and the long-name entries before it.
    void add(uint32 directory, const FatEntry& entry);

    /// Writes a file's data into clusters of its own, free ones if the entry is deleted. Returns
    /// the first, 0 for an empty file.
    uint32 addFile(uint32 directory, FatEntry entry, std::string_view data);

    /// Makes a directory of one cluster, a free one if the entry is deleted, and returns that.
    uint32 addDirectory(uint32 directory, FatEntry entry);

private:
    struct Slot {
        uint32 cluster;
        uint32 used;         ///< Bytes of entries in it.
        bool isFree = false; ///< The directory is deleted: its clusters belong to no chain.
    };

    FatShape shape_;
    std::vector<uint8> bytes_;
    std::size_t fatOffset_ = 0;
    std::size_t rootOffset_ = 0;
    std::size_t dataOffset_ = 0;
    uint32 rootCluster_ = 0; ///< 0 on FAT12 and FAT16.
    uint32 nextFree_ = 2;
    std::map<uint32, Slot> ends_; ///< Where each directory goes on.
};

} // namespace kova::test
