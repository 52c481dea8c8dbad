#include "platform/File.h"

#include "format/FileTime.h"
#include "format/WideText.h"
#include "platform/linux/Asker.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/Errno.h"
#include "platform/linux/Mounts.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace platform {

namespace {

constexpr std::int64_t kNanosecondsPerTick = 100;

/// Flags for open(2), nothing when the combination makes no sense.
std::optional<int> openFlags(std::uint32_t disposition, std::uint32_t access) {
    const bool reads = (access & kGenericRead) != 0;
    const bool writes = (access & kGenericWrite) != 0;
    const int mode = writes ? (reads ? O_RDWR : O_WRONLY) : O_RDONLY;
    switch (static_cast<Disposition>(disposition)) {
    case Disposition::CreateNew:
        return mode | O_CREAT | O_EXCL;
    case Disposition::CreateAlways:
        return mode | O_CREAT | O_TRUNC;
    case Disposition::OpenExisting:
        return mode;
    case Disposition::OpenAlways:
        return mode | O_CREAT;
    case Disposition::TruncateExisting:
        if (writes)
            return mode | O_TRUNC;
        break;
    }
    return std::nullopt;
}

int descriptor(const SystemHandle& handle) {
    return static_cast<int>(handle.get());
}

/// Whether it is a file to read or write, and not a folder, or a pipe that would make one wait.
/// With errno when not.
bool isToBeOpened(int fd) {
    struct stat status {};

    if (::fstat(fd, &status) != 0)
        return false;
    if (!S_ISDIR(status.st_mode) && !S_ISFIFO(status.st_mode) && !S_ISSOCK(status.st_mode))
        return true;
    errno = S_ISDIR(status.st_mode) ? EISDIR : ESPIPE;
    return false;
}

/// A link is followed by a path that ends in a slash, so those go.
std::string withoutTrailingSlashes(std::string path) {
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

bool isFolder(const std::string& path) {
    struct stat status {};

    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

} // namespace

bool File::open(const std::wstring& path, std::uint32_t disposition, std::uint32_t access) {
    close();
    failure_ = {};
    const std::optional<std::string> name = systemPath(path);
    const std::optional<int> flags = openFlags(disposition, access);
    if (!name || !flags) {
        errno = EINVAL;
        return failed();
    }
    Descriptor opened = openPath(*name, *flags);
    if (!opened || !isToBeOpened(opened.get()))
        return failed();
    handle_ = SystemHandle(opened.release());
    return true;
}

bool File::open(const Folder& folder, const std::wstring& name, std::uint32_t disposition,
                std::uint32_t access, Links links) {
    close();
    failure_ = {};
    const std::optional<std::string> component = systemComponent(name);
    const std::optional<int> flags = openFlags(disposition, access);
    if (!component || !flags) {
        errno = EINVAL;
        return failed();
    }
    Descriptor opened = openPath(*component, *flags | (links == Links::Refuse ? O_NOFOLLOW : 0),
                                 descriptor(folder.handle()));
    if (!opened || !isToBeOpened(opened.get()))
        return failed();
    if (static_cast<Disposition>(disposition) == Disposition::CreateNew)
        giveToAsker(opened.get());
    handle_ = SystemHandle(opened.release());
    return true;
}

bool File::close() {
    // What was written may not have arrived, as on a network drive that is full.
    return handle_.close() || failed();
}

std::int64_t File::readAt(std::int64_t position, void* buffer, std::size_t count) {
    if (position < 0) {
        errno = EINVAL;
        failed();
        return -1;
    }
    int failure = 0;
    const std::int64_t got = readFully(descriptor(handle_), static_cast<std::uint64_t>(position),
                                       buffer, count, failure);
    if (failure != 0) {
        errno = failure;
        failed();
    }
    return got;
}

bool File::writeAt(std::int64_t position, const void* buffer, std::size_t count) {
    const auto* const bytes = static_cast<const char*>(buffer);
    std::size_t done = 0;
    while (done < count) {
        const ssize_t put = ::pwrite(descriptor(handle_), bytes + done, count - done,
                                     position + static_cast<std::int64_t>(done));
        if (put > 0) {
            done += static_cast<std::size_t>(put);
            continue;
        }
        if (put < 0 && errno == EINTR)
            continue;
        if (put == 0)
            errno = EIO;
        return failed();
    }
    return true;
}

std::int64_t File::size() {
    const std::int64_t bytes = sizeOf(descriptor(handle_));
    if (bytes < 0)
        failed();
    return bytes;
}

bool File::truncate(std::int64_t size) {
    int result = -1;
    do {
        result = ::ftruncate(descriptor(handle_), size);
    } while (result != 0 && errno == EINTR);
    return result == 0 || failed();
}

bool File::setModificationTime(std::int64_t fileTime) {
    std::int64_t seconds = fileTime / format::kFileTimeTicksPerSecond;
    std::int64_t ticks = fileTime % format::kFileTimeTicksPerSecond;
    if (ticks < 0) {
        --seconds;
        ticks += format::kFileTimeTicksPerSecond;
    }
    timespec times[2]{};
    times[0].tv_nsec = UTIME_OMIT; // the time of the last access
    times[1].tv_sec = seconds - format::kSecondsFrom1601To1970;
    times[1].tv_nsec = ticks * kNanosecondsPerTick;
    return ::futimens(descriptor(handle_), times) == 0 || failed();
}

bool File::sync() {
    // What cannot be synced, as a device that takes all there is, keeps nothing back either.
    return ::fdatasync(descriptor(handle_)) == 0 || errno == EINVAL || errno == EROFS || failed();
}

void File::forgetCached() {
    ::posix_fadvise(descriptor(handle_), 0, 0, POSIX_FADV_DONTNEED);
}

bool File::identity(FileIdentity& out) const {
    struct stat status {};

    if (::fstat(descriptor(handle_), &status) != 0)
        return false;
    out = {status.st_dev, status.st_ino};
    return true;
}

bool File::failed() {
    failure_ = lastFailure();
    return false;
}

Failure makePath(const std::wstring& path) {
    const std::optional<std::string> given = systemPath(path);
    if (!given || given->empty()) {
        if (given)
            errno = ENOENT;
        return lastFailure();
    }
    const std::string name = withoutTrailingSlashes(*given);
    for (std::size_t end = 0; end != name.size();) {
        end = std::min(name.find('/', end + 1), name.size());
        const std::string prefix = name.substr(0, end);
        if (isFolder(prefix))
            continue;
        if (::mkdir(prefix.c_str(), kNewFolderMode) == 0) {
            giveToAsker(Descriptor(::open(prefix.c_str(), kOpenFolder | O_NOFOLLOW)).get());
            continue;
        }
        const int code = errno;
        if (code == EEXIST && isFolder(prefix)) // made by another program just now
            continue;
        errno = code == EEXIST ? ENOTDIR : code;
        return lastFailure();
    }
    return {};
}

bool removeFile(const std::wstring& path) {
    const std::optional<std::string> name = systemPath(path);
    return name && (::unlink(name->c_str()) == 0 || errno == ENOENT);
}

bool leavesRoomForNames(const std::wstring& folder) {
    constexpr std::size_t kLongestName = std::size_t{3} * 255; // UTF-8 of 255 UTF-16 units
    return format::utf8FromWide(folder).size() + 1 + kLongestName < PATH_MAX;
}

NameRules nameRules(const std::wstring& directory) {
    NameRules rules;
    const std::optional<std::string> given = systemPath(directory);
    if (!given)
        return rules;
    const std::string parent = nearestExisting(*given);

    struct statfs status {};

    if (::statfs(parent.c_str(), &status) != 0)
        return rules;
    const std::string type = mountOf(parent).value_or(Mount{}).type;
    constexpr const char* kUtf16Types[] = {"vfat",  "msdos", "exfat",   "ntfs",
                                           "ntfs3", "cifs",  "fuseblk", "smb3"};
    rules.windowsNames =
        std::find(std::begin(kUtf16Types), std::end(kUtf16Types), type) != std::end(kUtf16Types);
    rules.unitsAreUtf16 = rules.windowsNames;
    // Encrypting file systems take shorter names than they say in the manual.
    if (!rules.unitsAreUtf16 && status.f_namelen > 0)
        rules.longestName = std::min(rules.longestName, static_cast<std::size_t>(status.f_namelen));
    return rules;
}

} // namespace platform
