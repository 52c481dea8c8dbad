#include "platform/linux/Mounts.h"

#include "platform/linux/Descriptor.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <utility>

#include <fcntl.h>
#include <libmount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>

namespace platform {

namespace {

constexpr int kDeepestStack = 16; // file systems in files in file systems
constexpr int kMostLinksFollowed = 16;

std::string fileText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::string textOf(const char* text) {
    return text != nullptr ? text : std::string();
}

/// The value of an option of the file system; empty without one.
std::string optionOf(const Mount& mount, const char* name) {
    char* value = nullptr;
    std::size_t length = 0;
    if (::mnt_optstr_get_option(mount.options.c_str(), name, &value, &length) != 0 ||
        value == nullptr)
        return {};
    std::string text(value, length);
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"')
        text = text.substr(1, text.size() - 2);
    return text;
}

/// Whether what is written to a mount is passed on to other files, instead of to a device, a
/// machine or memory.
bool isPassedOn(const Mount& mount) {
    return mount.type == "overlay" || mount.type.starts_with("fuse");
}

/// The paths in a list separated by colons, in which a backslash takes away the meaning of what
/// follows. "=RW" and such behind a path are left out.
MountSources pathsIn(const std::string& list) {
    MountSources sources;
    std::string path;
    const auto take = [&] {
        path.resize(std::min(path.find('='), path.size()));
        if (path.starts_with('/'))
            sources.paths.push_back(path);
        else
            sources.isComplete = false;
        path.clear();
    };
    for (std::size_t at = 0; at < list.size(); ++at) {
        if (list[at] == ':')
            take();
        else if (list[at] != '\\' || ++at < list.size())
            path += list[at];
    }
    take();
    return sources;
}

/// The folders that a mount of mergerfs is made of, in a list; empty for any other mount. It can be
/// given others at any time, and the table has what differs in their paths.
std::string mergedBranches(const Mount& mount) {
    constexpr std::size_t kMostBytes = 65'536; // of any attribute
    if (mount.type != "fuse.mergerfs")
        return {};
    std::string list(kMostBytes, '\0');
    const ssize_t length = ::getxattr((mount.folder + "/.mergerfs").c_str(),
                                      "user.mergerfs.branches", list.data(), list.size());
    list.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return list;
}

/// The block device that a loop device reads from, in the place of a file.
std::optional<dev_t> deviceBehind(dev_t loop, const BlockDevices& devices) {
    const std::string node = devices.backingFile(loop);

    struct stat status {};

    if (node.empty() || ::stat(node.c_str(), &status) != 0 || !S_ISBLK(status.st_mode))
        return std::nullopt;
    return status.st_rdev;
}

/// A device and the devices that it is made of.
void addWithParts(dev_t device, const BlockDevices& devices, std::vector<dev_t>& all) {
    if (std::find(all.begin(), all.end(), device) != all.end())
        return;
    all.push_back(device);
    for (const dev_t slave : devices.slaves(device))
        addWithParts(slave, devices, all);
    if (const std::optional<dev_t> behind = deviceBehind(device, devices))
        addWithParts(*behind, devices, all);
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

    /// Adds what a write below (or into) an existing path reaches.
    void addPath(const std::string& path, int depth = 0) {
        struct stat status {};

        if (depth > kDeepestStack || ::stat(path.c_str(), &status) != 0)
            return;
        const bool isOnDevice = devices_.find(status.st_dev).has_value();
        if (isOnDevice)
            addFileSystem(status.st_dev, depth);
        const std::optional<Mount> mount = mountOf(path);
        if (!mount)
            return;
        const MountSources sources = sourcesOf(*mount);
        bool isKnown = sources.isComplete;
        for (const std::string& source : sources.paths)
            isKnown = addSource(source, depth) && isKnown;
        if (!isOnDevice && isPassedOn(*mount) && !isKnown)
            setUnresolved("\"" + mount->folder + "\" (" + mount->type + ")");
    }

    /// Adds a device with a file system, and the others that this one spreads over.
    void addFileSystem(dev_t device, int depth = 0) {
        for (const dev_t member : devices_.pool(device)) {
            targets_.fileSystems.push_back(member);
            addDevice(member, depth);
        }
    }

private:
    void addDevice(dev_t device, int depth) {
        std::vector<dev_t>& known = targets_.devices;
        if (depth > kDeepestStack || std::find(known.begin(), known.end(), device) != known.end())
            return;
        known.push_back(device);
        for (const dev_t slave : devices_.slaves(device))
            addDevice(slave, depth + 1);
        const std::string image = devices_.backingFile(device);

        struct stat status {};

        if (image.empty())
            return;
        if (::stat(image.c_str(), &status) != 0)
            setUnresolved("a loop device on \"" + image + "\"");
        else if (S_ISBLK(status.st_mode))
            addFileSystem(status.st_rdev, depth + 1);
        else
            addImage(image, {status.st_dev, status.st_ino}, depth);
    }

    /// Adds what a mount writes to. False when nothing is there.
    bool addSource(const std::string& path, int depth) {
        struct stat status {};

        if (::stat(path.c_str(), &status) != 0)
            return false;
        if (S_ISBLK(status.st_mode)) {
            addFileSystem(status.st_rdev, depth);
        } else if (S_ISREG(status.st_mode)) {
            addImage(path, {status.st_dev, status.st_ino}, depth);
        } else if (S_ISDIR(status.st_mode)) {
            targets_.folders.push_back(path);
            addPath(path, depth + 1);
        }
        return true;
    }

    void setUnresolved(std::string what) {
        if (targets_.unresolved.empty())
            targets_.unresolved = std::move(what);
    }

    void addImage(const std::string& path, const FileIdentity& identity, int depth) {
        targets_.images.push_back(identity);
        targets_.folders.push_back(std::filesystem::path(path).parent_path().string());
        addPath(path, depth + 1);
    }

    const BlockDevices& devices_;
    WriteTargets& targets_;
};

} // namespace

std::vector<Mount> parseMounts(const std::string& mountInfo) {
    std::string text =
        mountInfo; // libmount takes a stream, and a stream memory that may be written
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(
        text.empty() ? nullptr : ::fmemopen(text.data(), text.size(), "r"), &std::fclose);
    const std::unique_ptr<libmnt_table, void (*)(libmnt_table*)> table(::mnt_new_table(),
                                                                       &::mnt_unref_table);
    const std::unique_ptr<libmnt_iter, void (*)(libmnt_iter*)> step(
        ::mnt_new_iter(MNT_ITER_FORWARD), &::mnt_free_iter);
    std::vector<Mount> mounts;
    if (!stream || !table || !step)
        return mounts;
    const auto goOn = [](libmnt_table*, const char*, int) { return 1; }; // after a bad line
    ::mnt_table_set_parser_errcb(table.get(), goOn);
    if (::mnt_table_parse_stream(table.get(), stream.get(), "mountinfo") != 0)
        return mounts;
    for (libmnt_fs* fs = nullptr; ::mnt_table_next_fs(table.get(), step.get(), &fs) == 0;)
        mounts.push_back({::mnt_fs_get_id(fs), textOf(::mnt_fs_get_fstype(fs)),
                          textOf(::mnt_fs_get_source(fs)), textOf(::mnt_fs_get_target(fs)),
                          textOf(::mnt_fs_get_fs_options(fs))});
    return mounts;
}

MountSources sourcesOf(const Mount& mount) {
    if (mount.type == "overlay") {
        const std::string upper = optionOf(mount, "upperdir");
        if (upper.empty()) // It has none and is not written to.
            return {};
        return upper.starts_with('/') ? MountSources{{upper}, true} : MountSources{{}, false};
    }
    if (const std::string branches = mergedBranches(mount); !branches.empty())
        return pathsIn(branches);

    struct stat status {};

    // A path with a colon in it is taken for one where there is such a path.
    const bool isPath = mount.source.starts_with('/');
    if (isPath && ::stat(mount.source.c_str(), &status) == 0)
        return {{mount.source}, true};
    const bool isFuse = mount.type == "fuse" || mount.type.starts_with("fuse.");
    return isFuse || isPath ? pathsIn(mount.source) : MountSources{};
}

std::optional<int> mountId(int fd) {
    std::ifstream info("/proc/self/fdinfo/" + std::to_string(fd));
    std::string field;
    for (int id = 0; info >> field;) {
        if (field == "mnt_id:" && info >> id)
            return id;
    }
    return std::nullopt;
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
    TargetFinder(devices, targets).addPath(existingPath);
    return targets;
}

WriteTargets writeTargets(dev_t device, const BlockDevices& devices) {
    WriteTargets targets;
    TargetFinder(devices, targets).addFileSystem(device);
    return targets;
}

bool reachesDevice(const WriteTargets& targets, dev_t device, const BlockDevices& devices) {
    std::vector<dev_t> parts;
    addWithParts(device, devices, parts);
    if (overlapsAny(device, targets.devices, devices) ||
        std::any_of(targets.fileSystems.begin(), targets.fileSystems.end(),
                    [&](dev_t written) { return overlapsAny(written, parts, devices); }))
        return true;
    // Another way into the same image; partitions of one and the same loop device are told apart
    // by their devices.
    const auto diskOrSelf = [&devices](dev_t number) {
        return devices.diskOf(number).value_or(number);
    };
    const std::string image = devices.backingFile(device);

    struct stat status {};

    if (image.empty() || ::stat(image.c_str(), &status) != 0 ||
        (!targets.fileSystems.empty() &&
         diskOrSelf(targets.fileSystems.front()) == diskOrSelf(device)))
        return false;
    const FileIdentity identity{status.st_dev, status.st_ino};
    return std::find(targets.images.begin(), targets.images.end(), identity) !=
           targets.images.end();
}

} // namespace platform
