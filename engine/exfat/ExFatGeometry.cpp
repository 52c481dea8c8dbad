#include "engine/exfat/ExFatGeometry.h"

#include <algorithm>

namespace kova {

ExFatGeometry ExFatGeometry::derive(const exfat::BootSector& boot, uint64 mediaBytes) {
    ExFatGeometry geometry;
    geometry.sectorBytes = boot.sectorBytes();
    geometry.clusterBytes = boot.sectorBytes() << boot.clusterShift;
    geometry.fatSector = boot.fatSector;
    geometry.fatSectors = boot.fatSectors;
    geometry.fatCount = boot.fatCount;
    geometry.heapSector = boot.heapSector;
    geometry.rootCluster = boot.rootCluster;
    geometry.clusterCount = boot.clusterCount;
    geometry.mediaBytes = mediaBytes;
    geometry.usesSecondFat = boot.usesSecondFat();

    uint64 clusters = boot.clusterCount;
    if (mediaBytes != 0) {
        const uint64 heap = geometry.heapSector * geometry.sectorBytes;
        clusters =
            std::min(clusters, geometry.clustersFor(mediaBytes - std::min(mediaBytes, heap)));
    }
    geometry.lastCluster = static_cast<uint32>(exfat::kFirstCluster + clusters - 1);
    return geometry;
}

} // namespace kova
