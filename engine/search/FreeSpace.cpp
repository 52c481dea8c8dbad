#include "engine/search/FreeSpace.h"

#include <algorithm>

namespace kova {

FreeSpace::FreeSpace(const ZVolume* volume, uint64 mediaBytes, bool whole, ByteRange also)
    : volume_(volume), mediaBytes_(mediaBytes),
      clusters_(volume == nullptr ? ClusterLayout{} : volume->clusterLayout()), whole_(whole),
      also_(also) {}

bool FreeSpace::isInClusters(uint64 byte) const {
    return clusters_.bytes != 0 && byte >= clusters_.start && byte < clusters_.end();
}

bool FreeSpace::isFree(uint64 byte) const {
    if (whole_ || !isInClusters(byte) || (byte >= also_.start && byte < also_.end()))
        return true;
    return !volume_->isInUse((byte - clusters_.start) / clusters_.bytes);
}

/// The end of the cluster that holds the byte, or of what lies around the clusters.
uint64 FreeSpace::blockEnd(uint64 byte) const {
    uint64 end = mediaBytes_;
    if (isInClusters(byte))
        end = byte + clusters_.bytes - (byte - clusters_.start) % clusters_.bytes;
    else if (clusters_.bytes != 0 && byte < clusters_.start)
        end = clusters_.start;
    return std::min(end, mediaBytes_);
}

std::optional<ByteRange> FreeSpace::next(uint64 from, uint64 most) const {
    while (from < mediaBytes_ && !isFree(from))
        from = blockEnd(from);
    if (from >= mediaBytes_)
        return std::nullopt;
    const uint64 last = mediaBytes_ - from < most ? mediaBytes_ : from + most;
    uint64 to = from;
    while (to < last && isFree(to))
        to = blockEnd(to);
    return ByteRange{from, std::min(to, last) - from};
}

} // namespace kova
