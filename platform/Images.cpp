#include "platform/Images.h"

#include "format/BootSector.h"
#include "format/PartitionTable.h"
#include "format/findVolumes.h"
#include "platform/File.h"
#include "platform/System.h"

#include <array>
#include <map>
#include <mutex>

namespace platform {

namespace {

constexpr std::uint32_t kUsualSectorSize = 512;

/// The sizes of sector that disks, and so the units of partition tables, have.
constexpr std::array<std::uint32_t, 2> kDiskSectorSizes{512, 4096};

std::optional<format::VolumeFormat> identifyIn(File& image, std::uint64_t offset) {
    std::array<std::uint8_t, format::kBootSectorBytes> bytes{};
    const std::int64_t got =
        image.readAt(static_cast<std::int64_t>(offset), bytes.data(), bytes.size());
    if (got != static_cast<std::int64_t>(bytes.size()))
        return std::nullopt;
    return format::identifyVolume(bytes);
}

/// Keeps every attached image open: some file systems, FAT among them, give a file another
/// identity each time it is opened anew.
class OpenImages {
public:
    void keep(const FileIdentity& identity, File file) {
        const std::scoped_lock lock(mutex_);
        files_.insert_or_assign(identity, std::move(file));
    }

    void letGo(const FileIdentity& identity) {
        const std::scoped_lock lock(mutex_);
        files_.erase(identity);
    }

private:
    std::mutex mutex_;
    std::map<FileIdentity, File> files_;
};

OpenImages& openImages() {
    static OpenImages images;
    return images;
}

bool openToRead(File& file, const std::wstring& path) {
    return file.open(path, static_cast<std::uint32_t>(Disposition::OpenExisting), kGenericRead);
}

/// What the volume in `length` bytes of the image from `offset` on is by the copy of its boot
/// sector.
std::optional<format::VolumeFormat> identifyCopyIn(File& image, std::uint64_t offset,
                                                   std::uint64_t length) {
    const auto read = [&image, offset](std::uint64_t at, std::span<std::uint8_t> bytes) {
        return image.readAt(static_cast<std::int64_t>(offset + at), bytes.data(), bytes.size()) ==
               static_cast<std::int64_t>(bytes.size());
    };
    return format::identifyByCopy(read, length);
}

format::ReadDisk readerOf(File& image) {
    return [&image](std::uint64_t offset, std::span<std::uint8_t> bytes) {
        return image.readAt(static_cast<std::int64_t>(offset), bytes.data(), bytes.size()) ==
               static_cast<std::int64_t>(bytes.size());
    };
}

/// The partitions that hold NTFS, FAT or exFAT, by their boot sectors or copies of these;
/// `hasTable` tells whether there is a partition table at all.
std::vector<format::Partition> scannablePartitions(File& image, std::uint64_t size,
                                                   bool& hasTable) {
    const format::ReadDisk read = readerOf(image);
    hasTable = false;
    for (const std::uint32_t sectorSize : kDiskSectorSizes) {
        format::PartitionTable table = format::readPartitionTable(read, size, sectorSize);
        hasTable = hasTable || table.kind != format::TableKind::None;
        std::erase_if(table.partitions, [&image](const format::Partition& partition) {
            return !identifyIn(image, partition.offset) &&
                   !identifyCopyIn(image, partition.offset, partition.length);
        });
        if (!table.partitions.empty())
            return table.partitions;
    }
    return {};
}

/// The volumes of an image that has no partition table, or none that leads to any; nothing when
/// it is itself one, as far as its start tells.
std::vector<format::Partition> lostPartitions(File& image, std::uint64_t size) {
    if (identifyIn(image, 0))
        return {};
    std::vector<format::Partition> found = format::findVolumes(readerOf(image), size);
    if (!found.empty() && found.front().offset == 0)
        found.clear();
    return found;
}

std::vector<format::Partition> wholeImage(File& image) {
    return {{0, 0, static_cast<std::uint64_t>(image.size())}};
}

/// The volumes of an image, itself when it seems to have no partitions; none when these hold
/// nothing that can be read.
std::vector<format::Partition> volumesIn(File& image, AttachResult& result) {
    const auto size = static_cast<std::uint64_t>(image.size());
    bool hasTable = false;
    std::vector<format::Partition> partitions = scannablePartitions(image, size, hasTable);
    if (!partitions.empty())
        return partitions;
    partitions = lostPartitions(image, size);
    result.tableIsLost = !partitions.empty();
    if (!partitions.empty() ||
        (hasTable && !identifyIn(image, 0) && !identifyCopyIn(image, 0, size)))
        return partitions;
    return wholeImage(image);
}

AttachResult failure(std::wstring words, bool accessDenied = false) {
    AttachResult result;
    result.error = std::move(words);
    result.accessDenied = accessDenied;
    return result;
}

} // namespace

AttachResult attachImage(const std::wstring& path, ImageParts parts) {
    switch (pathKind(path)) {
    case PathKind::Folder:
        return failure(L"This is a folder, not a disk image.");
    case PathKind::Device:
        return failure(L"This is a device, not a disk image.");
    case PathKind::Missing:
    case PathKind::File:
        break;
    }
    File image;
    format::VolumeSource source;
    source.isImage = true;
    source.path = absolutePath(path);
    const std::int64_t size = openToRead(image, path) ? image.size() : -1;
    if (size < 0 || !image.identity(source.identity)) {
        if (image.failure().kind == Error::NotFound)
            return failure(L"There is no such file.");
        return failure(L"The image cannot be opened: " + image.failure().words,
                       image.failure().kind == Error::AccessDenied);
    }
    if (size == 0)
        return failure(L"The image is empty.");

    AttachResult result;
    const std::vector<format::Partition> partitions =
        parts == ImageParts::Whole ? wholeImage(image) : volumesIn(image, result);
    if (partitions.empty()) {
        result.error = L"None of the partitions in this image holds NTFS, FAT or exFAT.";
        result.holdsOthersOnly = true;
        return result;
    }
    if (partitions.front().number == 0 && image.failure().kind != Error::None)
        return failure(L"The image cannot be read: " + image.failure().words);

    openImages().keep(source.identity, std::move(image));
    for (const format::Partition& partition : partitions) {
        source.offset = partition.offset;
        source.length = partition.length;
        source.partition = partition.number;
        const std::optional<char> letter = giveLetter(source);
        if (!letter)
            return failure(L"Every drive letter is taken.");
        std::optional<Drive> drive = describeImage(*letter, source);
        if (!drive)
            return failure(L"The image cannot be read.");
        result.drives.push_back(std::move(*drive));
    }
    return result;
}

std::optional<Drive> describeImage(char letter, const format::VolumeSource& source) {
    File image;
    FileIdentity identity;
    if (!openToRead(image, source.path) || !image.identity(identity) ||
        identity != source.identity) {
        if (isImageGone(source))
            openImages().letGo(source.identity); // so that its room on the drive becomes free
        return std::nullopt;
    }
    const std::optional<format::VolumeFormat> found = identifyIn(image, source.offset);
    const format::VolumeFormat format =
        found
            ? *found
            : identifyCopyIn(image, source.offset, source.length).value_or(format::VolumeFormat{});
    Drive drive;
    drive.letter = letter;
    drive.kind = DriveKind::Fixed;
    drive.volumeName = labelInImage(source.path, source.offset, source.length);
    if (drive.volumeName.empty()) {
        drive.volumeName = lastComponent(source.path);
        if (source.partition != 0)
            drive.volumeName += L" " + std::to_wstring(source.partition);
    }
    if (found)
        drive.fileSystem = found->fileSystem;
    drive.sectorSize = format.sectorSize != 0 ? format.sectorSize : kUsualSectorSize;
    drive.sizeBytes = source.length;
    drive.device = source.path;
    drive.isImage = true;
    drive.partition = source.partition;
    return drive;
}

bool isImageGone(const format::VolumeSource& source) {
    File image;
    FileIdentity identity;
    if (!openToRead(image, source.path))
        return image.failure().kind == Error::NotFound;
    return image.identity(identity) && identity != source.identity;
}

bool isImageFile(const std::wstring& path, char letter) {
    const std::optional<format::VolumeSource> source = letters().find(capitalLetter(letter));
    File file;
    FileIdentity identity;
    return source && source->isImage &&
           file.open(path, static_cast<std::uint32_t>(Disposition::OpenExisting), 0) &&
           file.identity(identity) && identity == source->identity;
}

std::optional<char> letterInDevicePath(const std::wstring& path) {
    constexpr std::wstring_view kPrefix = L"\\\\.\\";
    constexpr std::size_t kLength = kPrefix.size() + 2; // the letter and a colon
    if (path.size() != kLength || !path.starts_with(kPrefix) || path.back() != L':')
        return std::nullopt;
    const wchar_t given = path[kPrefix.size()];
    const char letter = given <= L'z' ? capitalLetter(static_cast<char>(given)) : '\0';
    return letter >= 'A' && letter <= 'Z' ? std::optional(letter) : std::nullopt;
}

} // namespace platform
