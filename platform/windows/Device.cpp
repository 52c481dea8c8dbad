#include "platform/Device.h"

#include "platform/System.h"
#include "platform/windows/Win32.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

#include <winioctl.h>

namespace platform {

namespace {

/// Where the end of a volume is not known, the device itself tells it.
constexpr std::uint64_t kUnknownLength = std::numeric_limits<std::uint64_t>::max();

/// Bytes of a device; nothing when it does not tell, and the last error tells why.
std::optional<std::uint64_t> lengthOfDevice(HANDLE device) {
    GET_LENGTH_INFORMATION information{};
    DWORD got = 0;
    if (DeviceIoControl(device, IOCTL_DISK_GET_LENGTH_INFO, nullptr, 0, &information,
                        sizeof information, &got, nullptr) == 0)
        return std::nullopt;
    return static_cast<std::uint64_t>(information.Length.QuadPart);
}

std::optional<std::uint64_t> lengthOfFile(HANDLE file) {
    LARGE_INTEGER size{};
    if (GetFileSizeEx(file, &size) == 0)
        return std::nullopt;
    return static_cast<std::uint64_t>(size.QuadPart);
}

} // namespace

struct Device::State {
    Handle file;
    bool isDevice = false;
    bool tellsLength = false; ///< The device answered when it was asked for its length.
    std::uint64_t offset = 0; ///< Where the volume starts in the file.
    std::uint64_t length = kUnknownLength;
    std::shared_ptr<const void> lease;
    Failure failure;

    bool open(const std::wstring& path);
    bool openImage(format::LetterTable::Held held);
    [[nodiscard]] bool isPresent() const;
};

bool Device::State::open(const std::wstring& path) {
    const std::optional<std::wstring> device = deviceName(path);
    const std::optional<std::wstring> name = device ? device : systemPath(path);
    if (!name) {
        failure = failureOf(GetLastError());
        return false;
    }
    file = Handle(CreateFileW(name->c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                              nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        failure = failureOf(GetLastError());
        return false;
    }
    isDevice = device.has_value();
    const std::optional<std::uint64_t> bytes =
        isDevice ? lengthOfDevice(file.get()) : lengthOfFile(file.get());
    if (!bytes && !isDevice) {
        failure = failureOf(GetLastError());
        file.close();
        return false;
    }
    tellsLength = bytes.has_value();
    length = bytes.value_or(kUnknownLength);
    return true;
}

/// Asks for nothing that a bad sector could keep from being answered.
bool Device::State::isPresent() const {
    if (isDevice ? lengthOfDevice(file.get()) : lengthOfFile(file.get()))
        return true;
    const DWORD code = GetLastError();
    return !(tellsLength ? mayMeanRemoved(code) : errorFromCode(code) == Error::DeviceGone);
}

bool Device::State::openImage(format::LetterTable::Held held) {
    const format::VolumeSource& source = held.source;
    if (!open(source.path))
        return false;
    FileIdentity opened;
    if (!identityOf(file.get(), opened) || opened != source.identity) {
        failure = failureOf(ERROR_FILE_INVALID); // another file stands in its place
        file.close();
        return false;
    }
    offset = std::min(source.offset, length);
    length = std::min(source.length, length - offset);
    lease = std::move(held.lease);
    return true;
}

Device::Device() : state_(std::make_unique<State>()) {}

Device::Device(Device&& other) noexcept = default;

Device& Device::operator=(Device&& other) noexcept = default;

Device::~Device() = default;

bool Device::open(const std::wstring& path) {
    state_ = std::make_unique<State>();
    if (const std::optional<char> letter = letterInDevicePath(path)) {
        // Letters in the table are those of images; the others are the system's.
        if (std::optional<format::LetterTable::Held> held = letters().hold(*letter))
            return state_->openImage(std::move(*held));
    }
    return state_->open(path);
}

bool Device::isOpen() const {
    return state_ && state_->file;
}

bool Device::close() {
    if (!isOpen())
        return true;
    if (!state_->file.close()) {
        state_->failure = failureOf(GetLastError());
        return false;
    }
    state_ = std::make_unique<State>();
    return true;
}

std::int64_t Device::readAt(std::uint64_t position, void* buffer, std::size_t count) {
    if (!isOpen())
        return -1;
    if (position >= state_->length)
        return 0;
    const auto wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(count, state_->length - position));
    DWORD code = 0;
    const std::int64_t got =
        readFully(state_->file.get(), state_->offset + position, buffer, wanted, code);
    if (code != 0) {
        state_->failure = failureOf(code);
        if (mayMeanRemoved(code) && !isPresent())
            state_->failure.kind = Error::DeviceGone;
    }
    return got;
}

bool Device::readAtOnce(std::uint64_t position, void* buffer, std::size_t count) const {
    // Windows does not tell what it has in memory.
    static_cast<void>(position);
    static_cast<void>(buffer);
    static_cast<void>(count);
    return false;
}

std::uint64_t Device::size() const {
    return isOpen() && state_->length != kUnknownLength ? state_->length : 0;
}

bool Device::isPresent() const {
    return isOpen() && state_->isPresent();
}

Failure Device::failure() const {
    return state_ ? state_->failure : Failure();
}

} // namespace platform
