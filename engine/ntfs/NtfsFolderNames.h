#pragma once

#include "engine/types.h"

#include <cstddef>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace kova {

/// The names of folders whose records other files have now, as the indexes of the folders above
/// them still tell: entries stay where they lay until others are written over them.
class NtfsFolderNames {
public:
    struct Name {
        std::wstring text; ///< Empty: not found.
        int64 creationTime = 0;
        int64 modificationTime = 0;
    };

    /// Has the name of a folder looked for, by its reference: a record number with the sequence
    /// number above it.
    void want(uint64 reference) { names_[reference]; }

    /// Looks at what lies in a record, its fixups in place.
    void lookInRecord(std::span<const uint8> record);

    /// Looks at the blocks of an index, as they lie on the volume.
    void lookInIndex(std::span<uint8> index);

    [[nodiscard]] const std::map<uint64, Name>& names() const { return names_; }

    /// Whether all have been found.
    [[nodiscard]] bool isDone() const { return found_ == names_.size(); }

private:
    void look(std::span<const uint8> block, std::size_t from);

    std::map<uint64, Name> names_;
    std::size_t found_ = 0;
};

} // namespace kova
