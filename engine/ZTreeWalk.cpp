#include "engine/ZTreeWalk.h"

#include <unordered_map>

namespace kova {

void ZTreeWalk::below(int64 parentId, const Enter& enter, const Leave& leave, int depth) {
    std::vector<Level> levels{{nullptr, &tree_.childIds(parentId), 0}};
    walk(levels, enter, leave, depth);
}

void ZTreeWalk::from(const ZFileTreeNode& node, const Enter& enter, const Leave& leave, int depth) {
    if (!visit(node, enter, leave, depth))
        return;
    std::vector<Level> levels{{&node, &tree_.childIds(node.id), 0}};
    walk(levels, enter, leave, depth + 1);
}

/// Visits one node; true when the walk goes on into it.
bool ZTreeWalk::visit(const ZFileTreeNode& node, const Enter& enter, const Leave& leave,
                      int depth) {
    if (!visited_.insert(node.id).second)
        return false;
    if (!enter(node, depth) || !node.isDirectory)
        return false;
    if (node.id != tree_.rootId && depth + 1 < kDeepest)
        return true;
    if (leave)
        leave(node);
    return false;
}

void ZTreeWalk::walk(std::vector<Level>& levels, const Enter& enter, const Leave& leave,
                     int depth) {
    const int above = depth - static_cast<int>(levels.size());
    while (!levels.empty()) {
        Level& level = levels.back();
        if (level.next == level.ids->size()) {
            if (level.directory != nullptr && leave)
                leave(*level.directory);
            levels.pop_back();
            continue;
        }
        const ZFileTreeNode* node = tree_.find((*level.ids)[level.next++]);
        if (node != nullptr && visit(*node, enter, leave, above + static_cast<int>(levels.size())))
            levels.push_back({node, &tree_.childIds(node->id), 0});
    }
}

std::vector<const ZFileTreeNode*> ZTreeWalk::strays() const {
    // Every unvisited node lies below exactly one top. A climb stops at what an earlier climb
    // has passed, so each node is passed once.
    std::vector<const ZFileTreeNode*> tops;
    std::unordered_map<int64, int64> climbOf; // Node passed -> node that the climb began at.
    for (const auto& [id, start] : tree_.allNodes()) {
        if (id == tree_.rootId || visited_.contains(id))
            continue;
        const ZFileTreeNode* top = &start;
        auto passed = climbOf.try_emplace(id, id);
        while (passed.second) {
            const ZFileTreeNode* parent = tree_.find(top->parentId);
            if (parent == nullptr || !parent->isDirectory || parent->id == tree_.rootId ||
                visited_.contains(parent->id))
                break;
            top = parent;
            passed = climbOf.try_emplace(top->id, id);
        }
        // Coming back to a node of this very climb, it has gone round in a circle.
        if (passed.second || passed.first->second == id)
            tops.push_back(top);
    }
    return tops;
}

} // namespace kova
