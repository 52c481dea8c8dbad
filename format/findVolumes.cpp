#include "format/findVolumes.h"

#include "format/BiosParameterBlock.h"
#include "format/BootSector.h"
#include "format/LittleEndian.h"

#include <algorithm>
#include <array>
#include <bit>
#include <optional>
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

// NTFS and exFAT.
constexpr std::size_t kNtfsClusterSectors = 13; // u8, above 128 the negated power of two
constexpr std::size_t kNtfsSectors = 40;        // u64, without the copy behind them
constexpr std::size_t kNtfsMft = 48;            // u64, cluster
constexpr std::size_t kNtfsMftMirror = 56;      // u64, cluster
constexpr std::size_t kExfatSectors = 72;       // u64
constexpr std::size_t kExfatFat = 80;           // u32, sector

using Sector = std::array<std::uint8_t, kBootSectorBytes>;

/// What a boot sector, or a copy of it, says of its volume.
struct Boot {
    Sector bytes{};
    std::string_view fileSystem;
    std::uint64_t sectorBytes = 0;

    [[nodiscard]] std::uint64_t at(std::size_t offset) const {
        return loadLe<std::uint64_t>(bytes.data() + offset);
    }

    [[nodiscard]] BiosParameterBlock block() const { return BiosParameterBlock::decode(bytes); }

    /// Sectors of the whole volume.
    [[nodiscard]] std::uint64_t sectors() const {
        if (fileSystem == "NTFS")
            return at(kNtfsSectors) + 1;
        return fileSystem == "exFAT" ? at(kExfatSectors) : block().totalSectors();
    }
};

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
                boot->sectors() > place / sector)
                continue;
            const std::uint64_t start = place - boot->sectors() * sector;
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
        const std::uint64_t sectors = std::min(boot.sectors(), most / boot.sectorBytes);
        found_.push_back({0, start, sectors * boot.sectorBytes});
        end_ = start + sectors * boot.sectorBytes;
    }

    [[nodiscard]] std::optional<Boot> bootAt(std::uint64_t place) const {
        Boot boot;
        if (place > size_ || size_ - place < kSector || !read_(place, boot.bytes) ||
            loadLe<std::uint16_t>(boot.bytes.data() + kEndMark) != kEndMarkValue)
            return std::nullopt;
        const std::optional<VolumeFormat> format = identifyVolume(boot.bytes);
        if (!format || format->sectorSize == 0)
            return std::nullopt;
        boot.fileSystem = format->fileSystem;
        boot.sectorBytes = format->sectorSize;
        return boot.sectors() > 1 ? std::optional(boot) : std::nullopt;
    }

    /// Whether a volume that begins at `start` has what its boot sector says.
    [[nodiscard]] bool isTrue(const Boot& boot, std::uint64_t start) const {
        if (boot.fileSystem == "NTFS") {
            const std::uint8_t code = boot.bytes[kNtfsClusterSectors];
            const unsigned shift = code > 128 ? 256U - code : 0U;
            const std::uint64_t sectors = code > 128 ? 1ULL << std::min(shift, 20U) : code;
            const std::uint64_t cluster = sectors * boot.sectorBytes;
            return holds(start, boot.at(kNtfsMft), cluster, "FILE") ||
                   holds(start, boot.at(kNtfsMftMirror), cluster, "FILE");
        }
        const bool isExfat = boot.fileSystem == "exFAT";
        const std::uint64_t fat = isExfat ? loadLe<std::uint32_t>(boot.bytes.data() + kExfatFat)
                                          : boot.block().reservedSectors;
        // A FAT begins with the number of its medium, and ones.
        const char medium = isExfat ? '\xF8' : static_cast<char>(boot.block().mediaDescriptor);
        const std::array<char, 2> begin{medium, '\xFF'};
        return holds(start, fat, boot.sectorBytes, {begin.data(), begin.size()});
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
