#include "engine/fat/FatGeometry.h"

#include <algorithm>

namespace kova {

namespace {

/// Cluster counts at which the wider FAT entries begin.
constexpr uint32 kFirstFat16Count = 4085;
constexpr uint32 kFirstFat32Count = 65525;

/// FAT32 has no more: the numbers from here on are marks.
constexpr uint32 kMostClusters = 0x0FFFFFF5;

FatType typeOf(uint32 clusterCount) {
    if (clusterCount < kFirstFat16Count)
        return FatType::Fat12;
    return clusterCount < kFirstFat32Count ? FatType::Fat16 : FatType::Fat32;
}

template <typename T>
T divideUp(T value, T divisor) {
    return value / divisor + (value % divisor != 0 ? 1 : 0);
}

} // namespace

FatGeometry FatGeometry::derive(const format::BiosParameterBlock& boot, uint64 mediaBytes,
                                bool lenient) {
    // Sectors hold whole directory entries, so that no entry ever spans two clusters.
    if (boot.bytesPerSector == 0 || boot.bytesPerSector % FatDirectoryEntry::kBytes != 0 ||
        boot.sectorsPerCluster == 0)
        fail();

    FatGeometry geometry;
    geometry.bytesPerSector = boot.bytesPerSector;
    geometry.sectorsPerCluster = boot.sectorsPerCluster;
    geometry.fatSector = boot.reservedSectors;
    geometry.fatSectors = boot.fatSectors();
    geometry.fatCount = boot.fatCount;
    geometry.rootSector =
        static_cast<uint64>(boot.fatCount) * boot.fatSectors() + boot.reservedSectors;
    geometry.rootSectors = divideUp<uint32>(
        boot.rootEntries * static_cast<uint32>(FatDirectoryEntry::kBytes), boot.bytesPerSector);
    geometry.firstDataSector = geometry.rootSector + geometry.rootSectors;
    if (geometry.firstDataSector > boot.totalSectors())
        fail();

    const auto dataSectors = static_cast<uint32>(boot.totalSectors() - geometry.firstDataSector);
    geometry.clusterCount = dataSectors / boot.sectorsPerCluster;
    geometry.type = typeOf(geometry.clusterCount);
    // Small volumes are formatted as FAT32 too, against the rule.
    if (lenient && boot.fatSectors16 == 0 && boot.rootEntries == 0)
        geometry.type = FatType::Fat32;
    if (geometry.type == FatType::Fat32)
        geometry.rootCluster = boot.rootCluster;

    // The first cluster has number 2, so that the last one is above the count.
    geometry.lastCluster =
        lenient ? std::min(geometry.clusterCount, kMostClusters) + 1 : geometry.clusterCount;
    geometry.lastMediaCluster = geometry.lastCluster;
    if (mediaBytes > 0) {
        geometry.endsEarly =
            mediaBytes < static_cast<uint64>(boot.totalSectors()) * boot.bytesPerSector;
        const uint64 mediaSectors = divideUp<uint64>(mediaBytes, boot.bytesPerSector);
        const uint64 mediaDataSectors =
            mediaSectors - std::min(mediaSectors, geometry.firstDataSector);
        const uint64 last = 1 + divideUp<uint64>(mediaDataSectors, boot.sectorsPerCluster);
        geometry.lastMediaCluster =
            static_cast<uint32>(std::min<uint64>(geometry.lastCluster, last));
    }
    return geometry;
}

} // namespace kova
