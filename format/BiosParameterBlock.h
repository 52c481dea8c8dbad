#pragma once

#include "format/LittleEndian.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace format {

/// What the first sector of a FAT volume says about it (all little-endian; `offset, width` in
/// bytes). The fields up to `mediaDescriptor` mean the same on NTFS, as far as NTFS sets them.
struct BiosParameterBlock {
    /// Bytes that have to be there for `decode`.
    static constexpr std::size_t kBytes = 512;

    std::uint16_t bytesPerSector = 0;   ///< 11, 2
    std::uint8_t sectorsPerCluster = 0; ///< 13, 1
    std::uint16_t reservedSectors = 0;  ///< 14, 2: sectors before the first FAT.
    std::uint8_t fatCount = 0;          ///< 16, 1
    std::uint16_t rootEntries = 0;      ///< 17, 2: entries of the fixed root directory, 0 on FAT32.
    std::uint16_t totalSectors16 = 0;   ///< 19, 2: 0 when the number needs 32 bits.
    std::uint8_t mediaDescriptor = 0;   ///< 21, 1
    std::uint16_t fatSectors16 = 0;     ///< 22, 2: 0 when the number needs 32 bits.
    std::uint32_t totalSectors32 = 0;   ///< 32, 4
    std::uint32_t fatSectors32 = 0;     ///< 36, 4: FAT32 only.
    std::uint32_t rootCluster = 0;      ///< 44, 4: FAT32 only.
    std::uint16_t backupSector = 0;     ///< 50, 2: FAT32 only; where a copy of the sector lies.

    [[nodiscard]] static BiosParameterBlock decode(std::span<const std::uint8_t, kBytes> sector) {
        const std::uint8_t* const bytes = sector.data();
        BiosParameterBlock block;
        block.bytesPerSector = loadLe<std::uint16_t>(bytes + 11);
        block.sectorsPerCluster = bytes[13];
        block.reservedSectors = loadLe<std::uint16_t>(bytes + 14);
        block.fatCount = bytes[16];
        block.rootEntries = loadLe<std::uint16_t>(bytes + 17);
        block.totalSectors16 = loadLe<std::uint16_t>(bytes + 19);
        block.mediaDescriptor = bytes[21];
        block.fatSectors16 = loadLe<std::uint16_t>(bytes + 22);
        block.totalSectors32 = loadLe<std::uint32_t>(bytes + 32);
        block.fatSectors32 = loadLe<std::uint32_t>(bytes + 36);
        block.rootCluster = loadLe<std::uint32_t>(bytes + 44);
        block.backupSector = loadLe<std::uint16_t>(bytes + 50);
        return block;
    }

    [[nodiscard]] std::uint32_t totalSectors() const {
        return totalSectors16 != 0 ? totalSectors16 : totalSectors32;
    }

    [[nodiscard]] std::uint32_t fatSectors() const {
        return fatSectors16 != 0 ? fatSectors16 : fatSectors32;
    }
};

} // namespace format
