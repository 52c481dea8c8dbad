#include "engine/ZTreeListing.h"
#include "engine/ZTreeWalk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

namespace kova::test {
namespace {

using testing::ElementsAre;

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
