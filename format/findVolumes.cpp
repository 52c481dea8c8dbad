#include "format/findVolumes.h"

#include "format/BiosParameterBlock.h"
#include "format/BootSector.h"
#include "format/ExFatBootSector.h"
#include "format/LittleEndian.h"
#include "format/NtfsBootSector.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace format {

namespace {

constexpr std::uint64_t kSector = 512;
constexpr std::uint64_t kLargestSector = 4096;
constexpr std::uint64_t kTrack = 63 * kSector; ///< Before the first volume, formerly.
constexpr std::uint64_t kAlignment = 1024ULL * 1024;
constexpr int kMostPlaces = 16384;

/// Where copies of boot sectors lie: mostly that of FAT32, and that of exFAT.
constexpr std::array<std::uint64_t, 2> kCopySectors{6, 12};

constexpr std::size_t kEndMark = 510; // u16
constexpr std::uint16_t kEndMarkValue = 0xAA55;

using Sector = std::array<std::uint8_t, kBootSectorBytes>;

/// What a boot sector, or a copy of it, says of its volume.
struct Boot {
    std::string_view fileSystem;
    std::uint64_t sectorBytes = 0;
    std::uint64_t sectors = 0;   ///< Of the whole volume.
    std::uint64_t unitBytes = 0; ///< Of what these are counted in:
    /// Where the volume has to have `mark`: one of these will do, and 0 is none.
    std::array<std::uint64_t, 2> marked{};
    std::string mark;
};

/// A FAT begins with the number of its medium, and ones.
std::string startOfFat(std::uint8_t medium) {
    return {static_cast<char>(medium), '\xFF'};
}

std::optional<Boot> decode(const Sector& bytes, const VolumeFormat& format) {
    Boot boot{format.fileSystem, format.sectorSize, 0, format.sectorSize, {}, {}};
    if (boot.fileSystem == "NTFS") {
        const auto ntfs = NtfsBootSector::decode(bytes);
        if (!ntfs)
            return std::nullopt;
        boot.sectors = ntfs->totalSectors + 1; // The copy of the boot sector.
        boot.unitBytes *= ntfs->clusterSectors();
        boot.marked = {ntfs->mftLcn, ntfs->mftMirrorLcn};
        boot.mark = "FILE";
    } else if (boot.fileSystem == "exFAT") {
        const auto exfat = ExFatBootSector::decode(bytes);
        if (!exfat)
            return std::nullopt;
        constexpr std::uint8_t kFixedDisk = 0xF8;
        boot.sectors = exfat->volumeSectors;
        boot.marked = {exfat->fatSector};
        boot.mark = startOfFat(kFixedDisk);
    } else {
        const BiosParameterBlock fat =
            BiosParameterBlock::decode(std::span(bytes).first<BiosParameterBlock::kBytes>());
        boot.sectors = fat.totalSectors();
        boot.marked = {fat.reservedSectors};
        boot.mark = startOfFat(fat.mediaDescriptor);
    }
    return boot;
}

class VolumeSearch {
public:
    VolumeSearch(const ReadDisk& read, std::uint64_t size) : read_(read), size_(size) {}

    std::vector<Partition> run() {
        lookAt(0);
        lookAt(kTrack);
        for (std::uint64_t place = kAlignment; place < size_ && placesLeft_ > 0;
             place += kAlignment) {
            // What begins right behind a volume need not be aligned.
            for (const std::uint64_t behind : {end_, end_ + kTrack}) {
                if (end_ != 0 && behind + kAlignment > place && behind < place)
                    lookAt(behind);
            }
            lookAt(place);
            lookBefore(place);
        }
        lookBefore(size_);
        for (std::size_t i = 0; i < found_.size(); ++i)
            found_[i].number = static_cast<int>(i) + 1;
        return std::move(found_);
    }

private:
    /// Looks for a volume that begins here, unless one lies here.
    void lookAt(std::uint64_t place) {
        if (place < end_ || placesLeft_ == 0)
            return;
        --placesLeft_;
        std::optional<Boot> boot = bootAt(place);
        if (boot && isTrue(*boot, place)) {
            add(place, *boot);
            return;
        }
        for (const std::uint64_t copy : kCopySectors) {
            boot = bootAt(place + copy * kSector);
            const bool isFat = copy == kCopySectors.front();
            if (boot && boot->sectorBytes == kSector &&
                boot->fileSystem == (isFat ? "FAT32" : "exFAT") && isTrue(*boot, place)) {
                add(place, *boot);
                return;
            }
        }
    }

    /// Looks for an NTFS volume that ends here, by the copy in its last sector.
    void lookBefore(std::uint64_t place) {
        for (std::uint64_t sector = kSector; sector <= kLargestSector; sector *= 2) {
            if (place < end_ + sector)
                return;
            const std::optional<Boot> boot = bootAt(place - sector);
            if (!boot || boot->fileSystem != "NTFS" || boot->sectorBytes != sector ||
                boot->sectors > place / sector)
                continue;
            const std::uint64_t start = place - boot->sectors * sector;
            if (!isTrue(*boot, start))
                continue;
            // What seemed to be volumes lies inside of it.
            std::erase_if(found_, [start](const Partition& one) { return one.offset >= start; });
            if (found_.empty() || found_.back().offset + found_.back().length <= start)
                add(start, *boot);
        }
    }

    void add(std::uint64_t start, const Boot& boot) {
        const std::uint64_t most = size_ - start;
        const std::uint64_t sectors = std::min(boot.sectors, most / boot.sectorBytes);
        found_.push_back({0, start, sectors * boot.sectorBytes});
        end_ = start + sectors * boot.sectorBytes;
    }

    [[nodiscard]] std::optional<Boot> bootAt(std::uint64_t place) const {
        Sector bytes{};
        if (place > size_ || size_ - place < kSector || !read_(place, bytes) ||
            loadLe<std::uint16_t>(bytes.data() + kEndMark) != kEndMarkValue)
            return std::nullopt;
        const std::optional<VolumeFormat> format = identifyVolume(bytes);
        if (!format || format->sectorSize == 0)
            return std::nullopt;
        std::optional<Boot> boot = decode(bytes, *format);
        return boot && boot->sectors > 1 ? boot : std::nullopt;
    }

    /// Whether a volume that begins at `start` has what its boot sector says.
    [[nodiscard]] bool isTrue(const Boot& boot, std::uint64_t start) const {
        return std::any_of(boot.marked.begin(), boot.marked.end(), [&](std::uint64_t unit) {
            return holds(start, unit, boot.unitBytes, boot.mark);
        });
    }

    /// Whether `text` lies at the start of a unit of a volume.
    [[nodiscard]] bool holds(std::uint64_t start, std::uint64_t unit, std::uint64_t unitBytes,
                             std::string_view text) const {
        if (unitBytes == 0 || unit == 0 || unit >= (size_ - start) / unitBytes)
            return false;
        std::array<std::uint8_t, kSector> bytes{};
        return read_(start + unit * unitBytes, bytes) &&
               std::equal(text.begin(), text.end(), bytes.begin(), [](char c, std::uint8_t byte) {
                   return static_cast<std::uint8_t>(c) == byte;
               });
    }

    const ReadDisk& read_;
    std::uint64_t size_;
    std::vector<Partition> found_;
    std::uint64_t end_ = 0; ///< Of the last volume.
    int placesLeft_ = kMostPlaces;
};

} // namespace

std::vector<Partition> findVolumes(const ReadDisk& read, std::uint64_t size) {
    return VolumeSearch(read, size).run();
}

} // namespace format
