#include "platform/windows/Volume.h"

#include "platform/windows/Win32.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <span>

#include <virtdisk.h>
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

/// The volumes that the file of a virtual disk lies on; none for any other disk. `name`:
/// "\\?\Volume{...}\".
std::vector<std::wstring> hostsOf(const std::wstring& name) {
    const std::optional<std::wstring> device = deviceName(name);
    if (!device)
        return {};
    constexpr DWORD kShare = FILE_SHARE_READ | FILE_SHARE_WRITE;
    const Handle volume(CreateFileW(device->c_str(), GENERIC_READ, kShare, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!volume)
        return {};
    constexpr std::size_t kRoom = std::size_t{64} * 1024; // of the entries and their texts
    std::vector<std::uint64_t> room(kRoom / sizeof(std::uint64_t));
    auto* const found = reinterpret_cast<STORAGE_DEPENDENCY_INFO*>(room.data());
    found->Version = STORAGE_DEPENDENCY_INFO_VERSION_2;
    ULONG used = 0;
    const DWORD failure = GetStorageDependencyInformation(
        volume.get(), GET_STORAGE_DEPENDENCY_FLAG_HOST_VOLUMES, kRoom, found, &used);
    if (failure != ERROR_SUCCESS)
        return {};
    std::vector<std::wstring> hosts;
    for (const auto& entry : std::span(found->Version2Entries, found->NumberEntries))
        hosts.emplace_back(entry.HostVolumeName != nullptr ? entry.HostVolumeName : L"");
    return hosts;
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
    volume.hosts = hostsOf(volume.name);
    BY_HANDLE_FILE_INFORMATION information{};
    if (GetFileInformationByHandle(folder.get(), &information) != 0)
        volume.serial = information.dwVolumeSerialNumber;
    volume.isShare = liesOnShare(folder.get());
    return volume;
}

SameVolume isSameVolume(const Volume& folder, const Volume& drive) {
    if (drive.isRaw)
        return SameVolume::No;
    const auto isDrive = [&drive](const std::wstring& name) {
        return isSameText(name, drive.name);
    };
    if (!folder.name.empty()) {
        if (isDrive(folder.name) || std::any_of(folder.hosts.begin(), folder.hosts.end(), isDrive))
            return SameVolume::Yes;
        return std::count(folder.hosts.begin(), folder.hosts.end(), L"") == 0 ? SameVolume::No
                                                                              : SameVolume::Unknown;
    }
    if (!folder.isShare || folder.serial == 0 || drive.serial == 0)
        return SameVolume::Unknown;
    return folder.serial == drive.serial ? SameVolume::Yes : SameVolume::No;
}

} // namespace platform
