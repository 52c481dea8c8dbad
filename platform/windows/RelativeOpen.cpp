#include "platform/windows/RelativeOpen.h"

#include "platform/windows/Win32.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include <winternl.h>

namespace platform {

namespace {

// Options of NtCreateFile; not in the headers of all compilers that we build with.
constexpr ULONG kDirectoryFile = 0x00000001;
constexpr ULONG kSynchronousNonAlert = 0x00000020;
constexpr ULONG kNonDirectoryFile = 0x00000040;
constexpr ULONG kBackupIntent = 0x00004000;
constexpr ULONG kOpenReparsePoint = 0x00200000;

constexpr ULONG kCaseInsensitive = 0x00000040;

bool isComponent(const std::wstring& name) {
    constexpr std::size_t kLongest = std::numeric_limits<USHORT>::max() / sizeof(wchar_t);
    return !name.empty() && name != L"." && name != L".." && name.size() <= kLongest &&
           name.find_first_of(std::wstring_view(L"\\/:\0", 4)) == std::wstring::npos;
}

/// Whether an open file or folder leads elsewhere: a link, or a mount point. Other reparse points,
/// such as folders kept in a cloud, are what they seem.
bool isLink(HANDLE handle) {
    FILE_ATTRIBUTE_TAG_INFO information{};
    if (GetFileInformationByHandleEx(handle, FileAttributeTagInfo, &information,
                                     sizeof information) == 0)
        return false; // a file system that has none
    return (information.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
           IsReparseTagNameSurrogate(information.ReparseTag) != 0;
}

ULONG optionsFor(const RelativeOpen& wanted) {
    ULONG options = kSynchronousNonAlert | kBackupIntent;
    if (wanted.kind == RelativeOpen::Kind::Folder)
        options |= kDirectoryFile;
    if (wanted.kind == RelativeOpen::Kind::File)
        options |= kNonDirectoryFile;
    if (!wanted.followsLinks)
        options |= kOpenReparsePoint;
    return options;
}

} // namespace

SystemHandle openIn(HANDLE folder, const std::wstring& name, const RelativeOpen& wanted) {
    if (!isComponent(name)) {
        SetLastError(ERROR_INVALID_NAME);
        return {};
    }
    std::wstring text = name;
    UNICODE_STRING component{};
    component.Length = static_cast<USHORT>(text.size() * sizeof(wchar_t));
    component.MaximumLength = component.Length;
    component.Buffer = text.data();
    OBJECT_ATTRIBUTES attributes{};
    attributes.Length = sizeof attributes;
    attributes.RootDirectory = folder;
    attributes.ObjectName = &component;
    attributes.Attributes = kCaseInsensitive;
    IO_STATUS_BLOCK status{};
    HANDLE opened = nullptr;
    const NTSTATUS result = NtCreateFile(
        &opened, wanted.access | SYNCHRONIZE | FILE_READ_ATTRIBUTES, &attributes, &status, nullptr,
        FILE_ATTRIBUTE_NORMAL, wanted.share, wanted.disposition, optionsFor(wanted), nullptr, 0);
    if (result < 0) {
        SetLastError(RtlNtStatusToDosError(result));
        return {};
    }
    SystemHandle handle(reinterpret_cast<std::intptr_t>(opened));
    if (!wanted.followsLinks && !wanted.opensLinks && isLink(opened)) {
        handle.close();
        SetLastError(ERROR_ALREADY_EXISTS);
        return {};
    }
    return handle;
}

bool renameIn(HANDLE folder, HANDLE file, const std::wstring& name, bool replaces) {
    if (!isComponent(name)) {
        SetLastError(ERROR_INVALID_NAME);
        return false;
    }
    const std::size_t nameBytes = name.size() * sizeof(wchar_t);
    std::vector<std::uint64_t> room(
        (sizeof(FILE_RENAME_INFORMATION) + nameBytes) / sizeof(std::uint64_t) + 1);
    auto* const wanted = reinterpret_cast<FILE_RENAME_INFORMATION*>(room.data());
    wanted->ReplaceIfExists = replaces ? TRUE : FALSE;
    wanted->RootDirectory = folder;
    wanted->FileNameLength = static_cast<ULONG>(nameBytes);
    std::memcpy(wanted->FileName, name.data(), nameBytes);
    IO_STATUS_BLOCK status{};
    const NTSTATUS result = NtSetInformationFile(
        file, &status, wanted, static_cast<ULONG>(room.size() * sizeof(std::uint64_t)),
        FileRenameInformation);
    if (result < 0)
        SetLastError(RtlNtStatusToDosError(result));
    return result >= 0;
}

} // namespace platform
