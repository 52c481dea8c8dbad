#pragma once

#include "engine/IdTable.h"
#include "engine/ZFileTree.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace kova {

/// A scanned tree as a flat list, depth first in row order, with every node found exactly once:
/// what is below an entry follows it up to its `end`, however the volume's parent references lead.
///
/// First come the root's children with all below them. What no path from the root leads to follows
/// as the content of one last folder, "Files with unknown path": the orphans, files whose parent is
/// itself a file, and circles of folders. That folder has the id `kLostFolder`, belongs to the
/// listing and is there only when it is needed. The root itself is not listed, unless something
/// has taken its place.
///
/// Memory is linear in the number of nodes, whatever their depth. The tree outlives the listing
/// and does not change meanwhile.
class ZTreeListing {
public:
    /// No entry: `Entry::parent` of the first level.
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    /// Levels of the listing: more than any file system lets a path have parts that people make,
    /// and few enough for every path to stay short. What a folder on the last level holds is
    /// listed as if it lay beside that folder, but still within its range.
    static constexpr int kDeepest = 512;

    struct Entry {
        const ZFileTreeNode* node;
        std::size_t parent; ///< Index of the folder it is listed in, smaller than its own.
        std::size_t end;    ///< Index behind the last entry that is below it, or behind itself.
        int depth;          ///< 0 for the first level.
    };

    /// Entries from the index `begin` up to `end`.
    struct Range {
        std::size_t begin;
        std::size_t end;

        bool operator==(const Range&) const = default;
    };

    explicit ZTreeListing(const ZFileTree& tree);
    ZTreeListing(const ZTreeListing&) = delete;
    ZTreeListing& operator=(const ZTreeListing&) = delete;
    ~ZTreeListing() = default;

    [[nodiscard]] const std::vector<Entry>& entries() const { return entries_; }

    /// The entry of a node, `kNone` when it has none.
    [[nodiscard]] std::size_t indexOf(int64 id) const;

    /// An entry with all that is below it.
    [[nodiscard]] Range rangeOf(std::size_t index) const { return {index, entries_[index].end}; }

    /// The names from the first level down to the entry, joined by "/".
    [[nodiscard]] std::wstring path(std::size_t index) const;

    /// The topmost of what no path leads to, but for the orphans, in ascending order of id.
    [[nodiscard]] const std::vector<const ZFileTreeNode*>& strays() const { return strays_; }

    /// The first entry that no path from the tree's root leads to, the size of the listing when
    /// there is none.
    [[nodiscard]] std::size_t unreachable() const { return unreachable_; }

private:
    std::size_t add(const ZFileTreeNode& node, std::size_t parent);
    void addWithContent(const ZFileTree& tree, const ZFileTreeNode& node, std::size_t parent);
    void addContent(const ZFileTree& tree, int64 folderId, std::size_t folder);
    void addLost(const ZFileTree& tree);
    [[nodiscard]] std::vector<const ZFileTreeNode*> findStrays(const ZFileTree& tree) const;

    ZFileTreeNode lostFolder_;
    std::vector<Entry> entries_;
    IdTable<std::size_t> places_; ///< Index + 1, by id.
    std::vector<const ZFileTreeNode*> strays_;
    std::size_t unreachable_ = 0;
};

/// Sorts ranges and makes one of those that overlap or meet.
[[nodiscard]] std::vector<ZTreeListing::Range> united(std::vector<ZTreeListing::Range> ranges);

/// Lists a tree after hanging what its root does not lead to into it, in the lost folder, so that
/// whoever goes down the tree by its child lists comes past every entry too.
[[nodiscard]] std::unique_ptr<ZTreeListing> listCompleted(ZFileTree& tree);

} // namespace kova
