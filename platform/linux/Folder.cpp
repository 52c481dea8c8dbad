#include "platform/Folder.h"

#include "platform/linux/Asker.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/Errno.h"
#include "platform/linux/Mounts.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace platform {

namespace {

int descriptor(const SystemHandle& handle) {
    return static_cast<int>(handle.get());
}

/// A FUSE file system is not told when it is to sync what it keeps elsewhere: opens folders there.
std::vector<SystemHandle> foldersBehind(int folder, const std::string& path) {
    std::vector<SystemHandle> opened;

    struct statfs status {};

    if (::fstatfs(folder, &status) != 0 || status.f_type != FUSE_SUPER_MAGIC)
        return opened;
    for (const std::string& behind : writeTargets(path, BlockDevices()).folders) {
        if (Descriptor found(::open(behind.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)); found)
            opened.emplace_back(found.release());
    }
    return opened;
}

} // namespace

bool Folder::open(const std::wstring& path) {
    handle_ = {};
    behind_.clear();
    failure_ = {};
    const std::optional<std::string> name = systemPath(path);
    if (!name)
        return failed();
    // A file system is synced through a folder that may be read, or a file without a name.
    Descriptor opened(::open(name->c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    Descriptor file;
    if (!opened && errno == EACCES) {
        opened = Descriptor(::open(name->c_str(), kOpenFolder));
        file = Descriptor(::open(name->c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, S_IRUSR));
    }
    if (!opened)
        return failed();
    behind_ = foldersBehind(opened.get(), *name);
    if (file)
        behind_.emplace(behind_.begin(), file.release());
    handle_ = SystemHandle(opened.release());
    return true;
}

Folder::Entered Folder::enter(const Folder& parent, const std::wstring& name, Links links) {
    handle_ = {};
    behind_.clear();
    failure_ = {};
    const std::optional<std::string> component = systemComponent(name);
    const int from = descriptor(parent.handle());
    if (!component) {
        failed();
        return Entered::Failed;
    }
    const bool created = ::mkdirat(from, component->c_str(), kNewFolderMode) == 0;
    const int whyNot = created ? 0 : errno;
    // A folder may be there although making one is refused, as on a read-only drive.
    const int noLinks = links == Links::Refuse ? O_NOFOLLOW : 0;
    Descriptor opened(::openat(from, component->c_str(), kOpenFolder | noLinks));
    // What is mounted there lies elsewhere, perhaps on the drive that is read.
    if (opened && !created && links == Links::Refuse && mountId(opened.get()) != mountId(from)) {
        errno = EEXIST;
        failed();
        return Entered::Occupied;
    }
    if (opened) {
        if (created)
            giveToAsker(opened.get());
        handle_ = SystemHandle(opened.release());
        return created ? Entered::Created : Entered::Existed;
    }
    // What was just made may have been replaced, or moved away.
    const bool occupied = (whyNot == EEXIST || created) &&
                          (errno == ENOTDIR || errno == ELOOP || (created && errno == ENOENT));
    if (whyNot != 0)
        errno = whyNot;
    failed();
    return occupied ? Entered::Occupied : Entered::Failed;
}

bool Folder::remove(const std::wstring& name) {
    failure_ = {};
    const std::optional<std::string> component = systemComponent(name);
    return (component &&
            (::unlinkat(descriptor(handle_), component->c_str(), 0) == 0 || errno == ENOENT)) ||
           failed();
}

bool Folder::rename(const std::wstring& from, const std::wstring& to, Taken taken) {
    failure_ = {};
    const int fd = descriptor(handle_);
    const std::optional<std::string> source = systemComponent(from);
    const std::optional<std::string> target = systemComponent(to);
    if (!source || !target)
        return failed();
    if (taken == Taken::Keep) {
        if (::renameat2(fd, source->c_str(), fd, target->c_str(), RENAME_NOREPLACE) == 0)
            return true;
        if (errno != EINVAL && errno != ENOSYS)
            return failed();
        if (find(to)) { // The file system cannot look and rename in one.
            errno = EEXIST;
            return failed();
        }
    }
    return ::renameat(fd, source->c_str(), fd, target->c_str()) == 0 || failed();
}

std::optional<Folder::Entry> Folder::find(const std::wstring& name) const {
    const std::optional<std::string> component = systemComponent(name);

    struct stat status {};

    if (!component ||
        ::fstatat(descriptor(handle_), component->c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    return Entry{{status.st_dev, status.st_ino},
                 S_ISDIR(status.st_mode),
                 S_ISREG(status.st_mode) && status.st_nlink == 1};
}

std::optional<std::uint64_t> Folder::freeSpace() const {
    struct statvfs status {};

    if (::fstatvfs(descriptor(handle_), &status) != 0)
        return std::nullopt;
    const bool isRoot = ::geteuid() == 0;
    return std::uint64_t{isRoot ? status.f_bfree : status.f_bavail} * status.f_frsize;
}

bool Folder::sync() {
    failure_ = {};
    const int fd = descriptor(handle_);
    bool arrived = (::fcntl(fd, F_GETFL) & O_PATH) != 0 || ::syncfs(fd) == 0;
    for (const SystemHandle& behind : behind_)
        arrived = arrived && ::syncfs(descriptor(behind)) == 0;
    return arrived || failed();
}

bool Folder::failed() {
    failure_ = lastFailure();
    return false;
}

} // namespace platform
