#include "platform/linux/Probe.h"

#include "format/BootSector.h"
#include "platform/linux/Descriptor.h"

#include <array>
#include <cerrno>
#include <memory>
#include <string_view>

#include <blkid.h>
#include <fcntl.h>

namespace platform {

namespace {

struct FreeProbe {
    void operator()(blkid_probe probe) const { blkid_free_probe(probe); }
};

using Probe = std::unique_ptr<std::remove_pointer_t<blkid_probe>, FreeProbe>;

std::string valueOf(const Probe& probe, const char* name) {
    const char* value = nullptr;
    if (blkid_probe_lookup_value(probe.get(), name, &value, nullptr) != 0 || value == nullptr)
        return {};
    return value;
}

std::string windowsName(std::string_view type, std::string_view version) {
    if (type == "ntfs")
        return "NTFS";
    if (type == "exfat")
        return "exFAT";
    if (type == "vfat")
        return version == "FAT32" ? "FAT32" : "FAT";
    return {};
}

} // namespace

ProbedVolume probeVolume(int fd, std::uint64_t offset, std::uint64_t length) {
    ProbedVolume volume;
    std::array<std::uint8_t, format::kBootSectorBytes> bytes{};
    int failure = 0;
    std::optional<format::VolumeFormat> found;
    if (readFully(fd, offset, bytes.data(), bytes.size(), failure) ==
        static_cast<std::int64_t>(bytes.size()))
        found = format::identifyVolume(bytes);

    const Probe probe(blkid_new_probe());
    if (!probe || blkid_probe_set_device(probe.get(), fd, static_cast<blkid_loff_t>(offset),
                                         static_cast<blkid_loff_t>(length)) != 0)
        return volume;
    blkid_probe_enable_superblocks(probe.get(), 1);
    blkid_probe_set_superblocks_flags(probe.get(), BLKID_SUBLKS_TYPE | BLKID_SUBLKS_VERSION |
                                                       BLKID_SUBLKS_LABEL | BLKID_SUBLKS_UUID);
    constexpr int kFound = 0; // 1: nothing, -2: traces of several, below 0: failed
    if (blkid_do_safeprobe(probe.get()) == kFound) {
        volume.fileSystem = windowsName(valueOf(probe, "TYPE"), valueOf(probe, "VERSION"));
        volume.label = valueOf(probe, "LABEL");
        volume.uuid = valueOf(probe, "UUID");
    } else if (found) {
        volume.fileSystem = found->fileSystem;
    } else {
        const auto read = [fd, offset](std::uint64_t at, std::span<std::uint8_t> into) {
            int error = 0;
            return readFully(fd, offset + at, into.data(), into.size(), error) ==
                   static_cast<std::int64_t>(into.size());
        };
        found = format::identifyByCopy(
            read,
            length != 0 ? length : static_cast<std::uint64_t>(blkid_probe_get_size(probe.get())));
        volume.hasOnlyCopy = found.has_value();
    }
    if (found)
        volume.sectorSize = found->sectorSize;
    return volume;
}

ProbedVolume probeDevice(const BlockDevice& device, const BlockDevices& devices) {
    const Descriptor node = openPath(device.node, O_RDONLY);
    if (node)
        return probeVolume(node.get(), 0, 0);
    ProbedVolume volume;
    if (errno != EACCES && errno != EPERM)
        return volume;
    if (std::optional<UdevRecord> record = devices.udevRecord(device.number)) {
        volume.fileSystem = windowsName(record->type, record->version);
        volume.label = std::move(record->label);
        volume.uuid = std::move(record->uuid);
    }
    return volume;
}

} // namespace platform
