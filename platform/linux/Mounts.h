#pragma once

#include "platform/File.h"
#include "platform/linux/BlockDevices.h"

#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace platform {

/// One mounted file system.
struct Mount {
    int id = 0;
    std::string type;    ///< "ext4", "fuseblk", "fuse.sshfs" ...
    std::string source;  ///< A device, an image file, or any text at all.
    std::string folder;  ///< Where it is mounted.
    std::string options; ///< Of the file system, separated by commas.
};

/// Reads the text of /proc/self/mountinfo; lines that make no sense are left out.
[[nodiscard]] std::vector<Mount> parseMounts(const std::string& mountInfo);

/// What writes to a mounted file system are passed on to, other than a device.
struct MountSources {
    std::vector<std::string> paths; ///< Folders, or a file or device node, by absolute paths.
    bool isComplete = true;         ///< False: it goes elsewhere, too, or nothing tells where.
};

/// Reads it out of a mount's line in the table.
[[nodiscard]] MountSources sourcesOf(const Mount& mount);

/// The mount that an existing path lies on.
[[nodiscard]] std::optional<Mount> mountOf(const std::string& path);

/// The path itself if it exists, otherwise the nearest folder above it that does, after what is
/// to become of "..", links and a relative path.
[[nodiscard]] std::string nearestExisting(const std::string& path);

/// The kernel's number for the mount that an open file lies on.
[[nodiscard]] std::optional<int> mountId(int fd);

/// What is written to when something is written below a folder.
struct WriteTargets {
    /// The block devices with file systems that are written to: that of the folder first, if it
    /// lies on one, then those that hold its image files.
    std::vector<dev_t> fileSystems;
    /// These, and all that they are made of.
    std::vector<dev_t> devices;
    /// Folders that what is written to the folder is passed on to.
    std::vector<std::string> folders;
    /// Image files that are mounted, directly or through loop devices.
    std::vector<FileIdentity> images;
    /// Where what is written is passed on to a place that nothing tells, what passes it on, in
    /// words; empty when all is known.
    std::string unresolved;
};

[[nodiscard]] WriteTargets writeTargets(const std::string& existingPath,
                                        const BlockDevices& devices);

/// As above, for a folder on a file system that lies on this block device.
[[nodiscard]] WriteTargets writeTargets(dev_t device, const BlockDevices& devices);

/// Whether writing to `targets` could change what is read from a block device: they share
/// sectors, or come from the same image file. Two partitions of a disk share none.
[[nodiscard]] bool reachesDevice(const WriteTargets& targets, dev_t device,
                                 const BlockDevices& devices);

} // namespace platform
