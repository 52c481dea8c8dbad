#pragma once

#include "platform/File.h"

#include <optional>
#include <string>
#include <string_view>

#include <windows.h>

/// What the files of this folder share.
namespace platform {

/// A kernel handle, closed when destroyed.
class Handle {
public:
    Handle() = default;

    explicit Handle(HANDLE handle) : handle_(handle) {}

    Handle(Handle&& other) noexcept : handle_(other.release()) {}

    Handle& operator=(Handle&& other) noexcept {
        if (this != &other) {
            close();
            handle_ = other.release();
        }
        return *this;
    }

    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    ~Handle() { close(); }

    [[nodiscard]] HANDLE get() const { return handle_; }

    [[nodiscard]] explicit operator bool() const { return handle_ != INVALID_HANDLE_VALUE; }

    /// Hands the handle over to the caller.
    [[nodiscard]] HANDLE release() {
        HANDLE handle = handle_;
        handle_ = INVALID_HANDLE_VALUE;
        return handle;
    }

    /// False when the system refuses; the handle is then still there.
    bool close() {
        if (handle_ == INVALID_HANDLE_VALUE)
            return true;
        if (CloseHandle(handle_) == 0)
            return false;
        handle_ = INVALID_HANDLE_VALUE;
        return true;
    }

private:
    HANDLE handle_ = INVALID_HANDLE_VALUE;
};

/// What an error code of the system means for a caller.
[[nodiscard]] Error errorFromCode(DWORD code);

/// The same with the system's words for it.
[[nodiscard]] Failure failureOf(DWORD code);

/// Whether a device that was pulled out may have answered so. One that fails may as well.
[[nodiscard]] bool mayMeanRemoved(DWORD code);

/// What the last error says.
[[nodiscard]] Failure lastFailure();

/// The path as the system takes it: a path longer than MAX_PATH in its "\\?\" form. Nothing (last
/// error ERROR_INVALID_NAME) when it holds a zero character, which the system would take for its
/// end.
[[nodiscard]] std::optional<std::wstring> systemPath(const std::wstring& path);

/// In names the system makes no difference between small and capital letters.
[[nodiscard]] bool startsWithText(std::wstring_view text, std::wstring_view start);

/// The device that a path names as a whole, as the system opens it: "\\.\X:", "\\?\Volume{...}",
/// "\\.\PhysicalDrive0", "\\?\GLOBALROOT\Device\...", with or without a separator at the end
/// (which would make it the root folder on it). Nothing for a file or folder.
[[nodiscard]] std::optional<std::wstring> deviceName(const std::wstring& path);

/// The path itself if it exists, otherwise the nearest folder above it that does.
[[nodiscard]] std::wstring nearestExisting(const std::wstring& path);

/// Reads from a file or volume until `count` bytes are there or the end; the bytes read, -1 when
/// the system failed before the first. `failure`: the error code, 0 without one.
std::int64_t readFully(HANDLE file, std::uint64_t position, void* buffer, std::size_t count,
                       DWORD& failure);

/// Which file an open handle leads to; false on failure.
bool identityOf(HANDLE file, FileIdentity& out);

/// "X:\"
[[nodiscard]] std::wstring rootPath(char letter);

} // namespace platform
