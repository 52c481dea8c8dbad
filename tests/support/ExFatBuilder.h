#pragma once

#include "engine/exfat/ExFatLayout.h"

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kova::test {

struct ExFatShape {
    uint32 sectorBytes = 512;
    uint32 clusterBytes = 4096;
    uint32 clusters = 256;
    uint32 fats = 1; ///< 2: a TexFAT volume of which the second FAT and bitmap are in use.
};

/// What an entry set says.
struct ExFatEntry {
    std::u16string name;
    bool deleted = false;
    bool noFatChain = true;
    uint16 attributes = 0x20;
    uint32 cluster = 0;                               ///< `addFile` and `addFolder` set it.
    uint64 size = 0;                                  ///< These too.
    std::optional<uint64> validLength = std::nullopt; ///< Nothing: the size.
    uint32 created = 0x5A6F6C60; ///< DOS date (2025-03-15) and time (13:35:00).
    uint8 created10ms = 0;
    uint8 utcOffset = 0x80;
};

/// The set as it lies on disk, its checksum and name hash right.
[[nodiscard]] std::vector<uint8> entrySet(const ExFatEntry& entry);

/// Writes the checksum of the boot region that begins at `region`.
void sealBootRegion(uint8* region, uint32 sectorBytes);

/// Builds an exFAT volume in memory. Folder 0 is the root.
class ExFatBuilder {
public:
    explicit ExFatBuilder(const ExFatShape& shape = {});

    [[nodiscard]] std::vector<uint8>& bytes() { return bytes_; }

    [[nodiscard]] std::span<uint8> cluster(uint32 cluster);

    void setFat(uint32 cluster, uint32 value);
    void setUsed(uint32 cluster, bool used);

    /// Takes the next `count` clusters, which are in use from then on, and returns the first.
    uint32 allocate(uint32 count = 1);

    /// Appends entries to a folder, which has one cluster.
    void add(uint32 folder, std::span<const uint8> entries);

    /// Writes a file's data into clusters of its own, free ones if it is deleted. Returns the
    /// first, 0 for an empty file.
    uint32 addFile(uint32 folder, ExFatEntry entry, std::string_view data);

    /// Makes a folder of one cluster, a free one if it is deleted, and returns that.
    uint32 addFolder(uint32 folder, ExFatEntry entry);

private:
    ExFatShape shape_;
    std::vector<uint8> bytes_;
    std::size_t fatOffset_ = 0; ///< Of the FAT in use.
    std::size_t heapOffset_ = 0;
    uint32 bitmap_ = 0; ///< First cluster of the bitmap in use.
    uint32 nextFree_ = exfat::kFirstCluster;
    std::map<uint32, std::size_t> used_; ///< Bytes of entries by folder.
};

} // namespace kova::test
