#pragma once

#include "engine/ClusterLayout.h"
#include "engine/ZCustomMedia.h"

#include <vector>

namespace kova {

/// What tells a volume that was searched from all others.
struct SearchedVolume {
    uint64 bytes = 0;
    uint32 sectorBytes = 0;
    ClusterLayout clusters;         ///< Today's file system's; all 0 without one.
    uint32 bootCrc = 0;             ///< CRC-32 of its first sector, but for what changes in use.
    std::vector<uint64> sampleCrcs; ///< CRC-32s of sectors spread over it, always as many.

    /// Reads a few sectors. Exceptions of the media's read hook pass out.
    [[nodiscard]] static SearchedVolume of(ZCustomMedia& media, const ClusterLayout& clusters);

    /// Whether it is the same volume, though it may have been used in between.
    [[nodiscard]] bool isSameAs(const SearchedVolume& other) const;
};

} // namespace kova
