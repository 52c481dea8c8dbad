#pragma once

#include "engine/ByteRange.h"
#include "engine/LittleEndian.h"
#include "engine/ZCustomMedia.h"
#include "engine/search/BlockFinder.h"

#include <vector>

namespace kova {

/// Finds the tables of FAT16, FAT32 and exFAT volumes, today's and former ones: a copy that no
/// format has cleared still tells where files in pieces lay.
class FatTableFinder : public BlockFinder {
public:
    /// Whether a look at the step of bytes that `bytes` begin with is worth it: what every block is
    /// asked, and hardly any gets past.
    [[nodiscard]] static bool mayHold(std::span<const uint8> bytes) {
        return loadLe<uint16>(bytes.data()) == kFirstEntry;
    }

    void look(uint64 position, std::span<const uint8> bytes, std::size_t fresh) override;

    [[nodiscard]] std::wstring name() const override { return L"file allocation tables"; }

    [[nodiscard]] uint64 found() const override { return tables_.size() + fat16Tables_.size(); }

    /// Where a file of `size` bytes lay that began with cluster `first`, of a volume whose cluster
    /// 2 lay at `start`: what a table's chain says that has just the length that the file takes.
    /// Empty when no table has such a chain.
    [[nodiscard]] std::vector<ByteRange> placeOf(ZCustomMedia& media, uint32 first, uint64 size,
                                                 uint64 start, uint32 clusterBytes) const;

private:
    void keepTable(std::vector<uint64>& tables, uint64 position);
    [[nodiscard]] std::vector<uint32> chain(ZCustomMedia& media, uint32 first, uint64 count) const;

    /// What the first entry begins with in all of them, for a medium that is no floppy.
    static constexpr uint16 kFirstEntry = 0xFFF8;
    /// A volume has two; what else looks like one is seldom more.
    static constexpr std::size_t kMostTables = 16;

    std::vector<uint64> tables_;      ///< Bytes on the media at which they begin.
    std::vector<uint64> fat16Tables_; ///< The same; one of exFAT may be among them.
};

} // namespace kova
