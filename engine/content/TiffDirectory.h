#pragma once

#include "engine/content/ContentReader.h"

#include <optional>
#include <vector>

namespace kova {

/// The structure that TIFF files, camera raw files and EXIF share: directories of tagged values.
/// Every offset counts from the structure's own beginning. BigTIFF is the same with wider numbers.
class TiffStructure {
public:
    /// One value of a directory, or an array of them.
    struct Entry {
        uint16 tag = 0;
        uint16 type = 0;
        uint32 count = 0;
        uint64 at = 0;        ///< Offset of the first value in the structure.
        bool isInside = true; ///< The value stands in the directory itself.

        [[nodiscard]] uint64 bytes() const;
    };

    struct Directory {
        std::vector<Entry> entries;
        uint64 end = 0;  ///< Offset behind it.
        uint64 next = 0; ///< Offset of the directory that follows, 0 for none.

        [[nodiscard]] const Entry* find(uint16 tag) const;
    };

    /// The structure begins at `base` of the reader's source.
    TiffStructure(ContentReader& reader, uint64 base);

    /// Offset of the first directory.
    [[nodiscard]] uint64 first() { return isBig_ ? number(8, 8) : number(4, 4); }

    /// The directory at an offset; nothing where none can be. What leaves the source is the
    /// generic failure.
    [[nodiscard]] std::optional<Directory> directory(uint64 at);

    /// Value `index` of an entry of whole numbers.
    [[nodiscard]] uint64 value(const Entry& entry, uint32 index);

    /// The text of an entry, its closing zero left out.
    [[nodiscard]] std::string text(const Entry& entry);

private:
    uint64 number(uint64 at, std::size_t bytes);

    ContentReader& reader_;
    uint64 base_;
    bool isBigEndian_;
    bool isBig_; ///< Counts and offsets have 8 bytes.
};

} // namespace kova
