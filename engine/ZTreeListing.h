#pragma once

#include "engine/ZFileTree.h"

#include <cstddef>
#include <string>
#include <vector>

namespace kova {

/// A scanned tree as a flat list, depth first in row order, with every node found exactly once.
///
/// First come the root's children with all below them. What no known path leads to follows as the
/// content of one last folder, "Files with unknown path": the orphans, files whose parent is
/// itself a file, circles of folders, and what lies deeper than `ZTreeWalk` goes. That folder has
/// the id `kLostFolder`, belongs to the list and is not in the tree; it is there only when it is
/// needed. The root itself is not listed, unless a file has taken its place.
///
/// Memory is linear in the number of nodes, whatever their depth. The tree outlives the listing
/// and does not change meanwhile.
class ZTreeListing {
public:
    /// `Entry::parent` of the first level.
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    struct Entry {
        const ZFileTreeNode* node;
        std::size_t parent; ///< Index of the folder it is listed in, smaller than its own.
        int depth;          ///< 0 for the first level.
    };

    explicit ZTreeListing(const ZFileTree& tree);
    ZTreeListing(const ZTreeListing&) = delete;
    ZTreeListing& operator=(const ZTreeListing&) = delete;
    ~ZTreeListing() = default;

    [[nodiscard]] const std::vector<Entry>& entries() const { return entries_; }

    /// The names from the first level down to the entry, joined by "/".
    [[nodiscard]] std::wstring path(std::size_t index) const;

private:
    ZFileTreeNode lostFolder_;
    std::vector<Entry> entries_;
};

} // namespace kova
