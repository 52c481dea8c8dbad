#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

namespace format {

/// Bytes from the start of a volume that tell what it holds.
inline constexpr std::size_t kBootSectorBytes = 512;

/// What a boot sector says about its volume.
struct VolumeFormat {
    const char* fileSystem = "";  ///< As Windows names it: "NTFS", "FAT", "FAT32", "exFAT".
    std::uint32_t sectorSize = 0; ///< Bytes, 512 to 4096; 0 when the sector gives no sane one.
};

/// Tells the file system from the first `kBootSectorBytes` of a volume; nothing when they are no
/// boot sector of NTFS, FAT or exFAT. Only the boot sector is judged, so that a volume that is
/// damaged elsewhere is still recognised.
[[nodiscard]] std::optional<VolumeFormat> identifyVolume(std::span<const std::uint8_t> bytes);

/// The same by a copy of the boot sector, where file systems keep one: NTFS in the last sector or,
/// formerly, the middle; FAT32 mostly in sector 6; exFAT in sector 12. `read` fills bytes from a
/// byte of the volume, which has `length` bytes, and tells whether it could.
[[nodiscard]] std::optional<VolumeFormat>
identifyByCopy(const std::function<bool(std::uint64_t, std::span<std::uint8_t>)>& read,
               std::uint64_t length);

/// The serial number that formatting gave a volume, from its first `kBootSectorBytes`, as systems
/// show it: "1A2B-3C4D", on NTFS 16 hexadecimal digits. Empty when there is none.
[[nodiscard]] std::string volumeSerial(std::span<const std::uint8_t> bytes);

} // namespace format
