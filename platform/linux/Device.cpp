#include "platform/Device.h"

#include "format/LetterTable.h"
#include "platform/System.h"
#include "platform/linux/BlockDevices.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/Errno.h"
#include "platform/linux/GrantedDevices.h"
#include "platform/linux/Sources.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/uio.h>
#include <sys/vfs.h>

namespace platform {

struct Device::State {
    Descriptor file;
    std::uint64_t offset = 0; ///< Where the volume starts in the file.
    std::uint64_t length = 0; ///< Bytes of the volume.
    std::shared_ptr<const void> lease;
    /// What must be there for reads to succeed: the device itself, or the one the image lies on;
    /// nothing for an image on no device.
    std::optional<FileIdentity> presence;
    bool isInMemory = false; ///< All of it: a file of a file system that has no disk.
    Failure failure;

    bool open(const std::string& path);
    bool openByService(const std::string& path, dev_t number);
    bool openLetter(char letter);
    [[nodiscard]] bool isPresent() const;
};

namespace {

bool liesInMemory(int file) {
    struct statfs system {};

    return ::fstatfs(file, &system) == 0 && system.f_type == TMPFS_MAGIC;
}

} // namespace

bool Device::State::open(const std::string& path) {
    // Looked at before it is opened: opening may do things to what is no volume, such as a tape.
    struct stat status {};

    if (::stat(path.c_str(), &status) != 0) {
        failure = failureOf(errno);
        return false;
    }
    if (!S_ISREG(status.st_mode) && !S_ISBLK(status.st_mode)) {
        failure = failureOf(S_ISDIR(status.st_mode) ? EISDIR : ENOTBLK);
        return false;
    }
    file = openPath(path, O_RDONLY);
    if (!file && errno == EACCES && S_ISBLK(status.st_mode) && !openByService(path, status.st_rdev))
        return false;
    const std::int64_t size = file ? sizeOf(file.get()) : -1;
    if (size < 0 || ::fstat(file.get(), &status) != 0) {
        failure = failureOf(errno);
        file = Descriptor();
        return false;
    }
    // Mounted file systems may have changed the device behind the back of what the system
    // remembers of an earlier scan.
    if (S_ISBLK(status.st_mode))
        ::posix_fadvise(file.get(), 0, 0, POSIX_FADV_DONTNEED);
    length = static_cast<std::uint64_t>(size);
    isInMemory = S_ISREG(status.st_mode) && liesInMemory(file.get());
    presence = deviceIdentity(S_ISBLK(status.st_mode) ? status.st_rdev : status.st_dev);
    return true;
}

/// Without the rights to open the device: has it opened by who may.
bool Device::State::openByService(const std::string& path, dev_t number) {
    UDisks::Opened opened = grantedDevices().open(path, number);
    failure = std::move(opened.failure);
    file = std::move(opened.file);
    return static_cast<bool>(file);
}

bool Device::State::openLetter(char letter) {
    std::optional<format::LetterTable::Held> held = holdLetter(letter);
    if (!held) {
        failure = {Error::NotFound, L"No drive has this letter."};
        return false;
    }
    const format::VolumeSource& source = held->source;
    if (!open(*systemPath(source.path)))
        return false;

    struct stat status {};

    FileIdentity opened;
    if (::fstat(file.get(), &status) == 0) {
        if (source.isImage)
            opened = {status.st_dev, status.st_ino};
        else
            opened = deviceIdentity(status.st_rdev).value_or(FileIdentity{});
    }
    if (opened != source.identity) { // another stick, or another file, stands in its place
        failure = failureOf(ENODEV);
        file = Descriptor();
        return false;
    }
    if (source.isImage) {
        offset = std::min(source.offset, length);
        length = std::min(source.length, length - offset);
    }
    lease = std::move(held->lease);
    return true;
}

bool Device::State::isPresent() const {
    return !presence || deviceIdentity(static_cast<dev_t>(presence->device)) == presence;
}

Device::Device() : state_(std::make_unique<State>()) {}

Device::Device(Device&& other) noexcept = default;

Device& Device::operator=(Device&& other) noexcept = default;

Device::~Device() = default;

bool Device::open(const std::wstring& path) {
    state_ = std::make_unique<State>();
    if (const std::optional<char> letter = letterInDevicePath(path))
        return state_->openLetter(*letter);
    const std::optional<std::string> name = systemPath(path);
    if (!name) {
        state_->failure = failureOf(EINVAL);
        return false;
    }
    return state_->open(*name);
}

bool Device::isOpen() const {
    return state_ && state_->file;
}

bool Device::close() {
    state_ = std::make_unique<State>();
    return true;
}

std::int64_t Device::readAt(std::uint64_t position, void* buffer, std::size_t count) {
    if (!isOpen())
        return -1;
    // The length is not asked for again: a device that is gone, or an image that has been cut
    // short, ends the read by itself.
    if (position >= state_->length)
        return 0;
    const auto wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(count, state_->length - position));
    int code = 0;
    const std::int64_t got =
        readFully(state_->file.get(), state_->offset + position, buffer, wanted, code);
    if (code == 0)
        return got;
    // A stick that is pulled out answers with the same code as a bad sector.
    state_->failure = failureOf(code == EIO && !isPresent() ? ENODEV : code);
    return got;
}

bool Device::readAtOnce(std::uint64_t position, void* buffer, std::size_t count) const {
    if (!isOpen() || position > state_->length || count > state_->length - position)
        return false;
    const struct iovec target = {buffer, count};
    // The flag is unknown to the file system for which it would make no difference.
    const int flags = state_->isInMemory ? 0 : RWF_NOWAIT;
    return ::preadv2(state_->file.get(), &target, 1, static_cast<off_t>(state_->offset + position),
                     flags) == static_cast<ssize_t>(count);
}

std::uint64_t Device::size() const {
    return isOpen() ? state_->length : 0;
}

bool Device::isPresent() const {
    return isOpen() && state_->isPresent();
}

Failure Device::failure() const {
    return state_ ? state_->failure : Failure();
}

} // namespace platform
