#include "engine/ZFileTree.h"

#include <algorithm>
#include <limits>

namespace kova {

namespace {

/// Stands in a child list for an id that was removed. Closing the gap at once would make every
/// replaced node cost a move of all that follow it. No node can have this id: it is not in the
/// range of record numbers and clusters, nor a reserved one.
constexpr int64 kRemoved = std::numeric_limits<int64>::min();

} // namespace

void ZFileTree::insert(const ZFileTreeNode& node, int position) {
    if (filter && !filter(node))
        return;

    auto stored = nodes.lower_bound(node.id);
    if (stored != nodes.end() && stored->first == node.id) {
        if (node.creationTime < stored->second.creationTime)
            return;
        removeFromList(node.id, stored->second.parentId);
        stored->second = node;
    } else {
        nodes.emplace_hint(stored, node.id, node);
    }

    if (node.id != node.parentId) {
        auto& list = children[node.parentId];
        const auto place = places_.find(node.id);
        const bool listed = place != places_.end() && place->second.parentId == node.parentId;
        if (!listed) {
            std::size_t row = list.size();
            if (position >= 0 && static_cast<std::size_t>(position) < list.size()) {
                listOf(node.parentId); // Rows are counted without the gaps.
                row = std::min(static_cast<std::size_t>(position), list.size());
            }
            list.insert(list.begin() + static_cast<std::ptrdiff_t>(row), node.id);
            places_[node.id] = {node.parentId, row};
        }
    }
    updateMissing(node.id, node.parentId);
}

void ZFileTree::moveChildren(int64 fromId, int64 toId) {
    const auto from = children.find(fromId);
    if (from == children.end())
        return;
    if (fromId != toId) {
        listOf(fromId);
        std::vector<int64> moved = std::move(from->second);
        children.erase(from);
        auto& list = children[toId];
        for (const int64 id : moved) {
            node(id).parentId = toId;
            places_[id] = {toId, list.size()};
            list.push_back(id);
        }
    } else {
        // Moved onto themselves, the children lose their list.
        for (const int64 id : from->second)
            places_.erase(id);
        sparseLists_.erase(fromId);
        children.erase(from);
    }
    updateMissing(fromId, toId);
}

bool ZFileTree::getMissingParents(std::set<int64>& out) const {
    out = missingParents;
    return !out.empty();
}

const ZFileTreeNode* ZFileTree::find(int64 id) const {
    const auto found = nodes.find(id);
    return found == nodes.end() ? nullptr : &found->second;
}

ZFileTreeNode& ZFileTree::node(int64 id) {
    const auto [found, created] = nodes.try_emplace(id);
    if (created)
        found->second.id = id;
    return found->second;
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
    if (list == nullptr)
        return -1;
    const auto place = places_.find(id);
    if (place == places_.end() || place->second.parentId != parentId)
        return -1;
    if (place->second.row >= list->size() || (*list)[place->second.row] != id)
        renumber(parentId, *list);
    return static_cast<int>(place->second.row);
}

const std::vector<int64>& ZFileTree::childIds(int64 parentId) const {
    static const std::vector<int64> none;
    const auto* list = listOf(parentId == kNoParent ? rootId : parentId);
    return list == nullptr ? none : *list;
}

/// The child list of `parentId` with its gaps closed, null when there is none.
const std::vector<int64>* ZFileTree::listOf(int64 parentId) const {
    const auto found = children.find(parentId);
    if (found == children.end())
        return nullptr;
    if (sparseLists_.erase(parentId) > 0) {
        std::erase(found->second, kRemoved);
        renumber(parentId, found->second);
    }
    return &found->second;
}

void ZFileTree::renumber(int64 parentId, const std::vector<int64>& list) const {
    for (std::size_t row = 0; row < list.size(); ++row)
        places_[list[row]] = {parentId, row};
}

void ZFileTree::removeFromList(int64 id, int64 parentId) {
    const auto place = places_.find(id);
    if (place == places_.end() || place->second.parentId != parentId)
        return;
    const auto found = children.find(parentId);
    if (found != children.end()) {
        auto& list = found->second;
        std::size_t row = place->second.row;
        if (row >= list.size() || list[row] != id)
            row = static_cast<std::size_t>(std::find(list.begin(), list.end(), id) - list.begin());
        if (row + 1 == list.size()) {
            list.pop_back();
        } else if (row < list.size()) {
            list[row] = kRemoved;
            sparseLists_.insert(parentId);
        }
    }
    places_.erase(place);
}

void ZFileTree::updateMissing(int64 id, int64 parentId) {
    missingParents.erase(id);
    if (parentId >= 0 && !nodes.contains(parentId))
        missingParents.insert(parentId);
}

} // namespace kova
