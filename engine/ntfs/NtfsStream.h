#pragma once

#include "engine/ntfs/NtfsLayout.h"
#include "engine/types.h"

#include <span>
#include <string>
#include <vector>

namespace kova {

/// One stream of a file, $DATA for one, as far as the file's records describe it.
struct NtfsStream {
    /// A range of its clusters, and the record that says where they lie.
    struct Extent {
        int64 firstVcn = 0;
        int64 record = 0;
    };

    uint32 type = 0; ///< Of the attribute.
    std::wstring name;
    bool isKnown = false;             ///< False: it was there, and nothing tells where it lay.
    bool isResident = false;          ///< `value` is all there is.
    std::span<const uint8> value;     ///< Lies in the record that gave the stream.
    int64 size = 0;                   ///< Bytes.
    int64 initializedSize = 0;        ///< Bytes; what lies beyond reads as zeros.
    uint16 flags = 0;                 ///< See `ntfs::AttributeHeader`.
    uint8 compressionUnit = 0;        ///< Clusters, as a power of two.
    std::vector<Extent> extents = {}; ///< In ascending order.

    [[nodiscard]] bool isCompressed() const {
        return !isResident && (flags & ntfs::AttributeHeader::kCompressionMask) != 0;
    }
};

} // namespace kova
