#include "engine/ZTreeListing.h"

#include <algorithm>
#include <unordered_map>

namespace kova {

namespace {

/// A folder that is being listed.
struct Level {
    const std::vector<int64>* ids; ///< What is in it.
    std::size_t next;              ///< The row that comes next.
    std::size_t folder;            ///< Its entry, `kNone` for the root.
    std::size_t parent;            ///< The entry that its content is listed in.
};

} // namespace

ZTreeListing::ZTreeListing(const ZFileTree& tree) : lostFolder_(makeLostFolder(tree.rootId)) {
    entries_.reserve(tree.allNodes().size() + 1);
    places_.reserve(tree.allNodes().size() + 1);
    addContent(tree, kNoParent, kNone);
    // An empty file may carry the root's id. In the root folder itself it stands in no list.
    const ZFileTreeNode* root = tree.find(tree.rootId);
    if (root != nullptr && !root->isDirectory && root->parentId == root->id)
        addWithContent(tree, *root, kNone);
    addLost(tree);
}

/// Returns the new entry, `kNone` when the node has one already.
std::size_t ZTreeListing::add(const ZFileTreeNode& node, std::size_t parent) {
    std::size_t& place = places_[node.id];
    if (place != 0)
        return kNone;
    const std::size_t index = entries_.size();
    place = index + 1;
    entries_.push_back(
        {&node, parent, index + 1, parent == kNone ? 0 : entries_[parent].depth + 1});
    return index;
}

void ZTreeListing::addWithContent(const ZFileTree& tree, const ZFileTreeNode& node,
                                  std::size_t parent) {
    const std::size_t index = add(node, parent);
    if (index != kNone && node.isDirectory && node.id != tree.rootId)
        addContent(tree, node.id, index);
}

/// Lists what is in a folder, whose entry is the last one, with all below it. Goes into directories
/// only, never into one that carries the root's id, and nowhere twice.
void ZTreeListing::addContent(const ZFileTree& tree, int64 folderId, std::size_t folder) {
    std::vector<Level> levels;
    const auto goInto = [&](int64 id, std::size_t index) {
        const bool isDeepest = index != kNone && entries_[index].depth + 1 >= kDeepest;
        levels.push_back(
            {&tree.childIds(id), 0, index, isDeepest ? entries_[index].parent : index});
    };
    goInto(folderId, folder);
    while (!levels.empty()) {
        Level& level = levels.back();
        if (level.next == level.ids->size()) {
            if (level.folder != kNone)
                entries_[level.folder].end = entries_.size();
            levels.pop_back();
            continue;
        }
        const ZFileTreeNode* node = tree.find((*level.ids)[level.next++]);
        const std::size_t index = node == nullptr ? kNone : add(*node, level.parent);
        if (index != kNone && node->isDirectory && node->id != tree.rootId)
            goInto(node->id, index);
    }
}

/// Lists all that has not been reached, in a lost folder of the listing's own.
void ZTreeListing::addLost(const ZFileTree& tree) {
    unreachable_ = entries_.size();
    const bool isKnown = tree.find(kLostFolder) != nullptr;
    entries_.push_back({&lostFolder_, kNone, 0, 0});
    if (!isKnown) {
        places_[kLostFolder] = unreachable_ + 1;
        addContent(tree, kLostFolder, unreachable_);
    }
    // Most trees have none: all that is not listed is the root, and looking for others takes long.
    const ZFileTreeNode* const root = tree.find(tree.rootId);
    const bool isRootLeftOut =
        root != nullptr && root->isDirectory && indexOf(tree.rootId) == kNone;
    const std::size_t listed = entries_.size() - 1 + (isRootLeftOut ? 1U : 0U);
    if (listed != tree.allNodes().size())
        strays_ = findStrays(tree);
    for (const ZFileTreeNode* stray : strays_)
        addWithContent(tree, *stray, unreachable_);
    entries_[unreachable_].end = entries_.size();
    if (entries_.size() == unreachable_ + 1) {
        entries_.pop_back();
        if (!isKnown)
            places_[kLostFolder] = 0;
    }
}

/// Nodes that are not listed and have no directory above them that is not (of a circle: one of
/// it), in ascending order of id. The rest is below them.
std::vector<const ZFileTreeNode*> ZTreeListing::findStrays(const ZFileTree& tree) const {
    // A climb stops at what an earlier climb has passed, so each node is passed once.
    std::vector<const ZFileTreeNode*> tops;
    std::unordered_map<int64, int64> climbOf; // Node passed -> node that the climb began at.
    for (const auto& [id, start] : tree.allNodes()) {
        if (indexOf(id) != kNone || (id == tree.rootId && start.isDirectory))
            continue;
        const ZFileTreeNode* top = &start;
        auto passed = climbOf.try_emplace(id, id);
        while (passed.second) {
            const ZFileTreeNode* parent = tree.find(top->parentId);
            if (parent == nullptr || !parent->isDirectory || parent->id == tree.rootId ||
                indexOf(parent->id) != kNone)
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

std::size_t ZTreeListing::indexOf(int64 id) const {
    const std::size_t* place = places_.find(id);
    return place == nullptr ? kNone : *place - 1; // 0 - 1 is kNone.
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

std::vector<ZTreeListing::Range> united(std::vector<ZTreeListing::Range> ranges) {
    std::sort(ranges.begin(), ranges.end(),
              [](const auto& left, const auto& right) { return left.begin < right.begin; });
    std::vector<ZTreeListing::Range> result;
    for (const ZTreeListing::Range& range : ranges) {
        if (result.empty() || result.back().end < range.begin)
            result.push_back(range);
        else
            result.back().end = std::max(result.back().end, range.end);
    }
    return result;
}

std::unique_ptr<ZTreeListing> listCompleted(ZFileTree& tree) {
    auto listing = std::make_unique<ZTreeListing>(tree);
    if (listing->unreachable() == listing->entries().size())
        return listing;
    for (const ZFileTreeNode* stray : listing->strays()) {
        ZFileTreeNode moved = *stray;
        moved.parentId = kLostFolder;
        tree.insert(std::move(moved));
    }
    if (tree.find(kLostFolder) == nullptr)
        tree.insert(makeLostFolder(tree.rootId));
    return std::make_unique<ZTreeListing>(tree);
}

} // namespace kova
