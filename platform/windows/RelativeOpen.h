#pragma once

#include "platform/SystemHandle.h"

#include <string>

#include <windows.h>

namespace platform {

/// How `openIn` opens.
struct RelativeOpen {
    /// Values of NtCreateFile.
    static constexpr ULONG kOpen = 1;
    static constexpr ULONG kCreate = 2;
    static constexpr ULONG kOpenOrCreate = 3;
    static constexpr ULONG kOverwrite = 4;
    static constexpr ULONG kOverwriteOrCreate = 5;

    enum class Kind { File, Folder, Any };

    DWORD access = 0;
    DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    ULONG disposition = kOpen;
    Kind kind = Kind::Any;
    bool followsLinks = false; ///< Otherwise what is one, or a mount point, is refused.
    bool opensLinks = false;   ///< Opens a link itself.
};

/// Opens or creates the one component `name` in an open folder. Not open, with the last error, on
/// failure; ERROR_ALREADY_EXISTS when something of another kind, or a link, stands there.
[[nodiscard]] SystemHandle openIn(HANDLE folder, const std::wstring& name,
                                  const RelativeOpen& wanted);

/// Gives a file that was opened with the right to delete it the one component `name` in an open
/// folder. False, with the last error, on failure; ERROR_ALREADY_EXISTS when the name is taken and
/// what has it is not to be replaced.
[[nodiscard]] bool renameIn(HANDLE folder, HANDLE file, const std::wstring& name, bool replaces);

} // namespace platform
