#include "tests/support/FatBuilder.h"

#include <algorithm>
#include <cstring>

namespace kova::test {

namespace {

constexpr std::size_t kEntryBytes = FatDirectoryEntry::kBytes;
constexpr uint32 kFats = 2;

uint32 reservedSectors(FatType type) {
    return type == FatType::Fat32 ? 32 : 1;
}

uint32 usualClusters(FatType type) {
    switch (type) {
    case FatType::Fat16:
        return 4200;
    case FatType::Fat32:
        return 65600;
    default:
        return 200;
    }
}

/// Bytes that `clusters` entries take.
std::size_t fatBytes(FatType type, std::size_t clusters) {
    switch (type) {
    case FatType::Fat16:
        return clusters * 2;
    case FatType::Fat32:
        return clusters * 4;
    default:
        return clusters * 3 / 2 + 2;
    }
}

/// "BASE.EXT" padded, or cut, to 8 and 3 bytes.
std::array<uint8, FatDirectoryEntry::kNameLength> padded(const std::string& name) {
    std::array<uint8, FatDirectoryEntry::kNameLength> bytes{};
    bytes.fill(' ');
    const bool isDots = name == "." || name == "..";
    const std::size_t dot = isDots ? name.size() : std::min(name.rfind('.'), name.size());
    const std::string base = name.substr(0, std::min(dot, FatDirectoryEntry::kBaseLength));
    const std::string extension =
        dot < name.size() ? name.substr(dot + 1, FatDirectoryEntry::kExtensionLength) : "";
    std::copy(base.begin(), base.end(), bytes.begin());
    std::copy(extension.begin(), extension.end(), bytes.begin() + FatDirectoryEntry::kBaseLength);
    return bytes;
}

uint8 checksum(std::span<const uint8> name) {
    uint8 sum = 0;
    for (const uint8 byte : name)
        sum = static_cast<uint8>((sum >> 1 | sum << 7) + byte);
    return sum;
}

} // namespace

FatRawEntry shortEntry(const FatEntry& entry) {
    FatRawEntry raw{};
    const auto name = padded(entry.name);
    std::copy(name.begin(), name.end(), raw.begin());
    if (entry.deleted)
        raw[0] = FatDirectoryEntry::kDeletedMark;
    raw[11] = entry.attributes;
    raw[12] = entry.caseBits;
    storeLe<uint16>(&raw[14], entry.creationTime);
    storeLe<uint16>(&raw[16], entry.creationDate);
    storeLe<uint16>(&raw[18], entry.accessDate);
    storeLe<uint16>(&raw[20], static_cast<uint16>(entry.cluster >> 16));
    storeLe<uint16>(&raw[22], entry.writeTime);
    storeLe<uint16>(&raw[24], entry.writeDate);
    storeLe<uint16>(&raw[26], static_cast<uint16>(entry.cluster));
    storeLe<uint32>(&raw[28], entry.size);
    return raw;
}

std::vector<FatRawEntry> longEntries(const FatEntry& entry) {
    constexpr std::size_t kUnits = FatLongNameEntry::kUnits;
    constexpr std::array<std::size_t, kUnits> kOffsets = {1,  3,  5,  7,  9,  14, 16,
                                                          18, 20, 22, 24, 28, 30};
    constexpr uint8 kLastPiece = 0x40;
    std::u16string units = entry.longName;
    if (units.size() % kUnits != 0)
        units.push_back(0);
    units.resize((units.size() + kUnits - 1) / kUnits * kUnits, FatLongNameEntry::kPadding);

    const std::size_t pieces = units.size() / kUnits;
    std::vector<FatRawEntry> entries;
    for (std::size_t piece = pieces; piece > 0; --piece) {
        FatRawEntry raw{};
        raw[0] = static_cast<uint8>(piece | (piece == pieces ? kLastPiece : 0));
        if (entry.deleted)
            raw[0] = FatDirectoryEntry::kDeletedMark;
        raw[11] = FatDirectoryEntry::kLongName;
        raw[13] = checksum(padded(entry.name));
        for (std::size_t i = 0; i < kUnits; ++i)
            storeLe<char16_t>(&raw[kOffsets[i]], units[(piece - 1) * kUnits + i]);
        entries.push_back(raw);
    }
    return entries;
}

FatBuilder::FatBuilder(const FatShape& shape) : shape_(shape) {
    const bool isFat32 = shape.type == FatType::Fat32;
    if (shape_.clusters == 0)
        shape_.clusters = usualClusters(shape.type);
    if (shape_.rootEntries == 0)
        shape_.rootEntries = 512;
    if (isFat32)
        shape_.rootEntries = 0;

    const uint32 sector = shape_.bytesPerSector;
    const auto toSectors = [sector](std::size_t count) {
        return static_cast<uint32>((count + sector - 1) / sector);
    };
    const uint32 reserved = reservedSectors(shape.type);
    const uint32 fatSectors = toSectors(fatBytes(shape.type, shape_.clusters + 2));
    const uint32 rootSector = reserved + kFats * fatSectors;
    const uint32 dataSector = rootSector + toSectors(shape_.rootEntries * kEntryBytes);
    const uint32 totalSectors = dataSector + shape_.clusters * shape_.sectorsPerCluster;
    fatOffset_ = static_cast<std::size_t>(reserved) * sector;
    rootOffset_ = static_cast<std::size_t>(rootSector) * sector;
    dataOffset_ = static_cast<std::size_t>(dataSector) * sector;
    bytes_.resize(static_cast<std::size_t>(totalSectors) * sector);

    uint8* const boot = bytes_.data();
    storeLe<uint16>(boot + 11, static_cast<uint16>(sector));
    boot[13] = static_cast<uint8>(shape_.sectorsPerCluster);
    storeLe<uint16>(boot + 14, static_cast<uint16>(reserved));
    boot[16] = kFats;
    storeLe<uint16>(boot + 17, static_cast<uint16>(shape_.rootEntries));
    if (totalSectors <= 0xFFFF && !isFat32)
        storeLe<uint16>(boot + 19, static_cast<uint16>(totalSectors));
    else
        storeLe<uint32>(boot + 32, totalSectors);
    boot[21] = 0xF8; // Media: a fixed disk.
    if (isFat32)
        storeLe<uint32>(boot + 36, fatSectors);
    else
        storeLe<uint16>(boot + 22, static_cast<uint16>(fatSectors));
    storeLe<uint16>(boot + 510, 0xAA55);

    setFat(0, endMark() & ~7U); // The media byte in an end mark.
    setFat(1, endMark());
    if (isFat32) {
        rootCluster_ = allocate();
        storeLe<uint32>(boot + 44, rootCluster_);
    }
    ends_[0] = {.cluster = rootCluster_, .used = 0};
}

std::size_t FatBuilder::offsetOf(uint32 cluster) const {
    return dataOffset_ + static_cast<std::size_t>(cluster - 2) * clusterBytes();
}

std::span<uint8> FatBuilder::cluster(uint32 cluster) {
    return std::span(bytes_).subspan(offsetOf(cluster), clusterBytes());
}

uint32 FatBuilder::endMark() const {
    switch (shape_.type) {
    case FatType::Fat16:
        return 0xFFFF;
    case FatType::Fat32:
        return 0x0FFFFFFF;
    default:
        return 0xFFF;
    }
}

void FatBuilder::setFat(uint32 cluster, uint32 value) {
    uint8* const fat = bytes_.data() + fatOffset_;
    const std::size_t index = cluster;
    switch (shape_.type) {
    case FatType::Fat16:
        storeLe<uint16>(fat + index * 2, static_cast<uint16>(value));
        break;
    case FatType::Fat32:
        storeLe<uint32>(fat + index * 4, value);
        break;
    default: {
        uint8* const word = fat + index + index / 2;
        const uint32 old = loadLe<uint16>(word);
        storeLe<uint16>(word, static_cast<uint16>(cluster % 2 == 0 ? (old & 0xF000) | value
                                                                   : (old & 0x000F) | value << 4));
        break;
    }
    }
}

uint32 FatBuilder::allocate(uint32 count) {
    const uint32 first = nextFree_;
    nextFree_ += count;
    for (uint32 cluster = first; cluster < nextFree_; ++cluster)
        setFat(cluster, cluster + 1 == nextFree_ ? endMark() : cluster + 1);
    return first;
}

void FatBuilder::addRaw(uint32 directory, const FatRawEntry& entry) {
    Slot& end = ends_.at(directory);
    const bool isFixedRoot = directory == 0 && rootCluster_ == 0;
    if (!isFixedRoot && end.used == clusterBytes()) {
        const uint32 grown = allocate();
        setFat(end.isFree ? grown : end.cluster, end.isFree ? 0 : grown);
        end = {grown, 0, end.isFree};
    }
    const std::size_t start = isFixedRoot ? rootOffset_ : offsetOf(end.cluster);
    std::memcpy(bytes_.data() + start + end.used, entry.data(), entry.size());
    end.used += static_cast<uint32>(entry.size());
}

void FatBuilder::add(uint32 directory, const FatEntry& entry) {
    for (const FatRawEntry& raw : longEntries(entry))
        addRaw(directory, raw);
    addRaw(directory, shortEntry(entry));
}

uint32 FatBuilder::addFile(uint32 directory, FatEntry entry, std::string_view data) {
    entry.size = static_cast<uint32>(data.size());
    if (!data.empty()) {
        const uint32 count = (entry.size + clusterBytes() - 1) / clusterBytes();
        entry.cluster = allocate(count);
        std::memcpy(bytes_.data() + offsetOf(entry.cluster), data.data(), data.size());
        for (uint32 i = 0; entry.deleted && i < count; ++i)
            setFat(entry.cluster + i, 0);
    }
    add(directory, entry);
    return entry.cluster;
}

uint32 FatBuilder::addDirectory(uint32 directory, FatEntry entry) {
    entry.attributes |= FatDirectoryEntry::kDirectory;
    entry.cluster = allocate();
    if (entry.deleted)
        setFat(entry.cluster, 0);
    add(directory, entry);

    ends_[entry.cluster] = {entry.cluster, 0, entry.deleted};
    FatEntry dots;
    dots.attributes = FatDirectoryEntry::kDirectory;
    dots.name = ".";
    dots.cluster = entry.cluster;
    add(entry.cluster, dots);
    dots.name = "..";
    dots.cluster = directory;
    add(entry.cluster, dots);
    return entry.cluster;
}

} // namespace kova::test
