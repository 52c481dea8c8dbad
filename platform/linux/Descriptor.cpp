#include "platform/linux/Descriptor.h"

#include "format/WideText.h"

#include <cerrno>
#include <limits>

#include <linux/fs.h>
#include <sys/ioctl.h>

namespace platform {

namespace {

constexpr mode_t kNewFileMode = 0666; // what the user's umask leaves of it

} // namespace

std::optional<std::string> systemPath(const std::wstring& path) {
    if (path.find(L'\0') != std::wstring::npos) {
        errno = EINVAL;
        return std::nullopt;
    }
    return format::utf8FromWide(path);
}

std::optional<std::string> systemComponent(const std::wstring& name) {
    if (name.empty() || name == L"." || name == L".." || name.find(L'/') != std::wstring::npos) {
        errno = EINVAL;
        return std::nullopt;
    }
    return systemPath(name);
}

Descriptor openPath(const std::string& path, int flags, int from) {
    const int always = O_CLOEXEC | O_NOCTTY;
    int fd = -1;
    do {
        fd = ::openat(from, path.c_str(), flags | always | O_NONBLOCK, kNewFileMode);
        // Another program has a lease on the file and is being asked to give it up.
        if (fd < 0 && errno == EWOULDBLOCK)
            fd = ::openat(from, path.c_str(), flags | always, kNewFileMode);
    } while (fd < 0 && errno == EINTR);
    return Descriptor(fd);
}

std::int64_t readFully(int fd, std::uint64_t position, void* buffer, std::size_t count,
                       int& failure) {
    constexpr auto kLastPosition =
        static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    failure = 0;
    if (position > kLastPosition)
        return 0;
    auto* const bytes = static_cast<char*>(buffer);
    std::size_t done = 0;
    while (done < count) {
        const ssize_t got =
            ::pread(fd, bytes + done, count - done, static_cast<off_t>(position + done));
        if (got > 0) {
            done += static_cast<std::size_t>(got);
        } else if (got == 0) {
            break;
        } else if (errno != EINTR) {
            failure = errno;
            break;
        }
    }
    return done == 0 && failure != 0 ? -1 : static_cast<std::int64_t>(done);
}

std::int64_t sizeOf(int fd) {
    struct stat status {};

    if (::fstat(fd, &status) != 0)
        return -1;
    if (!S_ISBLK(status.st_mode))
        return status.st_size;
    std::uint64_t bytes = 0;
    if (::ioctl(fd, BLKGETSIZE64, &bytes) != 0)
        return -1;
    return static_cast<std::int64_t>(bytes);
}

} // namespace platform
