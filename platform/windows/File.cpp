#include "platform/File.h"

#include "platform/windows/RelativeOpen.h"
#include "platform/windows/Win32.h"

#include <algorithm>

namespace platform {

namespace {

// The public values are the system's own.
static_assert(kGenericRead == GENERIC_READ && kGenericWrite == GENERIC_WRITE);
static_assert(static_cast<DWORD>(Disposition::CreateNew) == CREATE_NEW);
static_assert(static_cast<DWORD>(Disposition::CreateAlways) == CREATE_ALWAYS);
static_assert(static_cast<DWORD>(Disposition::OpenExisting) == OPEN_EXISTING);
static_assert(static_cast<DWORD>(Disposition::OpenAlways) == OPEN_ALWAYS);
static_assert(static_cast<DWORD>(Disposition::TruncateExisting) == TRUNCATE_EXISTING);

constexpr std::size_t kLargestWrite = std::size_t{64} * 1024 * 1024; // of one call
constexpr std::size_t kLongestName = 255;

HANDLE handleOf(const SystemHandle& handle) {
    return reinterpret_cast<HANDLE>(handle.get());
}

bool isFolder(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

std::wstring withoutTrailingSeparators(std::wstring path) {
    while (path.size() > 1 && (path.back() == L'\\' || path.back() == L'/') &&
           path[path.size() - 2] != L':')
        path.pop_back();
    return path;
}

} // namespace

bool File::open(const std::wstring& path, std::uint32_t disposition, std::uint32_t access) {
    close();
    failure_ = {};
    const std::optional<std::wstring> name = systemPath(path);
    if (!name)
        return failed();
    handle_ = SystemHandle(
        reinterpret_cast<std::intptr_t>(CreateFileW(name->c_str(), access, FILE_SHARE_READ, nullptr,
                                                    disposition, FILE_ATTRIBUTE_NORMAL, nullptr)));
    if (isOpen())
        return true;
    // Opening a folder is refused as if rights were missing.
    const DWORD code = GetLastError();
    SetLastError(code == ERROR_ACCESS_DENIED && isFolder(*name) ? ERROR_DIRECTORY : code);
    return failed();
}

bool File::open(const Folder& folder, const std::wstring& name, std::uint32_t disposition,
                std::uint32_t access, Links links) {
    close();
    failure_ = {};
    RelativeOpen wanted;
    wanted.access = access;
    wanted.share = FILE_SHARE_READ;
    wanted.followsLinks = links == Links::Follow;
    wanted.kind = RelativeOpen::Kind::File;
    switch (static_cast<Disposition>(disposition)) {
    case Disposition::CreateNew:
        wanted.disposition = RelativeOpen::kCreate;
        break;
    case Disposition::CreateAlways:
        wanted.disposition = RelativeOpen::kOverwriteOrCreate;
        break;
    case Disposition::OpenExisting:
        wanted.disposition = RelativeOpen::kOpen;
        break;
    case Disposition::OpenAlways:
        wanted.disposition = RelativeOpen::kOpenOrCreate;
        break;
    case Disposition::TruncateExisting:
        wanted.disposition = RelativeOpen::kOverwrite;
        break;
    default:
        SetLastError(ERROR_INVALID_PARAMETER);
        return failed();
    }
    handle_ = openIn(handleOf(folder.handle()), name, wanted);
    return isOpen() || failed();
}

bool File::close() {
    return handle_.close() || failed();
}

std::int64_t File::readAt(std::int64_t position, void* buffer, std::size_t count) {
    if (position < 0) {
        SetLastError(ERROR_NEGATIVE_SEEK);
        failed();
        return -1;
    }
    DWORD failure = 0;
    const std::int64_t got =
        readFully(handleOf(handle_), static_cast<std::uint64_t>(position), buffer, count, failure);
    if (failure != 0) {
        SetLastError(failure);
        failed();
    }
    return got;
}

bool File::writeAt(std::int64_t position, const void* buffer, std::size_t count) {
    if (position < 0) {
        SetLastError(ERROR_NEGATIVE_SEEK);
        return failed();
    }
    const auto* const bytes = static_cast<const char*>(buffer);
    std::size_t done = 0;
    while (done < count) {
        const std::uint64_t target = static_cast<std::uint64_t>(position) + done;
        OVERLAPPED at{};
        at.Offset = static_cast<DWORD>(target);
        at.OffsetHigh = static_cast<DWORD>(target >> 32);
        DWORD put = 0;
        const auto wanted = static_cast<DWORD>(std::min(count - done, kLargestWrite));
        if (WriteFile(handleOf(handle_), bytes + done, wanted, &put, &at) == 0)
            return failed();
        if (put == 0) {
            SetLastError(ERROR_WRITE_FAULT);
            return failed();
        }
        done += put;
    }
    return true;
}

std::int64_t File::size() {
    LARGE_INTEGER bytes{};
    if (GetFileSizeEx(handleOf(handle_), &bytes) == 0) {
        failed();
        return -1;
    }
    return bytes.QuadPart;
}

bool File::truncate(std::int64_t size) {
    LARGE_INTEGER end{};
    end.QuadPart = size;
    return (SetFilePointerEx(handleOf(handle_), end, nullptr, FILE_BEGIN) != 0 &&
            SetEndOfFile(handleOf(handle_)) != 0) ||
           failed();
}

bool File::setModificationTime(std::int64_t fileTime) {
    FILETIME time{};
    time.dwLowDateTime = static_cast<DWORD>(fileTime);
    time.dwHighDateTime = static_cast<DWORD>(static_cast<std::uint64_t>(fileTime) >> 32);
    return SetFileTime(handleOf(handle_), nullptr, nullptr, &time) != 0 || failed();
}

bool File::sync() {
    return FlushFileBuffers(handleOf(handle_)) != 0 || failed();
}

void File::forgetCached() {
    // The cache is let go of when no handle is open any more, and this one is.
}

bool File::identity(FileIdentity& out) const {
    return identityOf(handleOf(handle_), out);
}

bool File::failed() {
    failure_ = lastFailure();
    return false;
}

Failure makePath(const std::wstring& path) {
    const std::optional<std::wstring> given = systemPath(path);
    if (!given || given->empty()) {
        if (given)
            SetLastError(ERROR_PATH_NOT_FOUND);
        return lastFailure();
    }
    const std::wstring name = withoutTrailingSeparators(*given);
    // Upwards to what exists, then down again: the first components may be no folders at all
    // ("\\server\share").
    std::size_t end = name.size();
    // A drive is a folder only with the separator behind it.
    const auto exists = [&name](std::size_t length) {
        return isFolder(name.substr(0, name[length - 1] == L':' ? length + 1 : length));
    };
    while (!exists(end)) {
        const std::size_t separator = name.find_last_of(L"\\/", end - 1);
        if (separator == std::wstring::npos || separator == 0) {
            end = 0;
            break;
        }
        end = separator;
    }
    while (end != name.size()) {
        end = std::min(name.find_first_of(L"\\/", end + 1), name.size());
        const std::wstring prefix = name.substr(0, end);
        if (CreateDirectoryW(prefix.c_str(), nullptr) == 0 && !isFolder(prefix)) {
            const DWORD code = GetLastError();
            SetLastError(code == ERROR_ALREADY_EXISTS ? ERROR_DIRECTORY : code);
            return lastFailure();
        }
    }
    return {};
}

bool removeFile(const std::wstring& path) {
    const std::optional<std::wstring> name = systemPath(path);
    if (!name)
        return false;
    if (DeleteFileW(name->c_str()) != 0)
        return true;
    return errorFromCode(GetLastError()) == Error::NotFound;
}

bool leavesRoomForNames(const std::wstring& folder) {
    constexpr std::size_t kLongestPath = 32'767; // with what makes a path long
    constexpr std::size_t kRoomForPrefix = 16;
    return folder.size() + 1 + kLongestName + kRoomForPrefix < kLongestPath;
}

NameRules nameRules(const std::wstring& directory) {
    NameRules rules;
    rules.windowsNames = true;
    rules.unitsAreUtf16 = true;
    rules.longestName = kLongestName;
    const std::wstring parent = nearestExisting(directory);
    wchar_t root[MAX_PATH + 1] = {};
    DWORD longest = 0;
    if (GetVolumePathNameW(parent.c_str(), root, MAX_PATH) != 0 &&
        GetVolumeInformationW(root, nullptr, 0, nullptr, &longest, nullptr, nullptr, 0) != 0 &&
        longest != 0)
        rules.longestName = std::min<std::size_t>(kLongestName, longest);
    return rules;
}

} // namespace platform
