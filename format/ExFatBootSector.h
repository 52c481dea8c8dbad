#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace format {

/// The first sector of an exFAT volume's boot region, decoded (`offset, width` in bytes).
struct ExFatBootSector {
    static constexpr std::size_t kBytes = 512;
    static constexpr std::size_t kVolumeFlags = 106; ///< The offset of what changes while mounted.

    /// Sectors of a boot region: the boot sector, eight extended ones, two of parameters, and one
    /// that repeats the checksum of those before it. The backup follows the main region.
    static constexpr std::uint32_t kRegionSectors = 12;

    static constexpr std::uint32_t kSmallestSectorShift = 9;
    static constexpr std::uint32_t kLargestSectorShift = 12;

    /// The numbers of the heap's clusters: the first, and more than the last can have.
    static constexpr std::uint32_t kFirstCluster = 2;
    static constexpr std::uint32_t kClusterLimit = 0xFFFFFFF6;

    std::uint64_t volumeSectors = 0; ///< 72, 8
    std::uint32_t fatSector = 0;     ///< 80, 4: start of the first FAT.
    std::uint32_t fatSectors = 0;    ///< 84, 4: length of one FAT.
    std::uint32_t heapSector = 0;    ///< 88, 4: start of cluster 2.
    std::uint32_t clusterCount = 0;  ///< 92, 4
    std::uint32_t rootCluster = 0;   ///< 96, 4
    std::uint16_t volumeFlags = 0;   ///< 106, 2
    std::uint8_t sectorShift = 0;    ///< 108, 1: bytes per sector, as a power of two: 9 to 12.
    std::uint8_t clusterShift = 0;   ///< 109, 1: sectors per cluster, as a power of two.
    std::uint8_t fatCount = 0;       ///< 110, 1: 1, or 2 on TexFAT.

    /// Nothing when the sector describes no exFAT volume that could exist.
    [[nodiscard]] static std::optional<ExFatBootSector>
    decode(std::span<const std::uint8_t, kBytes> sector);

    [[nodiscard]] std::uint32_t sectorBytes() const { return 1U << sectorShift; }

    /// Whether TexFAT's second FAT and second bitmap are the ones in use.
    [[nodiscard]] bool usesSecondFat() const { return fatCount > 1 && (volumeFlags & 1U) != 0; }
};

} // namespace format
