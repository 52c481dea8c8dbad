#include "platform/windows/Volume.h"

#include "platform/windows/Win32.h"

#include <array>
#include <optional>

#include <wnnc.h>

namespace platform {

namespace {

constexpr DWORD kTextLength = MAX_PATH;

Handle openToAsk(const std::wstring& path) {
    const std::optional<std::wstring> name = systemPath(path);
    if (!name)
        return {};
    constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    return Handle(CreateFileW(name->c_str(), 0, kShareAll, nullptr, OPEN_EXISTING,
                              FILE_FLAG_BACKUP_SEMANTICS, nullptr));
}

/// The way through links, junctions and substituted drives; empty when it does not end at a
/// volume of this machine.
std::wstring finalName(HANDLE folder) {
    const DWORD room = GetFinalPathNameByHandleW(folder, nullptr, 0, VOLUME_NAME_GUID);
    std::wstring final(room, L'\0');
    final.resize(GetFinalPathNameByHandleW(folder, final.data(), room, VOLUME_NAME_GUID));
    const std::size_t end = final.find(L"}\\");
    return final.size() < room && end != std::wstring::npos ? final.substr(0, end + 2)
                                                            : std::wstring();
}

/// By the path's spelling, for what cannot be opened.
std::wstring mountedName(const std::wstring& path) {
    std::array<wchar_t, kTextLength + 1> root{};
    std::array<wchar_t, kTextLength + 1> volume{};
    if (GetVolumePathNameW(path.c_str(), root.data(), kTextLength) == 0 ||
        GetVolumeNameForVolumeMountPointW(root.data(), volume.data(), kTextLength) == 0)
        return {};
    return volume.data();
}

bool liesOnShare(HANDLE folder) {
    FILE_REMOTE_PROTOCOL_INFO information{};
    return GetFileInformationByHandleEx(folder, FileRemoteProtocolInfo, &information,
                                        sizeof information) != 0 &&
           information.Protocol == WNNC_NET_SMB;
}

bool isSameText(const std::wstring& left, const std::wstring& right) {
    return left.size() == right.size() && startsWithText(left, right);
}

} // namespace

Volume volumeOf(const std::wstring& path) {
    Volume volume;
    const Handle folder = openToAsk(path);
    if (!folder) {
        volume.isRaw = GetLastError() == ERROR_UNRECOGNIZED_VOLUME;
        volume.name = mountedName(path);
        return volume;
    }
    volume.name = finalName(folder.get());
    if (volume.name.empty())
        volume.name = mountedName(path);
    BY_HANDLE_FILE_INFORMATION information{};
    if (GetFileInformationByHandle(folder.get(), &information) != 0)
        volume.serial = information.dwVolumeSerialNumber;
    volume.isShare = liesOnShare(folder.get());
    return volume;
}

SameVolume isSameVolume(const Volume& folder, const Volume& drive) {
    if (drive.isRaw)
        return SameVolume::No;
    if (!folder.name.empty())
        return isSameText(folder.name, drive.name) ? SameVolume::Yes : SameVolume::No;
    if (!folder.isShare || folder.serial == 0 || drive.serial == 0)
        return SameVolume::Unknown;
    return folder.serial == drive.serial ? SameVolume::Yes : SameVolume::No;
}

} // namespace platform
