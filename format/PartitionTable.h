#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace format {

/// One partition of a disk.
struct Partition {
    int number = 0;           ///< From 1: the slot in the table; logical partitions from 5 on.
    std::uint64_t offset = 0; ///< Bytes from the start of the disk.
    std::uint64_t length = 0; ///< Bytes, cut to the end of the disk.
};

enum class TableKind { None, Mbr, Gpt };

struct PartitionTable {
    TableKind kind = TableKind::None;
    std::vector<Partition> partitions; ///< In the order of their numbers.
};

/// Fills `bytes` from a byte offset of the disk; false when not all could be read.
using ReadDisk = std::function<bool(std::uint64_t offset, std::span<std::uint8_t> bytes)>;

/// Reads the partition table of a disk of `size` bytes whose sectors have `sectorSize` bytes
/// (512 or 4096). A GPT is taken when the MBR says that there is one, or when there is neither MBR
/// nor a volume's boot sector; its copy at the disk's end stands in for a damaged one. Every number
/// read is bounded by what the disk can hold; partitions that start beyond its end are left out.
[[nodiscard]] PartitionTable readPartitionTable(const ReadDisk& read, std::uint64_t size,
                                                std::uint32_t sectorSize);

} // namespace format
