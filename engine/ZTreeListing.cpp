#include "engine/ZTreeListing.h"

#include "engine/ZTreeWalk.h"

namespace kova {

ZTreeListing::ZTreeListing(const ZFileTree& tree) : lostFolder_(makeLostFolder(tree.rootId)) {
    entries_.reserve(tree.allNodes().size() + 1);
    ZTreeWalk walk(tree);
    std::vector<std::size_t> lastAt; // Index of the last entry at each depth.
    std::vector<int64> deep;         // Folders that the walk does not go into for their depth.
    const auto append = [&](const ZFileTreeNode& node, int depth) {
        const auto level = static_cast<std::size_t>(depth);
        lastAt.resize(level + 1);
        entries_.push_back({&node, level == 0 ? kNone : lastAt[level - 1], depth});
        lastAt[level] = entries_.size() - 1;
    };
    const ZTreeWalk::Enter enter = [&](const ZFileTreeNode& node, int depth) {
        append(node, depth);
        if (node.isDirectory && node.id != tree.rootId && depth + 1 >= ZTreeWalk::kDeepest)
            deep.push_back(node.id);
        return true;
    };
    const auto listDeep = [&] {
        while (!deep.empty()) {
            const int64 id = deep.back();
            deep.pop_back();
            walk.below(id, enter, {}, 1);
        }
    };

    walk.below(kNoParent, enter);
    // An empty file may carry the root's id. In the root folder itself it stands in no list.
    const ZFileTreeNode* root = tree.find(tree.rootId);
    const bool rootIsFile = root != nullptr && !root->isDirectory;
    if (rootIsFile && root->parentId == root->id)
        walk.from(*root, enter);

    append(lostFolder_, 0);
    walk.below(kLostFolder, enter, {}, 1);
    listDeep();
    for (auto strays = walk.strays(); !strays.empty(); strays = walk.strays()) {
        for (const ZFileTreeNode* stray : strays)
            walk.from(*stray, enter, {}, 1);
        listDeep();
    }
    if (rootIsFile)
        walk.from(*root, enter, {}, 1);
    if (entries_.back().node == &lostFolder_)
        entries_.pop_back();
}

std::wstring ZTreeListing::path(std::size_t index) const {
    std::vector<std::size_t> steps;
    std::size_t length = 0;
    for (; index != kNone; index = entries_[index].parent) {
        steps.push_back(index);
        length += entries_[index].node->name.size() + 1;
    }
    std::wstring path;
    path.reserve(length);
    for (auto step = steps.rbegin(); step != steps.rend(); ++step) {
        if (step != steps.rbegin())
            path += L'/';
        path += entries_[*step].node->name;
    }
    return path;
}

} // namespace kova
