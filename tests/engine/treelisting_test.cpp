#include "engine/ZTreeListing.h"
#include "engine/ZTreeWalk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

namespace kova::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::wstring kLost = L"Files with unknown path";

void add(ZFileTree& tree, int64 id, int64 parent, const std::wstring& name, bool directory = false,
         int64 created = 0) {
    ZFileTreeNode node;
    node.id = id;
    node.parentId = parent;
    node.name = name;
    node.isDirectory = directory;
    node.creationTime = created;
    tree.insert(node);
}

std::vector<std::wstring> paths(const ZFileTree& tree) {
    const ZTreeListing listing(tree);
    std::vector<std::wstring> all;
    for (std::size_t i = 0; i < listing.entries().size(); ++i)
        all.push_back(listing.path(i));
    return all;
}

TEST(TreeListing, DepthFirstInRowOrder) {
    ZFileTree tree;
    tree.rootId = 5;
    add(tree, 5, 5, L".", true);
    add(tree, 40, 5, L"b", true);
    add(tree, 41, 40, L"x/y");
    add(tree, 42, 5, L"a");
    add(tree, 43, 40, L"");
    EXPECT_THAT(paths(tree), ElementsAre(L"b", L"b/x/y", L"b/", L"a"));
    EXPECT_THAT(paths(ZFileTree()), IsEmpty());
}

TEST(TreeListing, WhatHasNoPathFollowsInItsOwnFolder) {
    ZFileTree tree;
    tree.rootId = 5;
    add(tree, 5, 5, L".", true);
    add(tree, 30, 5, L"file");
    add(tree, 31, 30, L"in a file", true);
    add(tree, 32, 31, L"below");
    add(tree, 50, 51, L"circle", true);
    add(tree, 51, 50, L"back", true);
    add(tree, 70, 69, L"orphan", true);
    add(tree, 71, 70, L"of an orphan");
    tree.moveChildren(69, kLostFolder);
    EXPECT_THAT(paths(tree),
                ElementsAre(L"file", kLost, kLost + L"/orphan", kLost + L"/orphan/of an orphan",
                            kLost + L"/in a file", kLost + L"/in a file/below", kLost + L"/circle",
                            kLost + L"/circle/back"));

    EXPECT_EQ(tree.find(kLostFolder), nullptr) << "the tree stays as it is";
}

TEST(TreeListing, AFileInTheRootsPlaceIsListedOnce) {
    ZFileTree inRoot;
    add(inRoot, 9, 0, L"folder", true);
    add(inRoot, 0, 0, L"empty", false, 1);
    EXPECT_THAT(paths(inRoot), ElementsAre(L"folder", L"empty"));

    ZFileTree inFolder;
    add(inFolder, 9, 0, L"folder", true);
    add(inFolder, 0, 9, L"empty", false, 1);
    EXPECT_THAT(paths(inFolder), ElementsAre(L"folder", L"folder/empty"));

    ZFileTree inFile;
    add(inFile, 9, 0, L"file");
    add(inFile, 0, 9, L"empty", false, 1);
    EXPECT_THAT(paths(inFile), ElementsAre(L"file", kLost, kLost + L"/empty"));
}

TEST(TreeListing, EndlessDepthIsFlattenedAndNothingIsLeftOut) {
    constexpr int64 kLevels = 200'000;
    ZFileTree tree;
    for (int64 id = 1; id <= kLevels; ++id)
        add(tree, id, id - 1, L"d", true);
    const ZTreeListing listing(tree);
    std::set<int64> ids;
    for (std::size_t i = 0; i < listing.entries().size(); ++i) {
        const ZTreeListing::Entry& entry = listing.entries()[i];
        ids.insert(entry.node->id);
        ASSERT_LT(entry.depth, ZTreeWalk::kDeepest + 1);
        if (entry.depth == 0) {
            EXPECT_EQ(entry.parent, ZTreeListing::kNone);
        } else {
            ASSERT_LT(entry.parent, i);
            ASSERT_EQ(listing.entries()[entry.parent].depth, entry.depth - 1);
        }
    }
    EXPECT_EQ(listing.entries().size(), kLevels + 1) << "with the folder of what has no path";
    EXPECT_EQ(ids.size(), kLevels + 1);
}

} // namespace
} // namespace kova::test
