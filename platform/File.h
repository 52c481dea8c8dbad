#pragma once

#include "format/FileIdentity.h"
#include "platform/Failure.h"
#include "platform/Folder.h"
#include "platform/SystemHandle.h"

#include <cstddef>
#include <cstdint>
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

using format::FileIdentity;

/// One open file, read and written at given positions. Closed when destroyed. Used by one thread
/// at a time. Positions and sizes are bytes, 64 bits wide on every system.
class File {
public:
    /// Opens `path`, closing what was open. Other programs may read the file meanwhile.
    /// `disposition` is a value of `Disposition`; another value fails. Returns whether the file
    /// is open; `failure` tells why not. A folder is not opened.
    bool open(const std::wstring& path, std::uint32_t disposition, std::uint32_t access);

    /// The same with the file `name`, one component, in a folder. What `CreateNew` creates belongs
    /// to the user who has asked for it, if this process has administrator rights.
    bool open(const Folder& folder, const std::wstring& name, std::uint32_t disposition,
              std::uint32_t access, Links links = Links::Refuse);

    [[nodiscard]] bool isOpen() const { return handle_.isOpen(); }

    /// Nothing is open afterwards. False when what was written may not have arrived.
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

    /// Waits until what was written has arrived on the drive; false when it has not.
    bool sync();

    /// Has the system forget what it holds of the file in memory, as far as that has arrived on the
    /// drive, so that the next reads come from there. Windows does not let go of it.
    void forgetCached();

    /// Which file this is; false on failure.
    bool identity(FileIdentity& out) const;

    /// Why the last operation that failed did so; none while nothing has failed since `open`.
    [[nodiscard]] const Failure& failure() const { return failure_; }

private:
    /// Keeps the system's last error; returns false for the caller to pass on.
    bool failed();

    SystemHandle handle_;
    Failure failure_;
};

/// Creates a folder and every missing folder above it; no failure when it is one afterwards. What
/// is created belongs to the user who has asked for it, if this process has administrator rights.
Failure makePath(const std::wstring& path);

/// Removes one file; true when it is gone.
bool removeFile(const std::wstring& path);

/// Whether the paths of all files in a folder with this path, whatever their names, are short
/// enough for the system and so for other programs.
[[nodiscard]] bool leavesRoomForNames(const std::wstring& folder);

/// The rules of the file system that `directory` lies on for the name of one file.
struct NameRules {
    bool windowsNames = false;     ///< Windows' reserved characters and device names apply.
    bool unitsAreUtf16 = false;    ///< `longestName` counts UTF-16 units; otherwise UTF-8 bytes.
    std::size_t longestName = 255; ///< Longest name of one file, in those units.
};

[[nodiscard]] NameRules nameRules(const std::wstring& directory);

} // namespace platform
