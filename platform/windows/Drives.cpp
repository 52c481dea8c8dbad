#include "platform/Drives.h"

#include "format/WideText.h"
#include "platform/Images.h"
#include "platform/System.h"
#include "platform/windows/Volume.h"
#include "platform/windows/Win32.h"

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

/// Of a volume by its "\\?\Volume{...}\"; nothing when it has none.
std::optional<char> letterOfVolume(const std::wstring& name) {
    // Each place that it is mounted in, and an end.
    std::vector<wchar_t> places(kTextLength + 1);
    DWORD needed = 0;
    while (GetVolumePathNamesForVolumeNameW(name.c_str(), places.data(),
                                            static_cast<DWORD>(places.size()), &needed) == 0) {
        if (GetLastError() != ERROR_MORE_DATA || needed <= places.size())
            return std::nullopt;
        places.resize(needed);
    }
    for (const wchar_t* place = places.data(); *place != L'\0'; place += wcslen(place) + 1) {
        const std::wstring_view root(place);
        if (root.size() == rootPath('A').size())
            return letterInDevicePath(L"\\\\.\\" + std::wstring(root.substr(0, 2)));
    }
    return std::nullopt;
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
    const char capital = capitalLetter(letter);
    if (capital < 'A' || capital > 'Z')
        return std::nullopt;
    if (const std::optional<format::VolumeSource> image = letters().find(capital))
        return describeImage(capital, *image);
    const NoPrompts noPrompts;
    bool isQueryable = false;
    return systemDrive(capital, isQueryable);
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
    if (startsWithText(text, L"Volume{"))
        return letterOfVolume(L"\\\\?\\" + text + L'\\');
    const std::optional<char> letter = letterInDevicePath(L"\\\\.\\" + text);
    if (!letter || (!letters().find(*letter) && !hasBit(GetLogicalDrives(), *letter - 'A')))
        return std::nullopt;
    return letter;
}

bool liesOnDrive(const std::wstring& directory, char letter) {
    const char capital = capitalLetter(letter);
    if (letters().find(capital))
        return false; // the system cannot mount what we attach
    const NoPrompts noPrompts;
    const std::wstring parent = nearestExisting(directory);
    if (pathKind(parent) == PathKind::Missing)
        return false; // nothing can be written where there is nothing
    return isSameVolume(volumeOf(parent), volumeOf(rootPath(capital))) != SameVolume::No;
}

std::wstring unknownPlace(const std::wstring& /*directory*/) {
    return {}; // what is in doubt counts as the drive itself
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
    if (deviceName(path))
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
