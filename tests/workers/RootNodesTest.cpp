#include "workers/rootNodes.h"

#include <gtest/gtest.h>

namespace {

using kova::int64;
using Ids = QSet<int64>;

/// Node 0 is the root.
class RootNodes : public testing::Test {
protected:
    RootNodes() { add(0, kova::kNoParent); }

    void add(int64 id, int64 parentId, bool isDirectory = true) {
        kova::ZFileTreeNode node;
        node.id = id;
        node.parentId = parentId;
        node.isDirectory = isDirectory;
        tree.insert(node);
    }

    Ids rootsOf(Ids selected) {
        keepRootNodes(tree, selected);
        return selected;
    }

    kova::ZFileTree tree;
};

TEST_F(RootNodes, CoverWhatIsBelowThem) {
    add(1, 0);
    add(2, 1);
    add(3, 2, false);
    add(4, 1, false);
    add(5, 77); // Its folder is missing.
    EXPECT_EQ(rootsOf({1, 3, 4}), Ids({1}));
    EXPECT_EQ(rootsOf({2, 3, 4}), Ids({2, 4}));
    EXPECT_EQ(rootsOf({3, 5, 99}), Ids({3, 5, 99}));
    EXPECT_EQ(rootsOf({0, 1, 3, 5}), Ids({0, 5}));
    EXPECT_EQ(rootsOf({1, 5, 77}), Ids({1, 5, 77})) << "a missing folder brings nothing along";
}

TEST_F(RootNodes, AreNotAboveWhatIsInAFile) {
    add(1, 0);
    add(2, 1, false);
    add(3, 2, false); // No walk comes there from 1.
    EXPECT_EQ(rootsOf({1, 2, 3}), Ids({1, 3}));
}

TEST_F(RootNodes, KeepOneOfACircle) {
    add(11, 13);
    add(12, 11);
    add(13, 12);
    add(14, 13);
    add(15, 15);
    EXPECT_EQ(rootsOf({11, 12, 13, 14, 15}), Ids({11, 15}));
    EXPECT_EQ(rootsOf({12, 14}), Ids({12}));
    EXPECT_EQ(rootsOf({14}), Ids({14}));
}

TEST_F(RootNodes, ComeOutOfALongChainInOnePass) {
    constexpr int64 kNodes = 200'000; // One climb to the top for each would not end.
    Ids selected;
    for (int64 id = 1; id <= kNodes; ++id) {
        add(id, id - 1);
        selected.insert(id);
    }
    EXPECT_EQ(rootsOf(selected), Ids({1}));
    selected.remove(1);
    EXPECT_EQ(rootsOf(selected), Ids({2}));
}

} // namespace
