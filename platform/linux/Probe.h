#pragma once

#include "platform/linux/BlockDevices.h"

#include <cstdint>
#include <string>

namespace platform {

/// What a volume says of itself.
struct ProbedVolume {
    std::string fileSystem; ///< As Windows names it; empty when it is none of NTFS, FAT, exFAT.
    std::string label;      ///< UTF-8 as far as the volume is; empty when it has none.
    std::string uuid;       ///< Empty when it has none.
    std::uint32_t sectorSize = 0; ///< By the boot sector, in bytes; 0 when it gives no sane one.
    /// Nothing is where volumes begin, but there is the copy of a boot sector.
    bool hasOnlyCopy = false;
};

/// Looks at `length` bytes (0: up to its end) from byte `offset` of an open device or file. A
/// volume that is damaged behind its boot sector is told by that alone.
[[nodiscard]] ProbedVolume probeVolume(int fd, std::uint64_t offset, std::uint64_t length);

/// Looks at a device, or takes udev's word for it where the device may not be read.
[[nodiscard]] ProbedVolume probeDevice(const BlockDevice& device, const BlockDevices& devices);

} // namespace platform
