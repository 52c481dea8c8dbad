#include "engine/ZFileTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace kova::test {
namespace {

using testing::ElementsAre;

ZFileTreeNode make(int64 id, int64 parent, int64 created = 0, bool directory = false) {
    ZFileTreeNode node;
    node.id = id;
    node.parentId = parent;
    node.creationTime = created;
    node.isDirectory = directory;
    node.name = std::to_wstring(id);
    return node;
}

TEST(FileTree, FiltersAndKnowsItsRootAsMinusOne) {
    ZFileTree tree;
    tree.rootId = 5;
    tree.filter = [](const ZFileTreeNode& node) { return node.id != 4; };
    tree.insert(make(4, 5));
    tree.insert(make(6, 5));
    EXPECT_THAT(tree.childIds(kNoParent), ElementsAre(6));
    EXPECT_EQ(tree.childAt(kNoParent, 0)->id, 6);
    EXPECT_EQ(tree.childAt(kNoParent, 1), nullptr);
    EXPECT_EQ(tree.node(4).id, 4); // made by being asked for
    EXPECT_EQ(tree.rowOf(4), -1);
}

/// The rules in their plainest form, to compare with.
struct PlainTree {
    std::map<int64, ZFileTreeNode> nodes;
    std::map<int64, std::vector<int64>> children;
    std::set<int64> missing; ///< Parents that are no nodes.

    void updateMissing(int64 id, int64 parentId) {
        missing.erase(id);
        if (parentId >= 0 && !nodes.contains(parentId))
            missing.insert(parentId);
    }

    void insert(const ZFileTreeNode& node, int position) {
        const auto stored = nodes.find(node.id);
        if (stored != nodes.end()) {
            if (node.creationTime < stored->second.creationTime)
                return;
            auto& list = children[stored->second.parentId];
            const auto at = std::find(list.begin(), list.end(), node.id);
            if (at != list.end())
                list.erase(at);
            nodes.erase(stored);
        }
        nodes[node.id] = node;
        updateMissing(node.id, node.parentId);
        if (node.id == node.parentId)
            return;
        auto& list = children[node.parentId];
        if (std::find(list.begin(), list.end(), node.id) != list.end())
            return;
        if (position < 0 || static_cast<std::size_t>(position) > list.size())
            list.push_back(node.id);
        else
            list.insert(list.begin() + position, node.id);
    }

    void move(int64 from, int64 to) {
        const auto found = children.find(from);
        if (found == children.end())
            return;
        const auto moved = found->second;
        for (const int64 id : moved)
            nodes[id].parentId = to;
        auto& list = children[to];
        list.insert(list.end(), moved.begin(), moved.end());
        children.erase(from);
        updateMissing(from, to);
    }
};

TEST(FileTree, BehavesLikeTheRulesInAnyOrder) {
    std::mt19937 random(42);
    const auto upTo = [&random](int most) {
        return static_cast<int>(random() % static_cast<unsigned>(most));
    };
    for (int round = 0; round < 200; ++round) {
        ZFileTree tree;
        PlainTree plain;
        for (int step = 0; step < 120; ++step) {
            if (upTo(12) == 0) {
                const int64 from = upTo(12);
                const int64 to = upTo(3) == 0 ? kLostFolder : upTo(12);
                tree.moveChildren(from, to);
                plain.move(from, to);
            } else {
                const auto node = make(upTo(12), upTo(12), upTo(4));
                const int position = upTo(3) == 0 ? upTo(5) : -1;
                tree.insert(node, position);
                plain.insert(node, position);
            }
            if (upTo(4) == 0) {
                const int64 id = upTo(12);
                if (plain.nodes.contains(id)) {
                    const auto& list = plain.children[plain.nodes[id].parentId];
                    const auto at = std::find(list.begin(), list.end(), id);
                    EXPECT_EQ(tree.rowOf(id), at == list.end() ? -1 : at - list.begin());
                }
            }
        }
        std::set<int64> missing;
        tree.getMissingParents(missing);
        EXPECT_EQ(missing, plain.missing) << "round " << round;
        for (int64 parent = -2; parent < 12; ++parent) {
            if (parent != kNoParent) {
                EXPECT_EQ(tree.childIds(parent), plain.children[parent]) << "round " << round;
            }
        }
    }
}

} // namespace
} // namespace kova::test
