#pragma once

#include "engine/ntfs/NtfsLayout.h"
#include "engine/types.h"

#include <vector>

namespace kova {

/// One run: a range of an attribute's clusters (VCNs) and where on the volume it lies (LCNs).
///
/// A run list is in VCN order and ends with a terminator of length 0 whose VCN is the end. What is
/// done with one is `RunList`; the static operations do it with bare vectors.
struct ZDatarun {
    /// Markers in the place of an LCN.
    static constexpr int64 Hole = -1;      ///< Sparse: reads as zeros.
    static constexpr int64 NotMapped = -2; ///< The clusters exist; another extent describes them.
    static constexpr int64 EndOfList = -3; ///< Terminator of the first extent's list.
    static constexpr int64 NotFound = -5;  ///< Answer of `vcnToLcn`, never stored.

    struct ECorruptAttribute {};

    struct EInvalidArgument {};

    struct EUnknownError {};

    int64 vcn = 0;    ///< First virtual cluster.
    int64 lcn = 0;    ///< First logical cluster, or a marker.
    int64 length = 0; ///< Clusters.

    [[nodiscard]] int64 endVcn() const { return vcn + length; }

    friend bool operator==(const ZDatarun&, const ZDatarun&) = default;

    /// Decodes the mapping pairs of one extent into `out`, replacing what it holds; `mergeInto`,
    /// if given, is then merged with it. False when the attribute is missing, resident or begins
    /// before VCN 0. Throws `ECorruptAttribute`, or the generic failure for an attribute that
    /// leaves its record.
    static bool decode(uint32 bytesPerCluster, const ntfs::AttributeHeader& attribute,
                       std::vector<ZDatarun>& out, std::vector<ZDatarun>* mergeInto = nullptr);

    /// Merges the run list of a further extent into that of the extents so far. Throws
    /// `EInvalidArgument` when the source maps nothing or what is mapped already.
    static void merge(std::vector<ZDatarun>& destination, const std::vector<ZDatarun>& source);

    /// The LCN of a VCN; a marker where it has none, `NotFound` where no run covers it.
    static int64 vcnToLcn(const std::vector<ZDatarun>& runs, int64 vcn);
};

} // namespace kova
