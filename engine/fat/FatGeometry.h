#pragma once

#include "engine/fat/FatLayout.h"
#include "format/BiosParameterBlock.h"

namespace kova {

/// Where things stand on a FAT volume, in sectors as its boot sector counts them. All zero until
/// derived.
struct FatGeometry {
    FatType type = FatType::Unknown;
    uint32 bytesPerSector = 0;
    uint32 sectorsPerCluster = 0;
    uint32 fatSector = 0;       ///< Start of the first FAT.
    uint32 fatSectors = 0;      ///< Length of one FAT.
    uint64 rootSector = 0;      ///< Start of the fixed root directory (FAT12 and FAT16).
    uint32 rootSectors = 0;     ///< Its length.
    uint64 firstDataSector = 0; ///< Start of cluster 2.
    uint32 rootCluster = 0;     ///< First cluster of the root directory on FAT32, else 0.
    uint32 clusterCount = 0;    ///< Also the highest cluster number that is read.
    /// The highest cluster, at most `clusterCount`, that begins inside the media.
    uint32 lastMediaCluster = 0;

    /// Fails when the boot sector describes no volume. `mediaBytes` is what the media holds, 0
    /// when unknown; a volume may claim more than that.
    [[nodiscard]] static FatGeometry derive(const format::BiosParameterBlock& boot,
                                            uint64 mediaBytes);

    [[nodiscard]] uint32 clusterBytes() const { return bytesPerSector * sectorsPerCluster; }

    /// First sector of a cluster. Negative for a cluster 0 or 1 that would begin before the
    /// media, as the data area may start early on a crafted volume.
    [[nodiscard]] int64 sectorOf(uint32 cluster) const {
        constexpr int64 kFirstCluster = 2;
        return (static_cast<int64>(cluster) - kFirstCluster) * sectorsPerCluster +
               static_cast<int64>(firstDataSector);
    }

    /// Clusters that one request of at most `bytes` may hold, at least 1.
    [[nodiscard]] uint32 clustersWithin(uint32 bytes) const {
        return bytes <= clusterBytes() ? 1 : bytes / clusterBytes();
    }
};

} // namespace kova
