#include "platform/linux/Mounts.h"

#include "platform/linux/Descriptor.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace platform {

namespace {

constexpr int kDeepestStack = 16; // file systems in files in file systems
constexpr int kMostLinksFollowed = 16;

/// mountinfo writes blanks, tabs, line ends and backslashes as a backslash and three octal digits.
std::string unescaped(std::string_view text) {
    constexpr std::size_t kEscapeLength = 4;
    std::string plain;
    for (std::size_t at = 0; at < text.size();) {
        unsigned value = 0;
        if (text[at] == '\\' && text.size() - at >= kEscapeLength) {
            const char* const digits = text.data() + at + 1;
            const auto [end, error] = std::from_chars(digits, digits + kEscapeLength - 1, value, 8);
            if (error == std::errc() && end == digits + kEscapeLength - 1) {
                plain.push_back(static_cast<char>(value));
                at += kEscapeLength;
                continue;
            }
        }
        plain.push_back(text[at++]);
    }
    return plain;
}

std::string fileText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

/// The kernel's number for the mount that an open file lies on.
std::optional<int> mountId(int fd) {
    std::ifstream info("/proc/self/fdinfo/" + std::to_string(fd));
    std::string field;
    for (int id = 0; info >> field;) {
        if (field == "mnt_id:" && info >> id)
            return id;
    }
    return std::nullopt;
}

/// The folder that an overlay keeps its changes in; empty for other file systems.
std::string overlayUpperFolder(const Mount& mount) {
    constexpr std::string_view kOption = "upperdir=";
    if (mount.type != "overlay")
        return {};
    std::istringstream options(mount.options);
    for (std::string option; std::getline(options, option, ',');) {
        if (option.starts_with(kOption))
            return unescaped(option.substr(kOption.size()));
    }
    return {};
}

/// A device and, if it is a mapped one, the devices that it is made of.
void addWithSlaves(dev_t device, const BlockDevices& devices, std::vector<dev_t>& all) {
    if (std::find(all.begin(), all.end(), device) != all.end())
        return;
    all.push_back(device);
    for (const dev_t slave : devices.slaves(device))
        addWithSlaves(slave, devices, all);
}

/// Whether two devices share sectors: the same, or one a partition of the other.
bool overlap(dev_t left, dev_t right, const BlockDevices& devices) {
    return left == right || devices.diskOf(left) == right || devices.diskOf(right) == left;
}

bool overlapsAny(dev_t device, const std::vector<dev_t>& others, const BlockDevices& devices) {
    return std::any_of(others.begin(), others.end(),
                       [device, &devices](dev_t other) { return overlap(device, other, devices); });
}

class TargetFinder {
public:
    TargetFinder(const BlockDevices& devices, WriteTargets& targets)
        : devices_(devices), targets_(targets) {}

    /// Adds what a write below (or into) an existing path reaches; returns its block device.
    dev_t addPath(const std::string& path, int depth = 0) {
        struct stat status {};

        if (depth > kDeepestStack || ::stat(path.c_str(), &status) != 0)
            return 0;
        dev_t device = 0;
        if (devices_.find(status.st_dev)) {
            device = status.st_dev;
            addDevice(device, depth);
        }
        const std::optional<Mount> mount = mountOf(path);
        if (!mount)
            return device;

        struct stat source {};

        if (mount->source.starts_with('/') && ::stat(mount->source.c_str(), &source) == 0) {
            if (S_ISBLK(source.st_mode)) {
                device = device != 0 ? device : source.st_rdev;
                addDevice(source.st_rdev, depth);
            } else if (S_ISREG(source.st_mode)) {
                addImage(mount->source, {source.st_dev, source.st_ino}, depth);
            }
        }
        const std::string upper = overlayUpperFolder(*mount);
        if (!upper.empty())
            addPath(upper, depth + 1);
        return device;
    }

    void addDevice(dev_t device, int depth = 0) {
        if (depth > kDeepestStack)
            return;
        targets_.devices.push_back(device);
        for (const dev_t slave : devices_.slaves(device))
            addDevice(slave, depth + 1);
        const std::string image = devices_.backingFile(device);

        struct stat status {};

        if (!image.empty() && ::stat(image.c_str(), &status) == 0) {
            if (S_ISBLK(status.st_mode))
                addDevice(status.st_rdev, depth + 1);
            else
                addImage(image, {status.st_dev, status.st_ino}, depth);
        }
    }

private:
    void addImage(const std::string& path, const FileIdentity& identity, int depth) {
        targets_.images.push_back(identity);
        addPath(path, depth + 1);
    }

    const BlockDevices& devices_;
    WriteTargets& targets_;
};

} // namespace

std::vector<Mount> parseMounts(std::string_view mountInfo) {
    // id parent major:minor root mount-point options [optional fields] - type source options
    constexpr int kFieldsBeforeOptional = 5;
    std::vector<Mount> mounts;
    std::istringstream lines{std::string(mountInfo)};
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        Mount mount;
        std::string field;
        fields >> mount.id;
        for (int i = 0; i < kFieldsBeforeOptional; ++i)
            fields >> field;
        while (fields >> field && field != "-") {
        }
        if (fields >> mount.type >> field) {
            mount.source = unescaped(field);
            fields >> mount.options;
            mounts.push_back(std::move(mount));
        }
    }
    return mounts;
}

std::optional<Mount> mountOf(const std::string& path) {
    const Descriptor folder(::open(path.c_str(), O_PATH | O_CLOEXEC));
    const std::optional<int> id = folder ? mountId(folder.get()) : std::nullopt;
    if (!id)
        return std::nullopt;
    const std::vector<Mount> mounts = parseMounts(fileText("/proc/self/mountinfo"));
    const auto found = std::find_if(mounts.begin(), mounts.end(),
                                    [id](const Mount& mount) { return mount.id == *id; });
    return found != mounts.end() ? std::optional(*found) : std::nullopt;
}

std::string nearestExisting(const std::string& path) {
    std::error_code error;
    std::filesystem::path whole = std::filesystem::absolute(path, error);
    // Once ".." behind a missing folder is resolved, what is left may exist and be a link.
    for (int i = 0; i < kMostLinksFollowed; ++i) {
        std::filesystem::path resolved = std::filesystem::weakly_canonical(whole, error);
        if (error || resolved == whole)
            break;
        whole = std::move(resolved);
    }

    struct stat status {};

    while (::stat(whole.c_str(), &status) != 0 && whole.has_relative_path())
        whole = whole.parent_path();
    return whole.string();
}

WriteTargets writeTargets(const std::string& existingPath, const BlockDevices& devices) {
    WriteTargets targets;
    targets.device = TargetFinder(devices, targets).addPath(existingPath);
    return targets;
}

WriteTargets writeTargets(dev_t device, const BlockDevices& devices) {
    WriteTargets targets;
    targets.device = device;
    TargetFinder(devices, targets).addDevice(device);
    return targets;
}

bool reachesDevice(const WriteTargets& targets, dev_t device, const BlockDevices& devices) {
    std::vector<dev_t> parts;
    addWithSlaves(device, devices, parts);
    if (overlapsAny(device, targets.devices, devices) ||
        (targets.device != 0 && overlapsAny(targets.device, parts, devices)))
        return true;
    // Another way into the same image; partitions of one and the same loop device are told apart
    // by their devices.
    const auto diskOrSelf = [&devices](dev_t number) {
        return devices.diskOf(number).value_or(number);
    };
    const std::string image = devices.backingFile(device);

    struct stat status {};

    if (image.empty() || ::stat(image.c_str(), &status) != 0 ||
        (targets.device != 0 && diskOrSelf(targets.device) == diskOrSelf(device)))
        return false;
    const FileIdentity identity{status.st_dev, status.st_ino};
    return std::find(targets.images.begin(), targets.images.end(), identity) !=
           targets.images.end();
}

} // namespace platform
