#pragma once

#include "engine/types.h"

namespace kova {

/// How a volume is cut into clusters: the one with index i, below `count`, begins at byte
/// `start + i * bytes` of the media. All 0 when that is not known.
struct ClusterLayout {
    uint64 start = 0; ///< Byte on the media.
    uint32 bytes = 0; ///< Bytes per cluster.
    uint64 count = 0;

    [[nodiscard]] uint64 end() const { return start + count * bytes; }
};

} // namespace kova
