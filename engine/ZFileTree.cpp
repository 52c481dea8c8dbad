#include "engine/ZFileTree.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace kova {

namespace {

/// Stands in a child list for an id that was removed. Closing the gap at once would make every
/// replaced node cost a move of all that follow it. No node can have this id: it is not in the
/// range of record numbers and clusters, nor a reserved one.
constexpr int64 kRemoved = std::numeric_limits<int64>::min();

} // namespace

void ZFileTree::insert(ZFileTreeNode node, int position) {
    if (filter && !filter(node))
        return;

    const int64 id = node.id;
    const int64 parentId = node.parentId;
    // Stays where it is: nothing below adds an id.
    Known& known = known_[id];
    if (known.node != nullptr) {
        if (node.creationTime < known.node->creationTime)
            return;
        removeFromList(id, known, known.node->parentId);
        *known.node = std::move(node);
    } else {
        // Scans mostly insert in the order of the ids, or in some such orders, mixed.
        const bool isLast = nodes.empty() || nodes.rbegin()->first < id;
        const auto at = nodes.emplace_hint(isLast ? nodes.end() : behindLast_, id, std::move(node));
        if (!isLast)
            behindLast_ = std::next(at);
        known.node = &at->second;
    }

    if (id != parentId) {
        auto& list = children[parentId];
        if (known.row == kUnlisted) {
            std::size_t row = list.size();
            if (position >= 0 && static_cast<std::size_t>(position) < list.size()) {
                listOf(parentId); // Rows are counted without the gaps.
                row = std::min(static_cast<std::size_t>(position), list.size());
            }
            list.insert(list.begin() + static_cast<std::ptrdiff_t>(row), id);
            known.row = static_cast<uint32>(row);
        }
    }
    updateMissing(id, parentId);
}

void ZFileTree::moveChildren(int64 fromId, int64 toId) {
    const auto from = children.find(fromId);
    if (from == children.end())
        return;
    listOf(fromId);
    const std::vector<int64> moved = std::move(from->second);
    children.erase(from);
    // Moved onto themselves, the children lose their list.
    auto* list = fromId == toId ? nullptr : &children[toId];
    for (const int64 id : moved) {
        node(id).parentId = toId;
        known_[id].row = list == nullptr ? kUnlisted : static_cast<uint32>(list->size());
        if (list != nullptr)
            list->push_back(id);
    }
    updateMissing(fromId, toId);
}

bool ZFileTree::getMissingParents(std::set<int64>& out) const {
    out = missingParents;
    return !out.empty();
}

const ZFileTreeNode* ZFileTree::find(int64 id) const {
    const Known* known = known_.find(id);
    return known == nullptr ? nullptr : known->node;
}

ZFileTreeNode& ZFileTree::node(int64 id) {
    Known& known = known_[id];
    if (known.node == nullptr) {
        known.node = &nodes[id];
        known.node->id = id;
    }
    return *known.node;
}

int ZFileTree::childCount(int64 parentId) const {
    return static_cast<int>(childIds(parentId).size());
}

ZFileTreeNode* ZFileTree::childAt(int64 parentId, int row) {
    const auto& list = childIds(parentId);
    if (row < 0 || static_cast<std::size_t>(row) >= list.size())
        return nullptr;
    return &node(list[static_cast<std::size_t>(row)]);
}

int ZFileTree::rowOf(int64 id) {
    const int64 parentId = node(id).parentId;
    const auto* list = listOf(parentId);
    const Known& known = known_[id];
    if (list == nullptr || known.row == kUnlisted)
        return -1;
    if (known.row >= list->size() || (*list)[known.row] != id)
        renumber(*list);
    return static_cast<int>(known.row);
}

const std::vector<int64>& ZFileTree::childIds(int64 parentId) const {
    static const std::vector<int64> none;
    const auto* list = listOf(parentId == kNoParent ? rootId : parentId);
    return list == nullptr ? none : *list;
}

void ZFileTree::settle() {
    const std::vector<int64> sparse(sparseLists_.begin(), sparseLists_.end());
    for (const int64 parentId : sparse)
        listOf(parentId);
}

/// The child list of `parentId` with its gaps closed, null when there is none.
const std::vector<int64>* ZFileTree::listOf(int64 parentId) const {
    const auto found = children.find(parentId);
    if (found == children.end())
        return nullptr;
    if (sparseLists_.erase(parentId) > 0) {
        std::erase(found->second, kRemoved);
        renumber(found->second);
    }
    return &found->second;
}

void ZFileTree::renumber(const std::vector<int64>& list) const {
    for (std::size_t row = 0; row < list.size(); ++row)
        known_[list[row]].row = static_cast<uint32>(row);
}

void ZFileTree::removeFromList(int64 id, Known& known, int64 parentId) {
    if (known.row == kUnlisted)
        return;
    auto& list = children[parentId];
    std::size_t row = known.row;
    known.row = kUnlisted;
    if (row >= list.size() || list[row] != id)
        row = static_cast<std::size_t>(std::find(list.begin(), list.end(), id) - list.begin());
    if (row + 1 == list.size()) {
        list.pop_back();
    } else if (row < list.size()) {
        list[row] = kRemoved;
        sparseLists_.insert(parentId);
    }
}

void ZFileTree::updateMissing(int64 id, int64 parentId) {
    if (!missingParents.empty())
        missingParents.erase(id);
    if (parentId >= 0 && find(parentId) == nullptr)
        missingParents.insert(parentId);
}

} // namespace kova
