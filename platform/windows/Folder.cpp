#include "platform/Folder.h"

#include "platform/windows/RelativeOpen.h"
#include "platform/windows/Win32.h"

#include <optional>

namespace platform {

namespace {

HANDLE handleOf(const SystemHandle& handle) {
    return reinterpret_cast<HANDLE>(handle.get());
}

/// The path of an open folder; `kind` as GetFinalPathNameByHandle takes it. Empty on failure.
std::wstring finalPath(HANDLE folder, DWORD kind) {
    const DWORD room = GetFinalPathNameByHandleW(folder, nullptr, 0, kind);
    std::wstring path(room, L'\0');
    path.resize(GetFinalPathNameByHandleW(folder, path.data(), room, kind));
    return path.size() < room ? path : std::wstring();
}

bool isFolder(HANDLE handle) {
    BY_HANDLE_FILE_INFORMATION information{};
    return GetFileInformationByHandle(handle, &information) != 0 &&
           (information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool isPlainFile(HANDLE file) {
    BY_HANDLE_FILE_INFORMATION information{};
    return GetFileInformationByHandle(file, &information) != 0 &&
           (information.dwFileAttributes &
            (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) == 0 &&
           information.nNumberOfLinks == 1;
}

/// Whether a volume was not flushed because that is nothing it does, or not for this process.
bool cannotBeAsked(DWORD code) {
    switch (code) {
    case ERROR_INVALID_FUNCTION:
    case ERROR_ACCESS_DENIED:
    case ERROR_INVALID_HANDLE:
    case ERROR_INVALID_PARAMETER:
    case ERROR_NOT_SUPPORTED:
        return true;
    default:
        return false;
    }
}

} // namespace

bool Folder::open(const std::wstring& path) {
    handle_ = {};
    failure_ = {};
    const std::optional<std::wstring> name = systemPath(path);
    if (!name)
        return failed();
    constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    handle_ = SystemHandle(reinterpret_cast<std::intptr_t>(
        CreateFileW(name->c_str(), FILE_READ_ATTRIBUTES | FILE_TRAVERSE | SYNCHRONIZE, kShareAll,
                    nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr)));
    if (!isOpen())
        return failed();
    if (isFolder(handleOf(handle_)))
        return true;
    handle_ = {};
    SetLastError(ERROR_DIRECTORY);
    return failed();
}

Folder::Entered Folder::enter(const Folder& parent, const std::wstring& name, Links links) {
    handle_ = {};
    failure_ = {};
    RelativeOpen wanted;
    wanted.access = FILE_TRAVERSE;
    wanted.kind = RelativeOpen::Kind::Folder;
    wanted.disposition = RelativeOpen::kCreate;
    handle_ = openIn(handleOf(parent.handle()), name, wanted);
    if (isOpen())
        return Entered::Created;
    const DWORD whyNot = GetLastError();
    // A folder may be there although making one is refused, as on a read-only drive.
    wanted.disposition = RelativeOpen::kOpen;
    wanted.followsLinks = links == Links::Follow;
    handle_ = openIn(handleOf(parent.handle()), name, wanted);
    if (isOpen())
        return Entered::Existed;
    const Error kind = errorFromCode(whyNot);
    SetLastError(whyNot);
    failed();
    return kind == Error::Exists ? Entered::Occupied : Entered::Failed;
}

bool Folder::remove(const std::wstring& name) {
    failure_ = {};
    RelativeOpen wanted;
    wanted.access = DELETE;
    wanted.kind = RelativeOpen::Kind::File;
    wanted.opensLinks = true;
    const SystemHandle file = openIn(handleOf(handle_), name, wanted);
    if (!file.isOpen())
        return errorFromCode(GetLastError()) == Error::NotFound || failed();
    FILE_DISPOSITION_INFO disposition{};
    disposition.DeleteFile = TRUE;
    return SetFileInformationByHandle(handleOf(file), FileDispositionInfo, &disposition,
                                      sizeof disposition) != 0 ||
           failed();
}

bool Folder::rename(const std::wstring& from, const std::wstring& to, Taken taken) {
    failure_ = {};
    RelativeOpen wanted;
    wanted.access = DELETE;
    wanted.kind = RelativeOpen::Kind::File;
    const SystemHandle file = openIn(handleOf(handle_), from, wanted);
    return (file.isOpen() &&
            renameIn(handleOf(handle_), handleOf(file), to, taken == Taken::Replace)) ||
           failed();
}

std::optional<Folder::Entry> Folder::find(const std::wstring& name) const {
    RelativeOpen wanted;
    wanted.opensLinks = true;
    const SystemHandle found = openIn(handleOf(handle_), name, wanted);
    Entry entry;
    if (!found.isOpen() || !identityOf(handleOf(found), entry.identity))
        return std::nullopt;
    entry.isFolder = isFolder(handleOf(found));
    entry.isPlainFile = isPlainFile(handleOf(found));
    return entry;
}

std::optional<std::uint64_t> Folder::freeSpace() const {
    const std::wstring path = finalPath(handleOf(handle_), VOLUME_NAME_DOS);
    ULARGE_INTEGER bytes{};
    if (path.empty() || GetDiskFreeSpaceExW(path.c_str(), &bytes, nullptr, nullptr) == 0)
        return std::nullopt;
    return bytes.QuadPart;
}

/// A volume is flushed as a whole by administrators only, and a share not at all.
bool Folder::sync() {
    failure_ = {};
    const std::wstring path = finalPath(handleOf(handle_), VOLUME_NAME_GUID);
    const std::size_t end = path.find(L'}');
    if (end == std::wstring::npos)
        return true;
    const std::wstring volume = path.substr(0, end + 1); // "\\?\Volume{...}"
    const Handle opened(CreateFileW(volume.c_str(), GENERIC_WRITE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                                    nullptr));
    if (!opened || FlushFileBuffers(opened.get()) != 0)
        return true;
    const DWORD code = GetLastError();
    if (cannotBeAsked(code))
        return true;
    SetLastError(code);
    return failed();
}

bool Folder::failed() {
    failure_ = lastFailure();
    return false;
}

} // namespace platform
