#pragma once

#include "engine/fat/FatLayout.h"
#include "format/BiosParameterBlock.h"

namespace kova {

/// The cluster at which the data area begins.
inline constexpr uint32 kFirstDataCluster = 2;

/// Where things stand on a FAT volume, in sectors as its boot sector counts them. All zero until
/// derived.
struct FatGeometry {
    FatType type = FatType::Unknown;
    uint32 bytesPerSector = 0;
    uint32 sectorsPerCluster = 0;
    uint32 fatSector = 0;       ///< Start of the first FAT.
    uint32 fatSectors = 0;      ///< Length of one FAT.
    uint32 fatCount = 0;        ///< FATs, which follow each other.
    uint64 rootSector = 0;      ///< Start of the fixed root directory (FAT12 and FAT16).
    uint32 rootSectors = 0;     ///< Its length.
    uint64 firstDataSector = 0; ///< Start of cluster 2.
    uint32 rootCluster = 0;     ///< First cluster of the root directory on FAT32, else 0.
    uint32 clusterCount = 0;
    uint32 lastCluster = 0; ///< The highest cluster number that is read.
    /// The highest cluster, at most `lastCluster`, that begins inside the media.
    uint32 lastMediaCluster = 0;
    bool endsEarly = false; ///< The media is known to hold less than the volume claims.

    /// Fails when the boot sector describes no volume. `mediaBytes` is what the media holds, 0
    /// when unknown; a volume may claim more than that. `lenient` as `ScanOptions::lenientFat`.
    [[nodiscard]] static FatGeometry derive(const format::BiosParameterBlock& boot,
                                            uint64 mediaBytes, bool lenient);

    [[nodiscard]] uint32 clusterBytes() const { return bytesPerSector * sectorsPerCluster; }

    /// First sector of a cluster. Negative for a cluster 0 or 1 that would begin before the
    /// media, as the data area may start early on a crafted volume.
    [[nodiscard]] int64 sectorOf(uint32 cluster) const {
        return (static_cast<int64>(cluster) - kFirstDataCluster) * sectorsPerCluster +
               static_cast<int64>(firstDataSector);
    }

    /// Byte of the media at which a cluster, 2 or above, begins.
    [[nodiscard]] uint64 byteOf(uint32 cluster) const {
        return static_cast<uint64>(sectorOf(cluster)) * bytesPerSector;
    }

    /// Whether a file's data can begin in the cluster.
    [[nodiscard]] bool isDataCluster(uint32 cluster) const {
        return cluster >= kFirstDataCluster && cluster <= lastCluster;
    }

    /// Clusters that one request of at most `bytes` may hold, at least 1.
    [[nodiscard]] uint32 clustersWithin(uint32 bytes) const {
        return bytes <= clusterBytes() ? 1 : bytes / clusterBytes();
    }
};

} // namespace kova
