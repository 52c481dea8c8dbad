#include "tests/support/ExFatBuilder.h"

#include "engine/exfat/ExFatUpcase.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace kova::test {

namespace {

using exfat::BootSector;
using exfat::DirectoryEntry;

constexpr uint32 kFatSector = 2 * BootSector::kRegionSectors;
constexpr uint32 kChainEnd = 0xFFFFFFFF;
constexpr std::size_t kEntryBytes = DirectoryEntry::kBytes;

} // namespace

std::vector<uint8> entrySet(const ExFatEntry& entry) {
    const std::size_t names = (entry.name.size() + exfat::kNameUnits - 1) / exfat::kNameUnits;
    std::vector<uint8> set((2 + names) * kEntryBytes);
    set[0] = 0x85;
    set[1] = static_cast<uint8>(1 + names);
    storeLe<uint16>(&set[4], entry.attributes);
    for (const std::size_t time : {8U, 12U, 16U})
        storeLe<uint32>(&set[time], entry.created);
    set[20] = entry.created10ms;
    for (const std::size_t offset : {22U, 23U, 24U})
        set[offset] = entry.utcOffset;
    uint8* const stream = &set[kEntryBytes];
    stream[0] = 0xC0;
    stream[1] = entry.noFatChain ? 3 : 1;
    stream[3] = static_cast<uint8>(entry.name.size());
    storeLe<uint16>(stream + 4, ExFatUpcase().nameHash(entry.name));
    storeLe<uint64>(stream + 8, entry.validLength.value_or(entry.size));
    storeLe<uint32>(stream + 20, entry.cluster);
    storeLe<uint64>(stream + 24, entry.size);
    for (std::size_t i = 0; i < entry.name.size(); ++i) {
        uint8* const name = &set[(2 + i / exfat::kNameUnits) * kEntryBytes];
        name[0] = 0xC1;
        storeLe<char16_t>(name + 2 + 2 * (i % exfat::kNameUnits), entry.name[i]);
    }
    storeLe<uint16>(&set[2], exfat::setChecksum(set));
    for (std::size_t at = 0; entry.deleted && at < set.size(); at += kEntryBytes)
        set[at] &= static_cast<uint8>(~DirectoryEntry::kInUse);
    return set;
}

void sealBootRegion(uint8* region, uint32 sectorBytes) {
    const std::size_t summed = std::size_t{BootSector::kRegionSectors - 1} * sectorBytes;
    uint32 sum = 0;
    for (std::size_t i = 0; i < summed; ++i) {
        if (i != 106 && i != 107 && i != 112) // flags and percentage
            sum = std::rotr(sum, 1) + region[i];
    }
    for (std::size_t at = summed; at < summed + sectorBytes; at += sizeof sum)
        storeLe<uint32>(region + at, sum);
}

ExFatBuilder::ExFatBuilder(const ExFatShape& shape) : shape_(shape) {
    const uint32 sector = shape.sectorBytes;
    const uint32 fatSectors = (shape.clusters + 2) * 4 / sector + 1;
    const uint32 heapSector = kFatSector + shape.fats * fatSectors;
    const uint32 clusterSectors = shape.clusterBytes / sector;
    fatOffset_ = std::size_t{kFatSector + (shape.fats - 1) * fatSectors} * sector;
    heapOffset_ = std::size_t{heapSector} * sector;
    bytes_.resize(heapOffset_ + std::size_t{shape.clusters} * shape.clusterBytes);

    const uint32 bitmapClusters = shape.clusters / 8 / shape.clusterBytes + 1;
    std::vector<uint32> bitmaps;
    for (uint32 i = 0; i < shape.fats; ++i) {
        bitmaps.push_back(nextFree_);
        nextFree_ += bitmapClusters;
    }
    bitmap_ = bitmaps.back();
    for (uint32 cluster = exfat::kFirstCluster; cluster < nextFree_; ++cluster) {
        setUsed(cluster, true);
        const bool isLast = (cluster - exfat::kFirstCluster) % bitmapClusters == bitmapClusters - 1;
        setFat(cluster, isLast ? kChainEnd : cluster + 1);
    }
    setFat(0, exfat::kFatMedia);
    setFat(1, kChainEnd);
    const uint32 root = allocate();
    setFat(root, kChainEnd);

    uint8* const boot = bytes_.data();
    constexpr std::string_view kSystemId = "EXFAT   ";
    std::copy(kSystemId.begin(), kSystemId.end(), boot + 3);
    storeLe<uint64>(boot + 72, bytes_.size() / sector);
    storeLe<uint32>(boot + 80, kFatSector);
    storeLe<uint32>(boot + 84, fatSectors);
    storeLe<uint32>(boot + 88, heapSector);
    storeLe<uint32>(boot + 92, shape.clusters);
    storeLe<uint32>(boot + 96, root);
    storeLe<uint16>(boot + 106, static_cast<uint16>(shape.fats - 1));
    boot[108] = static_cast<uint8>(std::countr_zero(sector));
    boot[109] = static_cast<uint8>(std::countr_zero(clusterSectors));
    boot[110] = static_cast<uint8>(shape.fats);
    storeLe<uint16>(boot + 510, 0xAA55);
    sealBootRegion(boot, sector);
    const std::size_t region = std::size_t{BootSector::kRegionSectors} * sector;
    std::memcpy(boot + region, boot, region);

    used_[0] = 0;
    for (uint32 i = 0; i < shape.fats; ++i) {
        std::vector<uint8> entry(kEntryBytes);
        entry[0] = 0x81;
        entry[1] = static_cast<uint8>(i);
        storeLe<uint32>(&entry[20], bitmaps[i]);
        storeLe<uint64>(&entry[24], shape.clusters / 8 + 1);
        add(0, entry);
    }
}

std::span<uint8> ExFatBuilder::cluster(uint32 cluster) {
    const std::size_t index = cluster - exfat::kFirstCluster;
    return std::span(bytes_).subspan(heapOffset_ + index * shape_.clusterBytes,
                                     shape_.clusterBytes);
}

void ExFatBuilder::setFat(uint32 cluster, uint32 value) {
    storeLe<uint32>(bytes_.data() + fatOffset_ + std::size_t{cluster} * 4, value);
}

void ExFatBuilder::setUsed(uint32 cluster, bool used) {
    const uint32 bit = cluster - exfat::kFirstCluster;
    uint8& byte =
        bytes_[heapOffset_ + std::size_t{bitmap_ - exfat::kFirstCluster} * shape_.clusterBytes +
               bit / 8];
    byte = static_cast<uint8>(used ? byte | 1U << bit % 8 : byte & ~(1U << bit % 8));
}

uint32 ExFatBuilder::allocate(uint32 count) {
    const uint32 first = nextFree_;
    for (nextFree_ += count; count > 0; --count)
        setUsed(first + count - 1, true);
    return first;
}

void ExFatBuilder::add(uint32 folder, std::span<const uint8> entries) {
    const uint32 first = folder != 0 ? folder : loadLe<uint32>(bytes_.data() + 96);
    std::size_t& used = used_.at(folder);
    std::copy(entries.begin(), entries.end(),
              cluster(first).begin() + static_cast<std::ptrdiff_t>(used));
    used += entries.size();
}

uint32 ExFatBuilder::addFile(uint32 folder, ExFatEntry entry, std::string_view data) {
    entry.size = std::max<uint64>(entry.size, data.size());
    if (entry.size != 0) {
        const auto count =
            static_cast<uint32>((entry.size + shape_.clusterBytes - 1) / shape_.clusterBytes);
        entry.cluster = allocate(count);
        std::copy(data.begin(), data.end(), cluster(entry.cluster).begin());
        for (uint32 i = 0; entry.deleted && i < count; ++i)
            setUsed(entry.cluster + i, false);
    }
    add(folder, entrySet(entry));
    return entry.cluster;
}

uint32 ExFatBuilder::addFolder(uint32 folder, ExFatEntry entry) {
    entry.attributes = exfat::FileEntry::kDirectory;
    entry.cluster = allocate();
    entry.size = shape_.clusterBytes;
    setUsed(entry.cluster, !entry.deleted);
    add(folder, entrySet(entry));
    used_[entry.cluster] = 0;
    return entry.cluster;
}

} // namespace kova::test
