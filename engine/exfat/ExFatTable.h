#pragma once

#include "engine/types.h"

#include <functional>
#include <unordered_map>
#include <vector>

namespace kova {

/// The file allocation table, read where it is asked: most files have no use for it, and that of a
/// large volume takes gigabytes.
class ExFatTable {
public:
    /// Reads `count` sectors of the volume from `sector` on; what cannot be read is zero.
    using ReadSectors = std::function<void(uint64 sector, uint32 count, uint8* buffer)>;

    /// A table without entries.
    ExFatTable() = default;

    /// The table of `sectors` sectors of `sectorBytes` bytes that starts at `firstSector`.
    ExFatTable(uint64 firstSector, uint32 sectors, uint32 sectorBytes, ReadSectors read);

    /// What the table says about a cluster: the next one of its chain, or a mark; 0 for one beyond
    /// the table.
    [[nodiscard]] uint32 entry(uint32 cluster);

private:
    static constexpr uint32 kPageBytes = 64 * 1024;
    static constexpr uint32 kPageEntries = kPageBytes / sizeof(uint32);
    /// Pages kept at once: 16 MiB.
    static constexpr std::size_t kMostPages = 256;

    const std::vector<uint8>& page(uint32 number);

    uint64 firstSector_ = 0;
    uint32 sectors_ = 0;
    uint32 sectorBytes_ = 0;
    ReadSectors read_;
    std::unordered_map<uint32, std::vector<uint8>> pages_;
};

} // namespace kova
