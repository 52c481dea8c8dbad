#include "platform/File.h"

#include "format/FileTime.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/Errno.h"
#include "platform/linux/Mounts.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace platform {

namespace {

constexpr std::intptr_t kNoHandle = -1;

constexpr mode_t kNewFolderMode = 0777; // what the user's umask leaves of it

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

int descriptor(std::intptr_t handle) {
    return static_cast<int>(handle);
}

void report(std::wstring* errorText, Error* error) {
    const int code = errno;
    if (errorText != nullptr)
        *errorText = errnoText(code);
    if (error != nullptr)
        *error = errorFromErrno(code);
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

File::File() : handle_(kNoHandle) {}

File::File(File&& other) noexcept
    : handle_(std::exchange(other.handle_, kNoHandle)), error_(other.error_),
      errorText_(std::move(other.errorText_)) {}

File& File::operator=(File&& other) noexcept {
    if (this != &other) {
        close();
        handle_ = std::exchange(other.handle_, kNoHandle);
        error_ = other.error_;
        errorText_ = std::move(other.errorText_);
    }
    return *this;
}

File::~File() {
    close();
}

bool File::open(const std::wstring& path, std::uint32_t disposition, std::uint32_t access) {
    close();
    error_ = Error::None;
    errorText_.clear();
    const std::optional<std::string> name = systemPath(path);
    const std::optional<int> flags = openFlags(disposition, access);
    if (!name || !flags) {
        errno = EINVAL;
        return failed();
    }
    Descriptor opened = openPath(*name, *flags);
    if (!opened)
        return failed();

    struct stat status {};

    if (::fstat(opened.get(), &status) != 0)
        return failed();
    if (S_ISDIR(status.st_mode) || S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode)) {
        errno = S_ISDIR(status.st_mode) ? EISDIR : ESPIPE;
        return failed();
    }
    handle_ = opened.release();
    return true;
}

bool File::isOpen() const {
    return handle_ != kNoHandle;
}

bool File::close() {
    if (isOpen() && ::close(descriptor(std::exchange(handle_, kNoHandle))) != 0 && errno != EINTR)
        failed(); // what was written may not have arrived, as on a network drive that is full
    return true;
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

bool File::identity(FileIdentity& out) const {
    struct stat status {};

    if (::fstat(descriptor(handle_), &status) != 0)
        return false;
    out = {status.st_dev, status.st_ino};
    return true;
}

bool File::failed() {
    const int code = errno;
    error_ = errorFromErrno(code);
    errorText_ = errnoText(code);
    return false;
}

DirectoryResult makeDirectory(const std::wstring& path, std::wstring* errorText, Error* error) {
    const std::optional<std::string> given = systemPath(path);
    if (given) {
        const std::string name = withoutTrailingSlashes(*given);
        if (::mkdir(name.c_str(), kNewFolderMode) == 0)
            return DirectoryResult::Created;
        const int code = errno;

        struct stat status {};

        // A folder may be there although making one is refused, as on a read-only drive.
        if (::lstat(name.c_str(), &status) == 0) {
            if (S_ISDIR(status.st_mode))
                return DirectoryResult::Existed;
            errno = EEXIST;
            report(errorText, error);
            return DirectoryResult::Occupied;
        }
        errno = code;
    }
    report(errorText, error);
    return DirectoryResult::Failed;
}

bool makePath(const std::wstring& path, std::wstring* errorText, Error* error) {
    const std::optional<std::string> given = systemPath(path);
    if (!given || given->empty()) {
        if (given)
            errno = ENOENT;
        report(errorText, error);
        return false;
    }
    const std::string name = withoutTrailingSlashes(*given);
    for (std::size_t end = 0; end != name.size();) {
        end = std::min(name.find('/', end + 1), name.size());
        const std::string prefix = name.substr(0, end);
        if (isFolder(prefix))
            continue;
        if (::mkdir(prefix.c_str(), kNewFolderMode) != 0) {
            const int code = errno;
            if (code == EEXIST && isFolder(prefix)) // made by another program just now
                continue;
            errno = code == EEXIST ? ENOTDIR : code;
            report(errorText, error);
            return false;
        }
    }
    return true;
}

bool removeFile(const std::wstring& path) {
    const std::optional<std::string> name = systemPath(path);
    return name && (::unlink(name->c_str()) == 0 || errno == ENOENT);
}

std::optional<std::uint64_t> freeSpace(const std::wstring& directory) {
    const std::optional<std::string> path = systemPath(directory);

    struct statvfs status {};

    if (!path || ::statvfs(path->c_str(), &status) != 0)
        return std::nullopt;
    const bool isRoot = ::geteuid() == 0;
    return std::uint64_t{isRoot ? status.f_bfree : status.f_bavail} * status.f_frsize;
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
