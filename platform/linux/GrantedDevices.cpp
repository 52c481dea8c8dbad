#include "platform/linux/GrantedDevices.h"

#include "platform/linux/Errno.h"
#include "platform/linux/Sources.h"

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <utility>

#include <sys/stat.h>

namespace platform {

namespace {

/// Whether there is anyone to ask: in a terminal, or in a session with a display.
bool mayAskPerson() {
    return ::isatty(STDIN_FILENO) == 1 || std::getenv("DISPLAY") != nullptr ||
           std::getenv("WAYLAND_DISPLAY") != nullptr;
}

bool isDeviceForReading(const Descriptor& file, dev_t number) {
    struct stat status {};

    const int flags = ::fcntl(file.get(), F_GETFL);
    return flags >= 0 && (flags & O_ACCMODE) == O_RDONLY && ::fstat(file.get(), &status) == 0 &&
           S_ISBLK(status.st_mode) && status.st_rdev == number;
}

Descriptor copyOf(const Descriptor& file) {
    return Descriptor(::fcntl(file.get(), F_DUPFD_CLOEXEC, 0));
}

UDisks::Opened refusal() {
    return {{}, failureOf(EACCES)};
}

} // namespace

GrantedDevices& grantedDevices() {
    static GrantedDevices devices;
    return devices;
}

Descriptor GrantedDevices::kept(dev_t number) {
    const auto found = granted_.find(number);
    if (found == granted_.end())
        return {};
    if (deviceIdentity(number) == found->second.medium)
        return copyOf(found->second.file);
    granted_.erase(found); // Another stick is in its place.
    return {};
}

UDisks::Opened GrantedDevices::open(const std::string& node, dev_t number) {
    if (!isEnabled_)
        return refusal();
    const std::scoped_lock lock(asking_);
    if (Descriptor file = kept(number))
        return {std::move(file), {}};
    return ask(node, number);
}

UDisks::Opened GrantedDevices::ask(const std::string& node, dev_t number) {
    const std::optional<FileIdentity> medium = deviceIdentity(number);
    UDisks::Opened opened = UDisks().openForReading(node, mayAskPerson());
    if (!opened.file)
        return opened;
    // Asking takes time, in which another stick may have come in the place of this one.
    if (!medium || deviceIdentity(number) != medium || !isDeviceForReading(opened.file, number))
        return refusal();
    if (Descriptor copy = copyOf(opened.file))
        granted_[number] = {*medium, std::move(copy)};
    return opened;
}

} // namespace platform
