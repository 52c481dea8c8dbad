#pragma once

#include "engine/exfat/ExFatLayout.h"

namespace kova {

/// Where things stand on an exFAT volume, in sectors as its boot sector counts them. All zero
/// until derived.
struct ExFatGeometry {
    uint32 sectorBytes = 0;
    uint32 clusterBytes = 0; ///< 512 bytes to 32 MiB.
    uint64 fatSector = 0;    ///< Start of the first FAT.
    uint32 fatSectors = 0;   ///< Length of one FAT.
    uint32 fatCount = 0;
    uint64 heapSector = 0;   ///< Start of cluster 2.
    uint32 rootCluster = 0;  ///< First cluster of the root directory.
    uint32 clusterCount = 0; ///< Of the heap, as the volume says.
    /// The highest cluster that begins inside the media.
    uint32 lastCluster = 0;
    uint64 mediaBytes = 0; ///< What the media holds, 0 when unknown.
    bool usesSecondFat = false;

    [[nodiscard]] static ExFatGeometry derive(const exfat::BootSector& boot, uint64 mediaBytes);

    [[nodiscard]] uint32 clusterSectors() const { return clusterBytes / sectorBytes; }

    /// Whether the cluster is one of the heap that begins inside the media.
    [[nodiscard]] bool contains(uint64 cluster) const {
        return cluster >= exfat::kFirstCluster && cluster <= lastCluster;
    }

    /// Whether the cluster is one of the heap, as the volume says.
    [[nodiscard]] bool isCluster(uint64 cluster) const {
        return cluster >= exfat::kFirstCluster && cluster - exfat::kFirstCluster < clusterCount;
    }

    /// First sector of a cluster of the heap.
    [[nodiscard]] uint64 sectorOf(uint32 cluster) const {
        return heapSector + uint64{cluster - exfat::kFirstCluster} * clusterSectors();
    }

    [[nodiscard]] uint64 offsetOf(uint32 cluster) const { return sectorOf(cluster) * sectorBytes; }

    [[nodiscard]] uint64 heapBytes() const { return uint64{clusterCount} * clusterBytes; }

    /// Clusters that `bytes` take.
    [[nodiscard]] uint64 clustersFor(uint64 bytes) const {
        return bytes / clusterBytes + (bytes % clusterBytes != 0 ? 1 : 0);
    }

    /// Whether the media ends before the heap does.
    [[nodiscard]] bool endsEarly() const {
        return mediaBytes != 0 && mediaBytes < heapSector * sectorBytes + heapBytes();
    }
};

} // namespace kova
