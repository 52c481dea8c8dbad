#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

enum class SameVolume { No, Yes, Unknown };

/// What tells a mounted volume from the others.
struct Volume {
    /// "\\?\Volume{...}\". Empty for what lies on another machine, a share of this one, or a
    /// driver that keeps its volumes to itself, as those of encrypted containers do.
    std::wstring name = {};
    /// That of the file system; 0 when it has none or does not tell.
    std::uint32_t serial = 0;
    /// Reached as a share over SMB, which gives the serial number of the volume behind it.
    bool isShare = false;
    /// No file system is mounted on it, so that no path leads to it.
    bool isRaw = false;
    /// Of a virtual disk: the names of the volumes that its file lies on, those included that such
    /// a volume, being virtual itself, lies on. Empty names are of volumes elsewhere.
    std::vector<std::wstring> hosts = {};
};

/// The volume that an existing path lies on, wherever links, junctions, substituted drives and
/// shares lead.
[[nodiscard]] Volume volumeOf(const std::wstring& path);

/// Whether what is written to `folder` is written to `drive`, a drive of this machine.
[[nodiscard]] SameVolume isSameVolume(const Volume& folder, const Volume& drive);

} // namespace platform
