#pragma once

#include "engine/ntfs/ZDatarun.h"

#include <cstddef>
#include <span>

namespace kova {

/// The mapping pairs of one extent, decoded run by run. Does not own the bytes.
class MappingPairs {
public:
    MappingPairs() = default;

    /// `pairs` reach to the end of the attribute and begin with virtual cluster `firstVcn`.
    MappingPairs(std::span<const uint8> pairs, int64 firstVcn) : pairs_(pairs), vcn_(firstVcn) {}

    /// The pairs of a non-resident attribute. Offsets that leave it throw
    /// `ZDatarun::ECorruptAttribute` or the generic failure.
    explicit MappingPairs(const ntfs::AttributeHeader& attribute);

    /// Gives the next run, false at the terminating 0 byte. Pairs that make no sense, or do not end
    /// inside the attribute, throw `ZDatarun::ECorruptAttribute`.
    bool next(ZDatarun& run);

    /// The VCN after the runs so far.
    [[nodiscard]] int64 vcn() const { return vcn_; }

private:
    std::span<const uint8> pairs_;
    std::size_t at_ = 0;
    int64 vcn_ = 0;
    int64 lcn_ = 0;
};

} // namespace kova
