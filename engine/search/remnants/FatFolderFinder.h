#pragma once

#include "engine/fat/FatFolderChains.h"
#include "engine/fat/FatLayout.h"
#include "engine/search/BlockFinder.h"

#include <vector>

namespace kova {

/// Finds what folders of a former FAT volume have left: clusters that begin with the entries of
/// the folder itself and of the one above, and sectors that are nothing but plausible entries.
class FatFolderFinder : public BlockFinder {
public:
    using Folder = FatFolderStart;
    using Entries = FatEntrySectors;

    /// Whether a look at the step of bytes that `bytes` begin with is worth it: what every block is
    /// asked, and hardly any gets past.
    [[nodiscard]] static bool mayHold(std::span<const uint8> bytes) {
        const FatDirectoryEntry first(bytes.data());
        if (first.firstByte() == FatDirectoryEntry::kEndMark)
            return false;
        if (first.isLongName())
            return first.lowClusterWord() == 0;
        return first.attributes() <= FatDirectoryEntry::kDefinedAttributes &&
               (first.firstByte() == FatDirectoryEntry::kDot || first.hasClusterOfFat());
    }

    void look(uint64 position, std::span<const uint8> bytes, std::size_t fresh) override;

    [[nodiscard]] std::wstring name() const override { return L"FAT folders"; }

    [[nodiscard]] uint64 found() const override { return folders_.size(); }

    /// In the order of the media.
    [[nodiscard]] const std::vector<Folder>& folders() const { return folders_; }

    [[nodiscard]] const std::vector<Entries>& entries() const { return entries_; }

private:
    void addEntries(uint64 position);

    std::vector<Folder> folders_;
    std::vector<Entries> entries_;
};

} // namespace kova
