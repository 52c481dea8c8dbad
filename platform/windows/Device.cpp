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

/// Bytes of a volume or a file; 0 when the system does not tell.
std::uint64_t lengthOf(HANDLE file, bool isDevice) {
    if (isDevice) {
        GET_LENGTH_INFORMATION information{};
        DWORD got = 0;
        if (DeviceIoControl(file, IOCTL_DISK_GET_LENGTH_INFO, nullptr, 0, &information,
                            sizeof information, &got, nullptr) == 0)
            return 0;
        return static_cast<std::uint64_t>(information.Length.QuadPart);
    }
    LARGE_INTEGER size{};
    return GetFileSizeEx(file, &size) != 0 ? static_cast<std::uint64_t>(size.QuadPart) : 0;
}

} // namespace

struct Device::State {
    Handle file;
    bool isDevice = false;
    std::uint64_t offset = 0; ///< Where the volume starts in the file.
    std::uint64_t length = kUnknownLength;
    std::shared_ptr<const void> lease;
    Error error = Error::None;
    std::wstring errorText;

    bool open(const std::wstring& path);
    bool openImage(format::LetterTable::Held held);
    void keepError(DWORD code);
};

bool Device::State::open(const std::wstring& path) {
    const std::optional<std::wstring> name = systemPath(path);
    if (!name) {
        keepError(GetLastError());
        return false;
    }
    file = Handle(CreateFileW(name->c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                              nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        keepError(GetLastError());
        return false;
    }
    isDevice = path.starts_with(L"\\\\.\\");
    if (const std::uint64_t bytes = lengthOf(file.get(), isDevice); bytes != 0 || !isDevice)
        length = bytes;
    return true;
}

bool Device::State::openImage(format::LetterTable::Held held) {
    const format::VolumeSource& source = held.source;
    if (!open(source.path))
        return false;
    FileIdentity opened;
    if (!identityOf(file.get(), opened) || opened != source.identity) {
        keepError(ERROR_FILE_INVALID); // another file stands in its place
        file.close();
        return false;
    }
    offset = std::min(source.offset, length);
    length = std::min(source.length, length - offset);
    lease = std::move(held.lease);
    return true;
}

void Device::State::keepError(DWORD code) {
    error = errorFromCode(code);
    errorText = errorWords(code);
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
        state_->keepError(GetLastError());
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
    DWORD failure = 0;
    const std::int64_t got =
        readFully(state_->file.get(), state_->offset + position, buffer, wanted, failure);
    if (failure != 0)
        state_->keepError(failure);
    return got;
}

std::uint64_t Device::size() const {
    return isOpen() && state_->length != kUnknownLength ? state_->length : 0;
}

bool Device::isPresent() const {
    if (!isOpen())
        return false;
    SetLastError(ERROR_SUCCESS);
    return lengthOf(state_->file.get(), state_->isDevice) != 0 ||
           errorFromCode(GetLastError()) != Error::DeviceGone;
}

Error Device::error() const {
    return state_ ? state_->error : Error::None;
}

std::wstring Device::errorText() const {
    return state_ ? state_->errorText : std::wstring();
}

} // namespace platform
