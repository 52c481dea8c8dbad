#pragma once

#include "engine/ZVolume.h"

#include <vector>

namespace kova::bench {

/// All nodes that a scan puts into a tree, in the order in which it does.
inline std::vector<ZFileTreeNode> nodesOf(ZVolume& volume) {
    std::vector<int64> ids; // The nodes' names would lie scattered among those of the tree.
    ZFileTree tree;
    tree.filter = [&ids](const ZFileTreeNode& node) {
        ids.push_back(node.id);
        return true;
    };
    volume.scan(&tree);
    std::vector<ZFileTreeNode> nodes;
    nodes.reserve(ids.size());
    for (const int64 id : ids)
        nodes.push_back(*tree.find(id));
    return nodes;
}

} // namespace kova::bench
