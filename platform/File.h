#pragma once

#include "format/FileIdentity.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace platform {

/// What opening does with a file that exists, or does not. The values are Windows' own.
enum class Disposition : std::uint32_t {
    CreateNew = 1,        ///< Fails when the path exists, whatever stands there.
    CreateAlways = 2,     ///< Creates, or empties what exists.
    OpenExisting = 3,     ///< Fails when nothing exists.
    OpenAlways = 4,       ///< Opens, or creates an empty file.
    TruncateExisting = 5, ///< Opens and empties; fails when nothing exists.
};

/// Access rights, to be combined. The values are Windows' own.
inline constexpr std::uint32_t kGenericRead = 0x80000000;
inline constexpr std::uint32_t kGenericWrite = 0x40000000;

/// Why a call to the system failed, as far as a caller would act on it.
enum class Error {
    None,
    NotFound,     ///< No such file, folder or device.
    AccessDenied, ///< The rights are missing.
    Exists,       ///< Something stands at the path already.
    NoSpace,      ///< The drive, or the user's share of it, is full.
    DeviceGone,   ///< The device was removed.
    Other,
};

using format::FileIdentity;

/// One open file, read and written at given positions. Closed when destroyed. Used by one thread
/// at a time. Positions and sizes are bytes, 64 bits wide on every system.
class File {
public:
    File();
    File(File&& other) noexcept;
    File& operator=(File&& other) noexcept;
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File();

    /// Opens `path`, closing what was open. Other programs may read the file meanwhile.
    /// `disposition` is a value of `Disposition`; another value fails. Returns whether the file
    /// is open; `error` tells why not. A folder is not opened.
    bool open(const std::wstring& path, std::uint32_t disposition, std::uint32_t access);

    [[nodiscard]] bool isOpen() const;

    /// Returns whether nothing is open afterwards.
    bool close();

    /// Reads until `count` bytes are there or the file ends. Returns the bytes read, -1 when the
    /// system failed before the first.
    std::int64_t readAt(std::int64_t position, void* buffer, std::size_t count);

    /// Writes all `count` bytes; false when the system took fewer.
    bool writeAt(std::int64_t position, const void* buffer, std::size_t count);

    /// Length in bytes, -1 on failure.
    [[nodiscard]] std::int64_t size();

    /// Sets the length; bytes that are added read as zero.
    bool truncate(std::int64_t size);

    /// Sets the time of the last change to a FILETIME (100 ns units since 1601, UTC). Call it
    /// after the last write.
    bool setModificationTime(std::int64_t fileTime);

    /// Which file this is; false on failure.
    bool identity(FileIdentity& out) const;

    /// Why the last operation that failed did so; None while nothing has failed since `open`.
    [[nodiscard]] Error error() const { return error_; }

    /// The system's own words for it.
    [[nodiscard]] const std::wstring& errorText() const { return errorText_; }

private:
    /// Keeps the system's last error; returns false for the caller to pass on.
    bool failed();

    std::intptr_t handle_;
    Error error_ = Error::None;
    std::wstring errorText_;
};

/// What `makeDirectory` found or did.
enum class DirectoryResult {
    Created,
    Existed,  ///< A folder (not a link to one) was there.
    Occupied, ///< Something else is there: a file, a link, a device.
    Failed,
};

/// Creates one folder whose parent exists. `errorText`, if given, gets the system's words.
DirectoryResult makeDirectory(const std::wstring& path, std::wstring* errorText = nullptr,
                              Error* error = nullptr);

/// Creates a folder and every missing folder above it; true when it is a folder afterwards.
bool makePath(const std::wstring& path, std::wstring* errorText = nullptr, Error* error = nullptr);

/// Removes one file; true when it is gone.
bool removeFile(const std::wstring& path);

/// Bytes that this process may still write to the file system that `directory`, which exists, lies
/// on; nothing when that is not told.
[[nodiscard]] std::optional<std::uint64_t> freeSpace(const std::wstring& directory);

/// The rules of the file system that `directory` lies on for the name of one file.
struct NameRules {
    bool windowsNames = false;     ///< Windows' reserved characters and device names apply.
    bool unitsAreUtf16 = false;    ///< `longestName` counts UTF-16 units; otherwise UTF-8 bytes.
    std::size_t longestName = 255; ///< Longest name of one file, in those units.
};

[[nodiscard]] NameRules nameRules(const std::wstring& directory);

} // namespace platform
