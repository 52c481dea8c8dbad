#include "platform/windows/Win32.h"

#include <algorithm>
#include <limits>
#include <string_view>

namespace platform {

namespace {

// Not in all headers of the compilers that we build with.
constexpr DWORD kErrorNoSuchDevice = 433;
constexpr DWORD kErrorElevationRequired = 740;
constexpr DWORD kErrorDiskQuotaExceeded = 1295;
constexpr DWORD kErrorDeviceRemoved = 1617;

/// Folders must leave room for an 8.3 name below MAX_PATH.
constexpr std::size_t kLongestPlainPath = MAX_PATH - 13;

constexpr std::size_t kDevicePrefixLength = 4; // "\\\\.\\" or "\\\\?\\"

/// One call reads no more; volumes refuse requests of odd or enormous size.
constexpr std::size_t kLargestRead = std::size_t{64} * 1024 * 1024;

bool isSeparator(wchar_t c) {
    return c == L'\\' || c == L'/';
}

std::wstring errorWords(DWORD code) {
    wchar_t* buffer = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, code, 0, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    std::wstring words(buffer != nullptr ? buffer : L"", length);
    LocalFree(buffer);
    while (!words.empty() && (words.back() == L'\n' || words.back() == L'\r' ||
                              words.back() == L' ' || words.back() == L'.'))
        words.pop_back();
    return words.empty() ? L"Error " + std::to_wstring(code) : words;
}

} // namespace

Error errorFromCode(DWORD code) {
    switch (code) {
    case ERROR_SUCCESS:
        return Error::None;
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_DRIVE:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
        return Error::NotFound;
    case ERROR_ACCESS_DENIED:
    case ERROR_WRITE_PROTECT:
    case ERROR_PRIVILEGE_NOT_HELD:
    case kErrorElevationRequired:
        return Error::AccessDenied;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
        return Error::Exists;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
    case ERROR_NOT_ENOUGH_QUOTA:
    case kErrorDiskQuotaExceeded:
        return Error::NoSpace;
    case ERROR_FILENAME_EXCED_RANGE:
        return Error::TooLong;
    case ERROR_NOT_READY:
    case ERROR_WRONG_DISK:
    case ERROR_DEV_NOT_EXIST:
    case ERROR_FILE_INVALID:
    case ERROR_MEDIA_CHANGED:
    case ERROR_NO_MEDIA_IN_DRIVE:
    case ERROR_DEVICE_NOT_CONNECTED:
    case kErrorNoSuchDevice:
    case kErrorDeviceRemoved:
        return Error::DeviceGone;
    default:
        return Error::Other;
    }
}

bool mayMeanRemoved(DWORD code) {
    switch (code) {
    case ERROR_INVALID_FUNCTION:
    case ERROR_FILE_NOT_FOUND: // also "no such device"
    case ERROR_BAD_COMMAND:
    case ERROR_GEN_FAILURE:
    case ERROR_IO_DEVICE:
        return true;
    default:
        return errorFromCode(code) == Error::DeviceGone;
    }
}

Failure failureOf(DWORD code) {
    return {errorFromCode(code), errorWords(code)};
}

Failure lastFailure() {
    return failureOf(GetLastError());
}

std::optional<std::wstring> systemPath(const std::wstring& path) {
    if (path.find(L'\0') != std::wstring::npos) {
        SetLastError(ERROR_INVALID_NAME);
        return std::nullopt;
    }
    if (path.starts_with(L"\\\\?\\") || path.starts_with(L"\\\\.\\") || path.empty())
        return path;
    const DWORD room = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
    std::wstring full(room, L'\0');
    full.resize(GetFullPathNameW(path.c_str(), room, full.data(), nullptr));
    if (full.size() >= room || full.size() <= kLongestPlainPath)
        return path;
    if (full.starts_with(L"\\\\"))
        return L"\\\\?\\UNC\\" + full.substr(2);
    return L"\\\\?\\" + full;
}

bool startsWithText(std::wstring_view text, std::wstring_view start) {
    return text.size() >= start.size() &&
           CompareStringOrdinal(text.data(), static_cast<int>(start.size()), start.data(),
                                static_cast<int>(start.size()), TRUE) == CSTR_EQUAL;
}

std::optional<std::wstring> deviceName(const std::wstring& path) {
    if (!path.starts_with(L"\\\\.\\") && !path.starts_with(L"\\\\?\\"))
        return std::nullopt;
    std::wstring name = path;
    while (name.size() > kDevicePrefixLength && isSeparator(name.back()))
        name.pop_back();
    // The names that the kernel itself gives, of which the device's own is the second.
    constexpr std::wstring_view kKernelNames = L"GLOBALROOT\\Device\\";
    std::wstring_view own = std::wstring_view(name).substr(kDevicePrefixLength);
    if (startsWithText(own, kKernelNames))
        own.remove_prefix(kKernelNames.size());
    return own.empty() || std::any_of(own.begin(), own.end(), isSeparator) ? std::nullopt
                                                                           : std::optional(name);
}

std::wstring nearestExisting(const std::wstring& path) {
    const DWORD room = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
    std::wstring whole(room, L'\0');
    whole.resize(GetFullPathNameW(path.c_str(), room, whole.data(), nullptr));
    while (!whole.empty()) {
        const std::optional<std::wstring> name = systemPath(whole);
        if (name && GetFileAttributesW(name->c_str()) != INVALID_FILE_ATTRIBUTES)
            return whole;
        // Cut to the last separator, and in the next round cut that.
        if (isSeparator(whole.back()))
            whole.pop_back();
        else
            whole.resize(whole.find_last_of(L"\\/") + 1);
    }
    return path;
}

std::int64_t readFully(HANDLE file, std::uint64_t position, void* buffer, std::size_t count,
                       DWORD& failure) {
    constexpr auto kLastPosition =
        static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    failure = 0;
    if (position > kLastPosition)
        return 0;
    auto* const bytes = static_cast<char*>(buffer);
    std::size_t done = 0;
    while (done < count) {
        OVERLAPPED at{};
        at.Offset = static_cast<DWORD>(position + done);
        at.OffsetHigh = static_cast<DWORD>((position + done) >> 32);
        const auto wanted = static_cast<DWORD>(std::min(count - done, kLargestRead));
        DWORD got = 0;
        if (ReadFile(file, bytes + done, wanted, &got, &at) == 0) {
            failure = GetLastError();
            if (failure == ERROR_HANDLE_EOF)
                failure = 0;
            break;
        }
        if (got == 0)
            break;
        done += got;
    }
    return done == 0 && failure != 0 ? -1 : static_cast<std::int64_t>(done);
}

bool identityOf(HANDLE file, FileIdentity& out) {
    BY_HANDLE_FILE_INFORMATION information{};
    if (GetFileInformationByHandle(file, &information) == 0)
        return false;
    out.device = information.dwVolumeSerialNumber;
    out.index = (std::uint64_t{information.nFileIndexHigh} << 32) | information.nFileIndexLow;
    return true;
}

std::wstring rootPath(char letter) {
    return std::wstring(1, static_cast<wchar_t>(letter)) + L":\\";
}

} // namespace platform
