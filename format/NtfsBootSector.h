#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace format {

/// The first sector of an NTFS volume, decoded.
struct NtfsBootSector {
    static constexpr std::size_t kBytes = 512;   ///< As much of it as is looked at.
    static constexpr std::size_t kEndMark = 510; ///< u8 0x55, u8 0xAA

    std::uint16_t bytesPerSector = 0;   ///< 0x0B, u16
    std::uint8_t sectorsPerCluster = 0; ///< 0x0D, u8; above 0x80: a power, see `clusterSectors`
    std::uint64_t totalSectors = 0;     ///< 0x28, u64; without the copy of this behind them
    std::uint64_t mftLcn = 0;           ///< 0x30, u64
    std::uint64_t mftMirrorLcn = 0;     ///< 0x38, u64; copies of the first records
    std::int8_t clustersPerRecord = 0;  ///< 0x40, i8; below 0: records of 2^-n bytes

    /// Nothing when there are less than `kBytes`, or no end mark or no "NTFS" at offset 3.
    [[nodiscard]] static std::optional<NtfsBootSector> decode(std::span<const std::uint8_t> sector);

    /// Sectors per cluster; 0 when the volume gives nonsense.
    [[nodiscard]] std::uint32_t clusterSectors() const;
    /// The byte for a number of sectors that is a power of two.
    void setClusterSectors(std::uint32_t sectors);
    /// Bytes per file record for clusters of `bytesPerCluster`; 0 when nonsense.
    [[nodiscard]] std::uint32_t recordBytes(std::uint32_t bytesPerCluster) const;
};

} // namespace format
