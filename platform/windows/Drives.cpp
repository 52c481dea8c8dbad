#include "platform/Drives.h"

#include "format/WideText.h"
#include "platform/Images.h"
#include "platform/System.h"
#include "platform/windows/Win32.h"

#include <algorithm>
#include <array>

namespace platform {

namespace {

/// Images take the letters that the system gives last.
constexpr std::string_view kImageLetterOrder = "ZYXWVUTSRQPONMLKJIHGFEDCBA";

constexpr DWORD kTextLength = MAX_PATH;

/// Keeps the system from asking the user for a disk while drives are looked at.
class NoPrompts {
public:
    NoPrompts() { SetThreadErrorMode(SEM_FAILCRITICALERRORS, &before_); }

    NoPrompts(const NoPrompts&) = delete;
    NoPrompts& operator=(const NoPrompts&) = delete;

    ~NoPrompts() { SetThreadErrorMode(before_, nullptr); }

private:
    DWORD before_ = 0;
};

bool hasBit(DWORD mask, int bit) {
    return ((mask >> bit) & 1U) != 0;
}

/// A drive of the system; `isQueryable` tells whether its volume could be asked.
std::optional<Drive> systemDrive(char letter, bool& isQueryable) {
    isQueryable = false;
    const std::wstring root = rootPath(letter);
    const UINT type = GetDriveTypeW(root.c_str());
    if (!hasBit(GetLogicalDrives(), letter - 'A') || type == DRIVE_NO_ROOT_DIR)
        return std::nullopt;
    Drive drive;
    drive.letter = letter;
    if (type == DRIVE_REMOVABLE)
        drive.kind = DriveKind::Removable;
    else if (type == DRIVE_FIXED)
        drive.kind = DriveKind::Fixed;
    drive.device = L"\\\\.\\" + root.substr(0, 2);

    std::array<wchar_t, kTextLength + 1> name{};
    std::array<wchar_t, kTextLength + 1> fileSystem{};
    isQueryable = GetVolumeInformationW(root.c_str(), name.data(), kTextLength, nullptr, nullptr,
                                        nullptr, fileSystem.data(), kTextLength) != 0;
    if (isQueryable) {
        drive.volumeName = name.data();
        drive.fileSystem = format::utf8FromWide(fileSystem.data());
    }
    DWORD sectorsPerCluster = 0;
    DWORD bytesPerSector = 0;
    DWORD freeClusters = 0;
    DWORD clusters = 0;
    if (GetDiskFreeSpaceW(root.c_str(), &sectorsPerCluster, &bytesPerSector, &freeClusters,
                          &clusters) != 0) {
        drive.sectorSize = bytesPerSector;
        drive.sizeBytes = std::uint64_t{clusters} * sectorsPerCluster * bytesPerSector;
    }
    return drive;
}

/// The "\\?\Volume{...}\" that an existing path lies on; empty when it lies on none.
std::wstring volumeOf(const std::wstring& path) {
    const std::optional<std::wstring> name = systemPath(path);
    if (!name)
        return {};
    constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const Handle folder(CreateFileW(name->c_str(), 0, kShareAll, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (folder) { // the way through links, junctions and substituted drives
        const DWORD room = GetFinalPathNameByHandleW(folder.get(), nullptr, 0, VOLUME_NAME_GUID);
        std::wstring final(room, L'\0');
        final.resize(GetFinalPathNameByHandleW(folder.get(), final.data(), room, VOLUME_NAME_GUID));
        const std::size_t end = final.find(L"}\\");
        if (final.size() < room && end != std::wstring::npos)
            return final.substr(0, end + 2);
    }
    std::array<wchar_t, kTextLength + 1> root{};
    std::array<wchar_t, kTextLength + 1> volume{};
    if (GetVolumePathNameW(path.c_str(), root.data(), kTextLength) == 0 ||
        GetVolumeNameForVolumeMountPointW(root.data(), volume.data(), kTextLength) == 0)
        return {};
    return volume.data();
}

bool isSameText(const std::wstring& left, const std::wstring& right) {
    return CompareStringOrdinal(left.c_str(), static_cast<int>(left.size()), right.c_str(),
                                static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}

} // namespace

std::vector<Drive> listDrives() {
    const NoPrompts noPrompts;
    std::vector<Drive> drives;
    const DWORD present = GetLogicalDrives();
    for (char letter = 'A'; letter <= 'Z'; ++letter) {
        if (const std::optional<format::VolumeSource> image = letters().find(letter)) {
            if (std::optional<Drive> drive = describeImage(letter, *image))
                drives.push_back(std::move(*drive));
            continue;
        }
        if (!hasBit(present, letter - 'A'))
            continue;
        const UINT type = GetDriveTypeW(rootPath(letter).c_str());
        if (type != DRIVE_REMOVABLE && type != DRIVE_FIXED)
            continue;
        bool isQueryable = false;
        std::optional<Drive> drive = systemDrive(letter, isQueryable);
        if (drive && isQueryable)
            drives.push_back(std::move(*drive));
    }
    return drives;
}

std::optional<Drive> findDrive(char letter) {
    if (letter < 'A' || letter > 'Z')
        return std::nullopt;
    if (const std::optional<format::VolumeSource> image = letters().find(letter))
        return describeImage(letter, *image);
    const NoPrompts noPrompts;
    bool isQueryable = false;
    return systemDrive(letter, isQueryable);
}

std::string fileSystemName(char letter) {
    const std::optional<Drive> drive = findDrive(letter);
    return drive ? drive->fileSystem : std::string();
}

std::optional<char> letterOfDevice(const std::wstring& device) {
    std::wstring text = device;
    for (const std::wstring_view prefix : {L"\\\\.\\", L"\\\\?\\"}) {
        if (text.starts_with(prefix))
            text.erase(0, prefix.size());
    }
    while (!text.empty() && (text.back() == L'\\' || text.back() == L'/'))
        text.pop_back();
    const std::optional<char> letter = letterInDevicePath(L"\\\\.\\" + text);
    if (!letter || (!letters().find(*letter) && !hasBit(GetLogicalDrives(), *letter - 'A')))
        return std::nullopt;
    return letter;
}

bool liesOnDrive(const std::wstring& directory, char letter) {
    if (letters().find(letter))
        return false; // the system cannot mount what we attach
    const NoPrompts noPrompts;
    const std::wstring parent = nearestExisting(directory);
    const std::wstring volume = volumeOf(parent);
    if (volume.empty()) // a drive that has no volume of its own can still be told by its letter
        return isSameText(parent.substr(0, 2), rootPath(letter).substr(0, 2));
    return isSameText(volume, volumeOf(rootPath(letter)));
}

format::LetterTable& letters() {
    static format::LetterTable table(kImageLetterOrder);
    return table;
}

std::optional<char> giveLetter(const format::VolumeSource& source) {
    return letters().assign(source, isImageGone, GetLogicalDrives());
}

PathKind pathKind(const std::wstring& path) {
    const std::optional<std::wstring> name = systemPath(path);
    if (!name)
        return PathKind::Missing;
    if (name->starts_with(L"\\\\.\\"))
        return PathKind::Device;
    const DWORD attributes = GetFileAttributesW(name->c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return PathKind::Missing;
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? PathKind::Folder : PathKind::File;
}

std::wstring absolutePath(const std::wstring& path) {
    const DWORD room = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
    std::wstring full(room, L'\0');
    full.resize(GetFullPathNameW(path.c_str(), room, full.data(), nullptr));
    return full.empty() || full.size() >= room ? path : full;
}

std::wstring lastComponent(const std::wstring& path) {
    return path.substr(path.find_last_of(L"\\/") + 1);
}

std::wstring labelInImage(const std::wstring& /*path*/, std::uint64_t /*offset*/,
                          std::uint64_t /*length*/) {
    return {}; // the system reads labels of mounted volumes only
}

} // namespace platform
