#include "platform/BootSector.h"

#include "platform/LittleEndian.h"

#include <algorithm>
#include <bit>
#include <string_view>

namespace platform {

namespace {

// Fields of the BIOS parameter block and their places in the boot sector.
constexpr std::size_t kSystemId = 3;           // 8 bytes
constexpr std::size_t kBytesPerSector = 11;    // u16
constexpr std::size_t kSectorsPerCluster = 13; // u8
constexpr std::size_t kReservedSectors = 14;   // u16
constexpr std::size_t kFatCount = 16;          // u8
constexpr std::size_t kRootEntryCount = 17;    // u16
constexpr std::size_t kTotalSectors16 = 19;    // u16
constexpr std::size_t kMediaDescriptor = 21;   // u8
constexpr std::size_t kFatSectors16 = 22;      // u16
constexpr std::size_t kTotalSectors32 = 32;    // u32
constexpr std::size_t kFatSectors32 = 36;      // u32, FAT32 only

// exFAT keeps its sector size as a power of two.
constexpr std::size_t kExfatSectorShift = 108; // u8

constexpr std::string_view kNtfsId = "NTFS    ";
constexpr std::string_view kExfatId = "EXFAT   ";

constexpr std::uint32_t kSmallestSector = 512;
constexpr std::uint32_t kLargestSector = 4096;
constexpr std::uint32_t kDirectoryEntryBytes = 32;
constexpr std::uint8_t kMostFats = 4; // two everywhere; more only by hand
constexpr std::uint8_t kFloppyMedia = 0xF0;
constexpr std::uint8_t kFirstOtherMedia = 0xF8;

std::uint32_t saneSectorSize(std::uint32_t bytes) {
    const bool sane =
        std::has_single_bit(bytes) && bytes >= kSmallestSector && bytes <= kLargestSector;
    return sane ? bytes : 0;
}

/// Whether the parameter block describes a FAT volume that could exist. FAT has no signature
/// that can be relied on.
bool isFat(std::span<const std::uint8_t> sector, std::uint32_t sectorSize) {
    const std::uint8_t sectorsPerCluster = sector[kSectorsPerCluster];
    const std::uint8_t fatCount = sector[kFatCount];
    const std::uint8_t media = sector[kMediaDescriptor];
    const auto reservedSectors = littleEndian<std::uint16_t>(sector, kReservedSectors);
    if (sectorSize == 0 || !std::has_single_bit(sectorsPerCluster) || reservedSectors == 0 ||
        fatCount == 0 || fatCount > kMostFats ||
        (media != kFloppyMedia && media < kFirstOtherMedia))
        return false;

    const auto fatSectors16 = littleEndian<std::uint16_t>(sector, kFatSectors16);
    const auto totalSectors16 = littleEndian<std::uint16_t>(sector, kTotalSectors16);
    const std::uint64_t fatSectors =
        fatSectors16 != 0 ? fatSectors16 : littleEndian<std::uint32_t>(sector, kFatSectors32);
    const std::uint64_t totalSectors =
        totalSectors16 != 0 ? totalSectors16 : littleEndian<std::uint32_t>(sector, kTotalSectors32);
    const std::uint64_t rootBytes =
        std::uint64_t{littleEndian<std::uint16_t>(sector, kRootEntryCount)} * kDirectoryEntryBytes;
    const std::uint64_t rootSectors = (rootBytes + sectorSize - 1) / sectorSize;
    const std::uint64_t firstDataSector = reservedSectors + fatCount * fatSectors + rootSectors;
    // FAT12 and FAT16 have a root folder of fixed size, FAT32 has none.
    const bool rootFits = (fatSectors16 != 0) == (rootBytes != 0);
    return fatSectors != 0 && rootFits && totalSectors >= firstDataSector + sectorsPerCluster;
}

} // namespace

std::optional<VolumeFormat> identifyVolume(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < kBootSectorBytes)
        return std::nullopt;
    const auto hasId = [bytes](std::string_view id) {
        return std::equal(id.begin(), id.end(), bytes.begin() + kSystemId,
                          [](char c, std::uint8_t byte) { return static_cast<char>(byte) == c; });
    };
    if (hasId(kExfatId)) {
        const std::uint8_t shift = bytes[kExfatSectorShift];
        return VolumeFormat{"exFAT", shift < 16 ? saneSectorSize(1U << shift) : 0};
    }
    const std::uint32_t sectorSize =
        saneSectorSize(littleEndian<std::uint16_t>(bytes, kBytesPerSector));
    if (hasId(kNtfsId))
        return VolumeFormat{"NTFS", sectorSize};
    if (isFat(bytes, sectorSize)) {
        const bool isFat32 = littleEndian<std::uint16_t>(bytes, kFatSectors16) == 0;
        return VolumeFormat{isFat32 ? "FAT32" : "FAT", sectorSize};
    }
    return std::nullopt;
}

} // namespace platform
