#include "format/BootSector.h"

#include "format/BiosParameterBlock.h"
#include "format/LittleEndian.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdio>
#include <string_view>

namespace format {

namespace {

constexpr std::size_t kSystemId = 3; // 8 bytes

// exFAT keeps its sector size as a power of two.
constexpr std::size_t kExfatSectorShift = 108; // u8

// Serial numbers. On FAT the byte before says whether there is one.
constexpr std::size_t kNtfsSerial = 72;   // u64
constexpr std::size_t kExfatSerial = 100; // u32
constexpr std::size_t kFat32Serial = 67;  // u32
constexpr std::size_t kFat16Serial = 39;  // u32
constexpr std::uint8_t kSerialFollows = 0x28;
constexpr std::uint8_t kSerialAndLabelFollow = 0x29;

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
bool isFat(const BiosParameterBlock& block, std::uint32_t sectorSize) {
    if (sectorSize == 0 || !std::has_single_bit(block.sectorsPerCluster) ||
        block.reservedSectors == 0 || block.fatCount == 0 || block.fatCount > kMostFats ||
        (block.mediaDescriptor != kFloppyMedia && block.mediaDescriptor < kFirstOtherMedia))
        return false;
    const std::uint64_t rootBytes = std::uint64_t{block.rootEntries} * kDirectoryEntryBytes;
    const std::uint64_t rootSectors = (rootBytes + sectorSize - 1) / sectorSize;
    const std::uint64_t firstDataSector =
        block.reservedSectors + std::uint64_t{block.fatCount} * block.fatSectors() + rootSectors;
    // FAT12 and FAT16 have a root folder of fixed size, FAT32 has none.
    const bool rootFits = (block.fatSectors16 != 0) == (rootBytes != 0);
    return block.fatSectors() != 0 && rootFits &&
           block.totalSectors() >= firstDataSector + block.sectorsPerCluster;
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
    const BiosParameterBlock block =
        BiosParameterBlock::decode(bytes.first<BiosParameterBlock::kBytes>());
    const std::uint32_t sectorSize = saneSectorSize(block.bytesPerSector);
    if (hasId(kNtfsId))
        return VolumeFormat{"NTFS", sectorSize};
    if (isFat(block, sectorSize))
        return VolumeFormat{block.fatSectors16 == 0 ? "FAT32" : "FAT", sectorSize};
    return std::nullopt;
}

std::string volumeSerial(std::span<const std::uint8_t> bytes) {
    const std::optional<VolumeFormat> volume = identifyVolume(bytes);
    if (!volume)
        return {};
    std::array<char, 20> text{};
    const std::string_view fileSystem = volume->fileSystem;
    if (fileSystem == "NTFS") {
        std::snprintf(
            text.data(), text.size(), "%016llX",
            static_cast<unsigned long long>(loadLe<std::uint64_t>(bytes.data() + kNtfsSerial)));
        return text.data();
    }
    const bool isExfat = fileSystem == "exFAT";
    const std::size_t offset =
        isExfat ? kExfatSerial : (fileSystem == "FAT32" ? kFat32Serial : kFat16Serial);
    const std::uint8_t mark = bytes[offset - 1];
    if (!isExfat && mark != kSerialFollows && mark != kSerialAndLabelFollow)
        return {};
    const auto serial = loadLe<std::uint32_t>(bytes.data() + offset);
    std::snprintf(text.data(), text.size(), "%04X-%04X", serial >> 16, serial & 0xFFFFU);
    return text.data();
}

std::optional<VolumeFormat>
identifyByCopy(const std::function<bool(std::uint64_t, std::span<std::uint8_t>)>& read,
               std::uint64_t length) {
    constexpr std::uint64_t kFat32Copy = 6;
    constexpr std::uint64_t kExfatCopy = 12;
    for (std::uint32_t sector = kSmallestSector; sector <= kLargestSector; sector *= 2) {
        const std::uint64_t sectors = length / sector;
        if (sectors <= kExfatCopy)
            break;

        const struct {
            std::uint64_t sector;
            std::string_view fileSystem;
        } places[] = {{kFat32Copy, "FAT32"},
                      {kExfatCopy, "exFAT"},
                      {sectors - 1, "NTFS"},
                      {sectors / 2, "NTFS"}};

        for (const auto& place : places) {
            std::array<std::uint8_t, kBootSectorBytes> bytes{};
            if (!read(place.sector * sector, bytes))
                continue;
            const std::optional<VolumeFormat> found = identifyVolume(bytes);
            if (found && found->fileSystem == place.fileSystem && found->sectorSize == sector)
                return found;
        }
    }
    return std::nullopt;
}

} // namespace format
