#pragma once

#include "engine/types.h"

#include <cstddef>
#include <span>
#include <string>
#include <unordered_map>

namespace kova {

/// The names of folders as the indexes of the folders above them tell, also of those whose records
/// other files have now: entries stay where they lay until others are written over them.
class NtfsFolderNames {
public:
    struct Name {
        std::wstring text;
        uint64 parent = 0; ///< Reference of the folder that it was in.
        int64 creationTime = 0;
        int64 modificationTime = 0;
    };

    /// Looks at what lies in a record, its fixups in place.
    void lookInRecord(std::span<const uint8> record);

    /// Looks at the blocks of an index, as they lie on the volume.
    void lookInIndex(std::span<uint8> index);

    /// The name of a folder by its reference, a record number with the sequence number above it;
    /// null where nothing tells. Valid until more is looked at.
    [[nodiscard]] const Name* find(uint64 reference) const {
        const auto name = names_.find(reference);
        return name == names_.end() ? nullptr : &name->second;
    }

private:
    void look(std::span<const uint8> block, std::size_t from);

    std::unordered_map<uint64, Name> names_;
};

} // namespace kova
