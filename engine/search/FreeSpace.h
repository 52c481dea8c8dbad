#pragma once

#include "engine/ByteRange.h"
#include "engine/ZVolume.h"

#include <algorithm>
#include <optional>

namespace kova {

/// What of a media a search looks at: all but the clusters that live files hold. Copies refer to
/// the same volume.
class FreeSpace {
public:
    /// `volume`, which may be null, is not owned and outlives this; `mediaBytes` is what the media
    /// holds. `whole`: also what live files hold. `also`: held, but to be looked at.
    FreeSpace(const ZVolume* volume, uint64 mediaBytes, bool whole = false, ByteRange also = {});

    [[nodiscard]] uint64 mediaBytes() const { return mediaBytes_; }

    /// Bytes in steps of which files begin and go on: today's clusters, but as volumes that were
    /// here before may have had smaller ones, no more than most volumes have.
    [[nodiscard]] uint32 unitBytes() const {
        return clusters_.bytes == 0 ? kUsualCluster : std::min(clusters_.bytes, kUsualCluster);
    }

    /// Where the first of today's clusters begins; 0 without any.
    [[nodiscard]] uint64 firstByte() const { return clusters_.start; }

    [[nodiscard]] bool isFree(uint64 byte) const;

    /// Whether a file may lie there: anywhere, or in a cluster where there are any.
    [[nodiscard]] bool mayHoldFile(uint64 byte) const {
        return clusters_.bytes == 0 || isInClusters(byte);
    }

    /// The next free stretch that begins at `from` or behind it, cut to `most` bytes.
    [[nodiscard]] std::optional<ByteRange> next(uint64 from, uint64 most) const;

private:
    static constexpr uint32 kUsualCluster = 4096;

    [[nodiscard]] bool isInClusters(uint64 byte) const;
    [[nodiscard]] uint64 blockEnd(uint64 byte) const;

    const ZVolume* volume_;
    uint64 mediaBytes_;
    ClusterLayout clusters_;
    bool whole_;
    ByteRange also_;
};

} // namespace kova
