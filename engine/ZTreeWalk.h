#pragma once

#include "engine/ZFileTree.h"

#include <functional>
#include <unordered_set>
#include <vector>

namespace kova {

/// Walks a tree depth first in row order, safely: parent references come from the volume, so
/// they may lead back to the root, in a circle, or endlessly deep.
///
/// Only directories are walked into, never a node that carries the root's id. No node is visited
/// twice by one walk object, and nothing below `kDeepest` levels is visited; `strays` tells what
/// has not been reached, so that nothing found is lost. The walk does not recurse.
class ZTreeWalk {
public:
    /// Levels of folders that a walk goes down: more than any file system lets a path have parts
    /// that people make, and few enough for every path to stay short.
    static constexpr int kDeepest = 512;

    /// `enter` is called for each node with its depth (0 for the first level); its answer tells
    /// whether to walk into a directory. `leave`, if set, is called after a directory that was
    /// walked into. Either may throw to end the walk.
    using Enter = std::function<bool(const ZFileTreeNode& node, int depth)>;
    using Leave = std::function<void(const ZFileTreeNode& node)>;

    /// The tree must not change while the walk is used.
    explicit ZTreeWalk(const ZFileTree& tree) : tree_(tree) {}

    /// Visits every node below `parentId`.
    void below(int64 parentId, const Enter& enter, const Leave& leave = {}, int depth = 0);

    /// Visits a node and what is below it.
    void from(const ZFileTreeNode& node, const Enter& enter, const Leave& leave = {},
              int depth = 0);

    /// Nodes that no walk has visited and that have no unvisited directory above them (of a
    /// circle: one of it), in ascending order of id. Walking from each of them reaches all that
    /// is left, but for what lies too deep again. The root node is none of them.
    [[nodiscard]] std::vector<const ZFileTreeNode*> strays() const;

private:
    struct Level {
        const ZFileTreeNode* directory; ///< Null: the level that the walk began at.
        const std::vector<int64>* ids;
        std::size_t next;
    };

    bool visit(const ZFileTreeNode& node, const Enter& enter, const Leave& leave, int depth);
    void walk(std::vector<Level>& levels, const Enter& enter, const Leave& leave, int depth);

    const ZFileTree& tree_;
    std::unordered_set<int64> visited_;
};

} // namespace kova
