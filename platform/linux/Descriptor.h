#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

/// An open file descriptor, closed when destroyed.
class Descriptor {
public:
    Descriptor() = default;

    explicit Descriptor(int fd) : fd_(fd) {}

    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other)
            reset(std::exchange(other.fd_, -1));
        return *this;
    }

    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    ~Descriptor() { reset(-1); }

    [[nodiscard]] int get() const { return fd_; }

    /// Hands the descriptor over to the caller.
    [[nodiscard]] int release() { return std::exchange(fd_, -1); }

    [[nodiscard]] explicit operator bool() const { return fd_ >= 0; }

private:
    void reset(int fd) {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = fd;
    }

    int fd_ = -1;
};

/// The path as the system takes it; nothing (errno EINVAL) when it holds a zero character, which
/// the system would take for its end.
[[nodiscard]] std::optional<std::string> systemPath(const std::wstring& path);

/// The name as the system takes it; nothing (errno EINVAL) when it is not one that stays in its
/// folder: empty, "." or "..", or with a slash or a zero character in it.
[[nodiscard]] std::optional<std::string> systemComponent(const std::wstring& name);

/// Opens with O_CLOEXEC and without ever waiting for the other end of a pipe. A relative path
/// begins at the open folder `from`. Returns an empty descriptor, and errno, on failure.
[[nodiscard]] Descriptor openPath(const std::string& path, int flags, int from = AT_FDCWD);

/// For open(2) of a folder that need not be listed.
inline constexpr int kOpenFolder = O_PATH | O_DIRECTORY | O_CLOEXEC;

inline constexpr mode_t kNewFolderMode = 0777; // what the user's umask leaves of it

/// Reads until `count` bytes are there or the end; the bytes read, -1 (and errno) when the system
/// failed before the first. With fewer bytes than asked, `failure` tells why: 0 at the end.
std::int64_t readFully(int fd, std::uint64_t position, void* buffer, std::size_t count,
                       int& failure);

/// Bytes in an open file or block device, -1 on failure.
[[nodiscard]] std::int64_t sizeOf(int fd);

} // namespace platform
