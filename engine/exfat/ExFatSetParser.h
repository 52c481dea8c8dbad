#pragma once

#include "engine/exfat/ExFatGeometry.h"
#include "engine/exfat/ExFatUpcase.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>

namespace kova {

/// What an entry set says about a file or folder.
struct ExFatFile {
    bool inUse = false;
    bool hasFileEntry = false; ///< Without it attributes and times are 0.
    exfat::FileEntry file;
    exfat::StreamEntry stream;
    std::u16string name; ///< `kLostUnit` stands for each unit that is lost.

    static constexpr char16_t kLostUnit = u'?';

    [[nodiscard]] bool isFolder() const {
        return (file.attributes & exfat::FileEntry::kDirectory) != 0;
    }
};

/// Takes the entries of a folder apart into sets. Of a set that was overwritten in part, the
/// longest piece that still makes sense counts: one with the stream entry, which tells where the
/// content lies.
class ExFatSetParser {
public:
    /// Both outlive the parser.
    ExFatSetParser(const ExFatGeometry& geometry, const ExFatUpcase& upcase)
        : geometry_(geometry), upcase_(upcase) {}

    /// Entries that a set has at most: one that counts the others in a byte.
    static constexpr std::size_t kMostEntries = 256;

    struct Result {
        /// Entries dealt with, 0 when the set goes on behind those given.
        std::size_t entries = 0;
        std::optional<ExFatFile> file;
    };

    /// What to look for.
    struct Wanted {
        bool liveFiles = false; ///< Files in use, not only folders.
        bool damaged = false;   ///< Also sets that are not all there, or whose checksum disagrees.
    };

    /// Takes what stands first in `entries`, which holds at least one whole entry. `goesOn`: there
    /// are more behind them.
    [[nodiscard]] Result parse(std::span<const uint8> entries, bool goesOn, Wanted wanted) const;

private:
    [[nodiscard]] bool isSane(const ExFatFile& file) const;

    const ExFatGeometry& geometry_;
    const ExFatUpcase& upcase_;
};

} // namespace kova
