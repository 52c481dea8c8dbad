#include "platform/linux/BlockDevices.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <fstream>
#include <iterator>
#include <string_view>

#include <sys/sysmacros.h>

namespace platform {

namespace {

using Path = std::filesystem::path;

constexpr unsigned kRamDiskMajor = 1;
constexpr unsigned kFloppyMajor = 2;
constexpr unsigned kOpticalMajor = 11;
constexpr int kDeepestMapping = 8;

/// sysfs counts sizes in these, whatever the device's own sectors are.
constexpr std::uint64_t kSysfsSectorBytes = 512;

/// The first line of a small file; empty when it cannot be read.
std::string lineOf(const Path& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

template <typename Number>
Number numberIn(std::string_view text) {
    Number number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

template <typename Number>
Number numberOf(const Path& path) {
    return numberIn<Number>(lineOf(path));
}

/// A device number as sysfs writes it: "8:17".
std::optional<dev_t> deviceNumber(std::string_view text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos)
        return std::nullopt;
    return makedev(numberIn<unsigned>(text.substr(0, colon)),
                   numberIn<unsigned>(text.substr(colon + 1)));
}

std::string sysfsName(dev_t number) {
    return std::to_string(major(number)) + ':' + std::to_string(minor(number));
}

bool isThere(const Path& path) {
    std::error_code error;
    return std::filesystem::exists(path, error);
}

/// The entries of a folder; none when it cannot be read.
std::vector<Path> entriesOf(const Path& folder) {
    std::vector<Path> entries;
    std::error_code error;
    for (auto it = std::filesystem::directory_iterator(folder, error);
         !error && it != std::filesystem::directory_iterator(); it.increment(error))
        entries.push_back(it->path());
    return entries;
}

bool isPartition(const Path& folder) {
    return isThere(folder / "partition");
}

bool hasPartitions(const Path& folder) {
    const std::vector<Path> entries = entriesOf(folder);
    return std::any_of(entries.begin(), entries.end(), isPartition);
}

/// What belongs to the whole disk stands in its folder, which a partition's lies in.
Path diskFolder(const Path& folder) {
    return isPartition(folder) ? folder.parent_path() : folder;
}

/// The value of a line "KEY=value" in a uevent file.
std::string ueventValue(const Path& folder, std::string_view key) {
    std::ifstream file(folder / "uevent");
    for (std::string line; std::getline(file, line);) {
        if (line.size() > key.size() && line.starts_with(key) && line[key.size()] == '=')
            return line.substr(key.size() + 1);
    }
    return {};
}

std::uint64_t writeRequests(const Path& folder) {
    constexpr int kFieldsBefore = 4; // the fields on reads
    std::ifstream stat(folder / "stat");
    std::uint64_t field = 0;
    for (int i = 0; i <= kFieldsBefore; ++i)
        stat >> field;
    return stat ? field : 0;
}

/// Orders names as people do: "sdb2" before "sdb10".
bool comesBefore(const std::string& left, const std::string& right) {
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    std::size_t l = 0;
    std::size_t r = 0;
    while (l < left.size() && r < right.size()) {
        if (isDigit(left[l]) && isDigit(right[r])) {
            const auto leftEnd = std::find_if_not(left.begin() + static_cast<std::ptrdiff_t>(l),
                                                  left.end(), isDigit);
            const auto rightEnd = std::find_if_not(right.begin() + static_cast<std::ptrdiff_t>(r),
                                                   right.end(), isDigit);
            const auto leftNumber = numberIn<std::uint64_t>(std::string_view(left).substr(l));
            const auto rightNumber = numberIn<std::uint64_t>(std::string_view(right).substr(r));
            if (leftNumber != rightNumber)
                return leftNumber < rightNumber;
            l = static_cast<std::size_t>(leftEnd - left.begin());
            r = static_cast<std::size_t>(rightEnd - right.begin());
        } else if (left[l] != right[r]) {
            return left[l] < right[r];
        } else {
            ++l;
            ++r;
        }
    }
    return r < right.size(); // left is the start of right
}

/// udev writes what could upset a reader as \x and two hexadecimal digits.
std::string udevDecoded(std::string_view text) {
    constexpr std::size_t kEscapeLength = 4;
    std::string plain;
    for (std::size_t at = 0; at < text.size();) {
        unsigned value = 0;
        if (text.substr(at).starts_with("\\x") && text.size() - at >= kEscapeLength) {
            const char* const digits = text.data() + at + 2;
            const auto [end, error] = std::from_chars(digits, digits + 2, value, 16);
            if (error == std::errc() && end == digits + 2) {
                plain.push_back(static_cast<char>(value));
                at += kEscapeLength;
                continue;
            }
        }
        plain.push_back(text[at++]);
    }
    return plain;
}

/// Hardware fills up its names with spaces.
std::string trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos)
        return {};
    return std::string(text.substr(first, text.find_last_not_of(' ') + 1 - first));
}

} // namespace

BlockDevices::BlockDevices(Path sysfs, Path udevData)
    : sysfs_(std::move(sysfs)), udevData_(std::move(udevData)) {}

std::vector<BlockDevice> BlockDevices::volumes() const {
    std::vector<BlockDevice> found;
    for (const Path& link : entriesOf(sysfs_ / "class" / "block")) {
        std::error_code error;
        const Path folder = std::filesystem::canonical(link, error);
        if (error || lineOf(folder / "hidden") == "1" || lineOf(folder / "dm/suspended") == "1" ||
            (!isPartition(folder) && hasPartitions(folder)))
            continue;
        if (std::optional<BlockDevice> device = describe(folder); device && device->sizeBytes != 0)
            found.push_back(std::move(*device));
    }
    std::sort(found.begin(), found.end(), [](const BlockDevice& left, const BlockDevice& right) {
        return comesBefore(left.name, right.name);
    });
    return found;
}

std::optional<BlockDevice> BlockDevices::find(dev_t number) const {
    const Path folder = folderOf(number);
    return folder.empty() ? std::nullopt : describe(folder);
}

std::optional<dev_t> BlockDevices::diskOf(dev_t partition) const {
    const Path folder = folderOf(partition);
    if (folder.empty() || !isPartition(folder))
        return std::nullopt;
    return deviceNumber(lineOf(folder.parent_path() / "dev"));
}

std::vector<dev_t> BlockDevices::slaves(dev_t number) const {
    std::vector<dev_t> found;
    const Path folder = folderOf(number);
    if (folder.empty())
        return found;
    for (const Path& slave : entriesOf(diskFolder(folder) / "slaves")) {
        if (const std::optional<dev_t> device = deviceNumber(lineOf(slave / "dev")))
            found.push_back(*device);
    }
    return found;
}

std::vector<dev_t> BlockDevices::pool(dev_t number) const {
    std::vector<dev_t> members{number};
    for (const Path& fileSystem : entriesOf(sysfs_ / "fs" / "btrfs")) {
        std::vector<dev_t> found;
        for (const Path& member : entriesOf(fileSystem / "devices")) {
            if (const std::optional<dev_t> device = deviceNumber(lineOf(member / "dev")))
                found.push_back(*device);
        }
        if (std::find(found.begin(), found.end(), number) == found.end())
            continue;
        std::copy_if(found.begin(), found.end(), std::back_inserter(members),
                     [number](dev_t member) { return member != number; });
    }
    return members;
}

std::string BlockDevices::backingFile(dev_t number) const {
    const Path folder = folderOf(number);
    return folder.empty() ? std::string() : lineOf(diskFolder(folder) / "loop/backing_file");
}

std::optional<UdevRecord> BlockDevices::udevRecord(dev_t number) const {
    std::ifstream file(udevData_ / ('b' + sysfsName(number)));
    if (!file)
        return std::nullopt;
    UdevRecord record;
    std::string vendor;
    const auto take = [](std::string_view line,
                         std::string_view key) -> std::optional<std::string> {
        if (!line.starts_with(key))
            return std::nullopt;
        return udevDecoded(line.substr(key.size()));
    };
    for (std::string line; std::getline(file, line);) {
        if (auto type = take(line, "E:ID_FS_TYPE="))
            record.type = std::move(*type);
        else if (auto version = take(line, "E:ID_FS_VERSION="))
            record.version = std::move(*version);
        else if (auto label = take(line, "E:ID_FS_LABEL_ENC="))
            record.label = std::move(*label);
        else if (auto uuid = take(line, "E:ID_FS_UUID_ENC="))
            record.uuid = std::move(*uuid);
        else if (auto maker = take(line, "E:ID_VENDOR_ENC="))
            vendor = trimmed(*maker);
        else if (auto model = take(line, "E:ID_MODEL_ENC="))
            record.model = trimmed(*model);
    }
    if (!vendor.empty() && !record.model.empty())
        record.model.insert(0, vendor + ' ');
    return record;
}

BlockDevices::Path BlockDevices::folderOf(dev_t number) const {
    std::error_code error;
    Path folder = std::filesystem::canonical(sysfs_ / "dev" / "block" / sysfsName(number), error);
    return error ? Path() : folder;
}

std::optional<BlockDevice> BlockDevices::describe(const Path& folder) const {
    const std::optional<dev_t> number = deviceNumber(lineOf(folder / "dev"));
    const std::string node = ueventValue(folder, "DEVNAME");
    if (!number || node.empty())
        return std::nullopt;
    const Path disk = diskFolder(folder);
    BlockDevice device;
    device.number = *number;
    device.name = node;
    device.node = "/dev/" + node;
    if (const std::string mapped = lineOf(folder / "dm/name"); !mapped.empty())
        device.name = mapped;
    device.kind = kindOf(folder, 0);
    device.sizeBytes = numberOf<std::uint64_t>(folder / "size") * kSysfsSectorBytes;
    device.sectorSize = numberOf<std::uint32_t>(disk / "queue/logical_block_size");
    device.diskSequence = numberOf<std::uint64_t>(disk / "diskseq");
    device.writes = writeRequests(disk);
    return device;
}

DriveKind BlockDevices::kindOf(const Path& folder, int depth) const {
    const Path disk = diskFolder(folder);
    const std::optional<dev_t> number = deviceNumber(lineOf(disk / "dev"));
    const unsigned driver = number ? major(*number) : 0;
    if (driver == kRamDiskMajor || driver == kFloppyMajor || driver == kOpticalMajor)
        return DriveKind::Other;
    const bool isOnUsb = std::any_of(disk.begin(), disk.end(), [](const Path& part) {
        const std::string name = part.string(); // "usb2" is the root of a bus
        return name.size() > 3 && name.starts_with("usb") &&
               std::isdigit(static_cast<unsigned char>(name[3])) != 0;
    });
    // A card in a slot of its own, other than the soldered kind ("MMC").
    const bool isCard = lineOf(disk / "device/type") == "SD";
    if (isOnUsb || isCard || lineOf(disk / "removable") == "1")
        return DriveKind::Removable;
    if (depth < kDeepestMapping) {
        for (const Path& slave : entriesOf(disk / "slaves")) {
            std::error_code error;
            const Path slaveFolder = std::filesystem::canonical(slave, error);
            if (!error && kindOf(slaveFolder, depth + 1) == DriveKind::Removable)
                return DriveKind::Removable;
        }
    }
    return DriveKind::Fixed;
}

} // namespace platform
