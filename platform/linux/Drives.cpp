#include "platform/Drives.h"

#include "format/WideText.h"
#include "platform/Images.h"
#include "platform/System.h"
#include "platform/linux/BlockDevices.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/Mounts.h"
#include "platform/linux/Probe.h"
#include "platform/linux/Sources.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>

#include <fcntl.h>
#include <sys/stat.h>

namespace platform {

namespace {

/// The first two stand for floppy drives with everyone, so they come last.
constexpr std::string_view kLetterOrder = "CDEFGHIJKLMNOPQRSTUVWXYZAB";

const BlockDevices& blockDevices() {
    static const BlockDevices devices;
    return devices;
}

FileIdentity identityOf(const BlockDevice& device) {
    return {device.number, device.diskSequence};
}

/// Remembers what was found on each device until its medium changes or something is written, so
/// that a list made every other second leaves the devices in peace.
class ProbeCache {
public:
    ProbedVolume probe(const BlockDevice& device) {
        const State now{device.diskSequence, device.sizeBytes, device.writes};
        {
            const std::scoped_lock lock(mutex_);
            const auto known = known_.find(device.number);
            if (known != known_.end() && known->second.state == now)
                return known->second.volume;
        }
        // Outside the lock: a failing device may take its time.
        ProbedVolume volume = probeDevice(device, blockDevices());
        if (::access(device.node.c_str(), R_OK) == 0) {
            const std::scoped_lock lock(mutex_);
            known_[device.number] = {now, volume};
        }
        return volume;
    }

private:
    struct State {
        std::uint64_t diskSequence = 0;
        std::uint64_t sizeBytes = 0;
        std::uint64_t writes = 0;
        friend bool operator==(const State&, const State&) = default;
    };

    struct Known {
        State state;
        ProbedVolume volume;
    };

    std::mutex mutex_;
    std::map<dev_t, Known> known_;
};

ProbeCache& probeCache() {
    static ProbeCache cache;
    return cache;
}

format::VolumeSource sourceOf(const BlockDevice& device, const ProbedVolume& volume) {
    format::VolumeSource source;
    source.identity = identityOf(device);
    source.path = format::wideFromUtf8(device.node);
    if (!volume.uuid.empty())
        source.fingerprint =
            volume.fileSystem + ' ' + volume.uuid + ' ' + std::to_string(device.sizeBytes);
    return source;
}

Drive driveOf(char letter, const BlockDevice& device, const ProbedVolume& volume) {
    Drive drive;
    drive.letter = letter;
    drive.kind = device.kind;
    drive.volumeName = format::wideFromUtf8(volume.label.empty() ? device.name : volume.label);
    drive.fileSystem = volume.fileSystem;
    drive.sectorSize = volume.sectorSize != 0 ? volume.sectorSize : device.sectorSize;
    drive.sizeBytes = device.sizeBytes;
    drive.device = format::wideFromUtf8(device.node);
    if (const std::optional<UdevRecord> record = blockDevices().udevRecord(device.number))
        drive.model = format::wideFromUtf8(record->model);
    return drive;
}

/// The device that a letter was given to, while it is there.
std::optional<BlockDevice> presentDevice(const format::VolumeSource& source) {
    std::optional<BlockDevice> device =
        blockDevices().find(static_cast<dev_t>(source.identity.device));
    if (!device || device->sizeBytes == 0 || identityOf(*device) != source.identity)
        return std::nullopt;
    return device;
}

/// Gives letters to the devices that hold a file system of ours and returns their drives.
std::vector<Drive> deviceDrives() {
    std::vector<Drive> drives;
    for (const BlockDevice& device : blockDevices().volumes()) {
        if (device.kind == DriveKind::Other)
            continue;
        const ProbedVolume volume = probeCache().probe(device);
        if (volume.fileSystem.empty() && !volume.hasOnlyCopy)
            continue;
        if (const std::optional<char> letter = giveLetter(sourceOf(device, volume)))
            drives.push_back(driveOf(*letter, device, volume));
    }
    return drives;
}

/// What stands behind a letter. Letters are given in the order of the list, so a letter that is
/// not known yet is looked for by making one.
std::optional<format::VolumeSource> sourceBehind(char letter) {
    std::optional<format::VolumeSource> source = letters().find(letter);
    if (!source) {
        deviceDrives();
        source = letters().find(letter);
    }
    return source;
}

bool isGone(const format::VolumeSource& source) {
    return source.isImage ? isImageGone(source) : !presentDevice(source);
}

} // namespace

std::vector<Drive> listDrives() {
    std::vector<Drive> drives = deviceDrives();
    for (const auto& [letter, source] : letters().all()) {
        if (!source.isImage)
            continue;
        if (std::optional<Drive> drive = describeImage(letter, source))
            drives.push_back(std::move(*drive));
    }
    std::sort(drives.begin(), drives.end(),
              [](const Drive& left, const Drive& right) { return left.letter < right.letter; });
    return drives;
}

std::optional<Drive> findDrive(char letter) {
    const char capital = capitalLetter(letter);
    const std::optional<format::VolumeSource> source = sourceBehind(capital);
    if (!source)
        return std::nullopt;
    if (source->isImage)
        return describeImage(capital, *source);
    const std::optional<BlockDevice> device = presentDevice(*source);
    if (!device)
        return std::nullopt;
    return driveOf(capital, *device, probeDevice(*device, blockDevices()));
}

std::string fileSystemName(char letter) {
    const std::optional<Drive> drive = findDrive(letter);
    return drive ? drive->fileSystem : std::string();
}

std::optional<char> letterOfDevice(const std::wstring& device) {
    const std::optional<std::string> path = systemPath(device);

    struct stat status {};

    if (!path || ::stat(path->c_str(), &status) != 0 || !S_ISBLK(status.st_mode))
        return std::nullopt;
    const std::optional<BlockDevice> found = blockDevices().find(status.st_rdev);
    if (!found)
        return std::nullopt;
    return giveLetter(sourceOf(*found, probeDevice(*found, blockDevices())));
}

bool liesOnDrive(const std::wstring& directory, char letter) {
    const std::optional<format::VolumeSource> source = sourceBehind(capitalLetter(letter));
    const std::optional<std::string> path = systemPath(directory);
    if (!source || !path)
        return false;
    const WriteTargets targets = writeTargets(nearestExisting(*path), blockDevices());
    if (!source->isImage)
        return reachesDevice(targets, static_cast<dev_t>(source->identity.device), blockDevices());
    return std::find(targets.images.begin(), targets.images.end(), source->identity) !=
           targets.images.end();
}

std::wstring unknownPlace(const std::wstring& directory) {
    const std::optional<std::string> path = systemPath(directory);
    if (!path)
        return {};
    return format::wideFromUtf8(writeTargets(nearestExisting(*path), blockDevices()).unresolved);
}

std::optional<FileIdentity> deviceIdentity(dev_t number) {
    const std::optional<BlockDevice> device = blockDevices().find(number);
    if (!device || device->sizeBytes == 0)
        return std::nullopt;
    return identityOf(*device);
}

std::optional<format::LetterTable::Held> holdLetter(char letter) {
    if (!sourceBehind(letter))
        return std::nullopt;
    return letters().hold(letter);
}

format::LetterTable& letters() {
    static format::LetterTable table(kLetterOrder);
    return table;
}

std::optional<char> giveLetter(const format::VolumeSource& source) {
    return letters().assign(source, isGone);
}

PathKind pathKind(const std::wstring& path) {
    const std::optional<std::string> name = systemPath(path);

    struct stat status {};

    if (!name || ::stat(name->c_str(), &status) != 0)
        return PathKind::Missing;
    if (S_ISREG(status.st_mode))
        return PathKind::File;
    return S_ISDIR(status.st_mode) ? PathKind::Folder : PathKind::Device;
}

std::wstring absolutePath(const std::wstring& path) {
    const std::optional<std::string> name = systemPath(path);
    const std::unique_ptr<char, decltype(&std::free)> resolved(
        name ? ::realpath(name->c_str(), nullptr) : nullptr, &std::free);
    return resolved ? format::wideFromUtf8(resolved.get()) : path;
}

std::wstring lastComponent(const std::wstring& path) {
    return path.substr(path.find_last_of(L'/') + 1);
}

std::wstring labelInImage(const std::wstring& path, std::uint64_t offset, std::uint64_t length) {
    const std::optional<std::string> name = systemPath(path);
    const Descriptor image = name ? openPath(*name, O_RDONLY) : Descriptor();
    return image ? format::wideFromUtf8(probeVolume(image.get(), offset, length).label)
                 : std::wstring();
}

} // namespace platform
