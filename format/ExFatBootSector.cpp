#include "format/ExFatBootSector.h"

#include "format/LittleEndian.h"

#include <algorithm>
#include <string_view>

namespace format {

namespace {

constexpr std::string_view kSystemId = "EXFAT   ";
constexpr std::size_t kSystemIdOffset = 3;
constexpr std::size_t kEndMark = 510; // u16
constexpr std::uint16_t kEndMarkValue = 0xAA55;

/// The largest cluster has 32 MiB.
constexpr std::uint32_t kLargestClusterShift = 25;
constexpr std::uint8_t kMostFats = 2;

} // namespace

std::optional<ExFatBootSector>
ExFatBootSector::decode(std::span<const std::uint8_t, kBytes> sector) {
    const std::uint8_t* const bytes = sector.data();
    if (!std::equal(kSystemId.begin(), kSystemId.end(), bytes + kSystemIdOffset,
                    [](char c, std::uint8_t byte) { return static_cast<char>(byte) == c; }) ||
        loadLe<std::uint16_t>(bytes + kEndMark) != kEndMarkValue)
        return std::nullopt;
    ExFatBootSector boot;
    boot.volumeSectors = loadLe<std::uint64_t>(bytes + 72);
    boot.fatSector = loadLe<std::uint32_t>(bytes + 80);
    boot.fatSectors = loadLe<std::uint32_t>(bytes + 84);
    boot.heapSector = loadLe<std::uint32_t>(bytes + 88);
    boot.clusterCount = loadLe<std::uint32_t>(bytes + 92);
    boot.rootCluster = loadLe<std::uint32_t>(bytes + 96);
    boot.volumeFlags = loadLe<std::uint16_t>(bytes + kVolumeFlags);
    boot.sectorShift = bytes[108];
    boot.clusterShift = bytes[109];
    boot.fatCount = bytes[110];
    const std::uint64_t fatsEnd = boot.fatSector + std::uint64_t{boot.fatSectors} * boot.fatCount;
    const bool couldExist =
        boot.sectorShift >= kSmallestSectorShift && boot.sectorShift <= kLargestSectorShift &&
        boot.clusterShift <= kLargestClusterShift - boot.sectorShift && boot.fatCount != 0 &&
        boot.fatCount <= kMostFats && boot.fatSectors != 0 &&
        boot.fatSector >= 2 * kRegionSectors && boot.heapSector >= fatsEnd &&
        boot.clusterCount != 0 && boot.clusterCount < kClusterLimit &&
        boot.rootCluster >= kFirstCluster && boot.rootCluster - kFirstCluster < boot.clusterCount;
    return couldExist ? std::optional(boot) : std::nullopt;
}

} // namespace format
