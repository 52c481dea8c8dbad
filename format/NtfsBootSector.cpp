#include "format/NtfsBootSector.h"

#include "format/LittleEndian.h"

#include <bit>
#include <cstring>
#include <string_view>

namespace format {

namespace {

constexpr std::uint16_t kEndMarkValue = 0xAA55;
constexpr std::size_t kSystemId = 3;
constexpr std::string_view kName = "NTFS";

/// Up to this the sectors-per-cluster byte is a count; above, 2^(256 - value).
constexpr std::uint32_t kHighestPlainCount = 0x80;
constexpr std::uint32_t kPowerBase = 256;
/// Far above the 2 MiB clusters of today's NTFS; keeps every size in 32 bits.
constexpr std::uint32_t kHighestPower = 20;
constexpr std::uint32_t kLargestRecordPower = 26;

} // namespace

std::optional<NtfsBootSector> NtfsBootSector::decode(std::span<const std::uint8_t> sector) {
    if (sector.size() < kBytes ||
        loadLe<std::uint16_t>(sector.data() + kEndMark) != kEndMarkValue ||
        std::memcmp(sector.data() + kSystemId, kName.data(), kName.size()) != 0)
        return std::nullopt;
    NtfsBootSector boot;
    boot.bytesPerSector = loadLe<std::uint16_t>(sector.data() + 0x0B);
    boot.sectorsPerCluster = loadLe<std::uint8_t>(sector.data() + 0x0D);
    boot.totalSectors = loadLe<std::uint64_t>(sector.data() + 0x28);
    boot.mftLcn = loadLe<std::uint64_t>(sector.data() + 0x30);
    boot.mftMirrorLcn = loadLe<std::uint64_t>(sector.data() + 0x38);
    boot.clustersPerRecord = loadLe<std::int8_t>(sector.data() + 0x40);
    return boot;
}

std::uint32_t NtfsBootSector::clusterSectors() const {
    if (sectorsPerCluster <= kHighestPlainCount)
        return sectorsPerCluster;
    const std::uint32_t power = kPowerBase - sectorsPerCluster;
    return power > kHighestPower ? 0 : 1U << power;
}

void NtfsBootSector::setClusterSectors(std::uint32_t sectors) {
    sectorsPerCluster = static_cast<std::uint8_t>(
        sectors <= kHighestPlainCount
            ? sectors
            : kPowerBase - static_cast<std::uint32_t>(std::countr_zero(sectors)));
}

std::uint32_t NtfsBootSector::recordBytes(std::uint32_t bytesPerCluster) const {
    if (clustersPerRecord >= 0) {
        const std::uint64_t bytes = static_cast<std::uint64_t>(clustersPerRecord) * bytesPerCluster;
        return bytes > (1U << kLargestRecordPower) ? 0 : static_cast<std::uint32_t>(bytes);
    }
    const auto power = static_cast<std::uint32_t>(-clustersPerRecord);
    return power > kLargestRecordPower ? 0 : 1U << power;
}

} // namespace format
