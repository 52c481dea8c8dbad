#pragma once

#include "engine/IdTable.h"
#include "engine/ZFileTreeNode.h"

#include <functional>
#include <limits>
#include <map>
#include <set>
#include <unordered_set>
#include <vector>

namespace kova {

/// Every node that a scan found, by id and by parent.
///
/// Child ids stand in the order in which they were inserted. Ids that are somebody's parent but
/// have no node themselves are kept as missing parents until they are inserted or their children
/// are moved. Nothing here says that parents form a tree: `ZTreeListing` makes one of
/// them.
///
/// Used by one thread at a time, reads included; after `settle` and until the next change, several
/// threads may read what is stored. Fails only when memory runs out.
class ZFileTree {
public:
    ZFileTree() = default;
    ZFileTree(const ZFileTree&) = delete;
    ZFileTree& operator=(const ZFileTree&) = delete;
    ~ZFileTree() = default;

    /// Before the first node: makes room for so many at once.
    void reserve(std::size_t count) { known_.reserve(count); }

    /// Stores `node`, unless the filter refuses it or a node with its id and a later
    /// creation time is stored; an equal or earlier one is replaced. A node whose parent is
    /// itself stands in no child list. `position` is its row among its siblings; negative: last.
    void insert(ZFileTreeNode node, int position = -1);

    /// Makes every child of `fromId` a child of `toId`, after those already there. Does nothing
    /// at all when `fromId` never had children.
    void moveChildren(int64 fromId, int64 toId);

    /// Replaces `out` with the missing parents; true when there are any.
    bool getMissingParents(std::set<int64>& out) const;

    /// The stored node, or null. Valid until the node is replaced.
    [[nodiscard]] const ZFileTreeNode* find(int64 id) const;

    /// The stored node; an absent one is stored first, zero but for its id.
    ZFileTreeNode& node(int64 id);

    /// Children of `parentId`; `kNoParent` stands for the root.
    [[nodiscard]] int childCount(int64 parentId) const;

    /// The child at `row`, null when there is none; `kNoParent` stands for the root.
    ZFileTreeNode* childAt(int64 parentId, int row);

    /// The row of a node among its siblings, -1 when it stands in no list.
    int rowOf(int64 id);

    /// Ids of the children of `parentId` in row order, empty when there are none; `kNoParent`
    /// stands for the root. Valid until the tree changes.
    [[nodiscard]] const std::vector<int64>& childIds(int64 parentId) const;

    /// Does now what reads otherwise do when they come by, so that they change nothing.
    void settle();

    /// Every stored node by id.
    [[nodiscard]] const std::map<int64, ZFileTreeNode>& allNodes() const { return nodes; }

private:
    using ChildLists = std::map<int64, std::vector<int64>>;

    std::set<int64> missingParents;
    std::map<int64, ZFileTreeNode> nodes;
    /// Behind the last node that was stored among others.
    std::map<int64, ZFileTreeNode>::iterator behindLast_ = nodes.end();
    /// A list may hold `kRemoved` in the place of an id that was taken out, until it is read.
    mutable ChildLists children;

public:
    /// Id of the root node.
    int64 rootId = 0;
    /// Decides which nodes are stored; empty: all.
    std::function<bool(const ZFileTreeNode&)> filter;

private:
    /// What is known of an id without a search.
    struct Known {
        ZFileTreeNode* node = nullptr;
        /// Where it stood last in its parent's list; rows before it may have come and gone.
        uint32 row = kUnlisted;
    };

    /// `row` of a node that is in no list.
    static constexpr uint32 kUnlisted = std::numeric_limits<uint32>::max();

    void updateMissing(int64 id, int64 parentId);
    void removeFromList(int64 id, Known& known, int64 parentId);
    void renumber(const std::vector<int64>& list) const;
    const std::vector<int64>* listOf(int64 parentId) const;

    /// Kept beside the maps because nodes and rows are asked for once per node, in lists of any
    /// length.
    mutable IdTable<Known> known_;
    /// Lists that hold `kRemoved`.
    mutable std::unordered_set<int64> sparseLists_;
};

} // namespace kova
