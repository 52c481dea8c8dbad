#pragma once

#include "engine/ByteRange.h"
#include "engine/ntfs/NtfsLayout.h"
#include "engine/types.h"

#include <cstddef>
#include <vector>

namespace kova {

/// Where the live folders of a volume keep their indexes, in which entries stay that were taken out
/// of them, and which of the files named there still have their records.
struct NtfsFolderIndexes {
    /// How a record is used.
    struct Use {
        uint16 sequence = 0; ///< 0: the record is damaged.
        bool isInUse = false;
    };

    std::vector<ByteRange> places; ///< Whole index blocks and records, in the order of the MFT.
    std::vector<Use> uses;         ///< By record number.

    /// Whether the record that a reference names, by its number and its sequence number above, is
    /// still that of the file that is meant, live or deleted.
    [[nodiscard]] bool hasRecordOf(uint64 reference) const {
        const uint64 number = reference & ntfs::kRecordNumberMask;
        if (number >= uses.size())
            return false;
        const Use& use = uses[static_cast<std::size_t>(number)];
        return use.sequence != 0 &&
               ntfs::isSameRecord(ntfs::sequenceOf(reference), use.sequence, use.isInUse);
    }
};

} // namespace kova
