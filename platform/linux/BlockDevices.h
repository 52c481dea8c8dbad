#pragma once

#include "platform/Drives.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace platform {

/// A block device as the kernel describes it.
struct BlockDevice {
    dev_t number = 0;
    std::string name; ///< The kernel's ("sdb1"); of a mapped device the name it was opened by.
    std::string node; ///< "/dev/sdb1"
    DriveKind kind = DriveKind::Other; ///< Optical and floppy drives and RAM disks are Other.
    std::uint64_t sizeBytes = 0;       ///< 0 without a medium.
    std::uint32_t sectorSize = 0;      ///< Of the device, in bytes; 0 when unknown.
    std::uint64_t diskSequence = 0;    ///< Counts the media of all disks; 0 on kernels before 5.15.
    std::uint64_t writes = 0;          ///< Requests written so far to its disk, by anybody.
};

/// What udev found on a device when it appeared or was last written.
struct UdevRecord {
    std::string type;    ///< libblkid's name of the file system.
    std::string version; ///< Of FAT: "FAT12", "FAT16", "FAT32".
    std::string label;   ///< UTF-8.
    std::string uuid;
    std::string model; ///< Maker and model of the hardware, UTF-8: "SanDisk Ultra".
};

/// The kernel's block devices, read from sysfs, and udev's notes on them. Touches no device.
class BlockDevices {
public:
    explicit BlockDevices(std::filesystem::path sysfs = "/sys",
                          std::filesystem::path udevData = "/run/udev/data");

    /// Every device that could hold a file system by itself (partitions, disks without
    /// partitions, loop and mapped devices), sdb2 before sdb10. Those without a medium, hidden or
    /// suspended are left out.
    [[nodiscard]] std::vector<BlockDevice> volumes() const;

    /// The block device with this number.
    [[nodiscard]] std::optional<BlockDevice> find(dev_t number) const;

    /// The disk that a partition is part of; nothing for other devices.
    [[nodiscard]] std::optional<dev_t> diskOf(dev_t partition) const;

    /// The devices that a mapped device is made of.
    [[nodiscard]] std::vector<dev_t> slaves(dev_t number) const;

    /// The devices that a file system of several (btrfs) is spread over, when it is mounted and
    /// this is one of them; otherwise the device alone. The device comes first.
    [[nodiscard]] std::vector<dev_t> pool(dev_t number) const;

    /// The file that a loop device, or the loop device of a partition, reads from; empty for other
    /// devices.
    [[nodiscard]] std::string backingFile(dev_t number) const;

    /// udev's notes; nothing when it does not run or does not know the device.
    [[nodiscard]] std::optional<UdevRecord> udevRecord(dev_t number) const;

private:
    using Path = std::filesystem::path;

    /// The device's folder below sysfs' devices/; empty when there is none.
    [[nodiscard]] Path folderOf(dev_t number) const;
    [[nodiscard]] std::optional<BlockDevice> describe(const Path& folder) const;
    [[nodiscard]] DriveKind kindOf(const Path& folder, int depth) const;

    Path sysfs_;
    Path udevData_;
};

} // namespace platform
