#pragma once

#include "engine/search/FormerVolume.h"
#include "engine/search/remnants/NtfsRecordFinder.h"
#include "engine/search/remnants/ZFormerNtfsVolume.h"

#include <vector>

namespace kova {

/// Puts former NTFS volumes together again from the records that a search has found.
///
/// The records of one MFT lie in few pieces, in each of which a record's place and its number keep
/// step. Pieces whose numbers do not collide are taken for one volume, the larger ones first.
/// Records of different volumes that collide are so kept apart.
class NtfsRemnants {
public:
    /// `found` outlives this; `known` are places of records that are somebody else's: those of
    /// today's MFT.
    NtfsRemnants(const NtfsRecordFinder& found, std::vector<ByteRange> known);

    /// The volumes, those with most records first. `media` is not owned and outlives them.
    [[nodiscard]] std::vector<FormerVolume> volumes(ZCustomMedia& media) const;

private:
    using Sighting = NtfsRecordFinder::Sighting;
    using Piece = std::vector<const Sighting*>;

    [[nodiscard]] std::vector<Piece> pieces() const;
    [[nodiscard]] bool isKnown(uint64 position) const;
    [[nodiscard]] int64 startOf(const ZFormerNtfsVolume::Geometry& geometry) const;

    const NtfsRecordFinder& found_;
    std::vector<ByteRange> known_;
};

} // namespace kova
