#include "engine/ZTreeListing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

/// What the volume says: files that hold something, circles, folders in themselves, the root once
/// more below its own child, and no end of folders.
void addTangle(ZFileTree& tree) {
    add(tree, 0, kNoParent, L"", true);
    add(tree, 1, 0, L"file");
    add(tree, 2, 1, L"in file");
    add(tree, 3, 2, L"in that");
    add(tree, 10, 12, L"a", true);
    add(tree, 11, 10, L"b", true);
    add(tree, 12, 11, L"c", true);
    add(tree, 13, 12, L"hangs on it");
    add(tree, 14, 14, L"own parent", true);
    add(tree, 15, 14, L"in itself");
    add(tree, 16, kLostFolder, L"orphan");
    add(tree, 17, 99, L"no parent");
    for (int64 id = 1000; id < 201'000; ++id)
        add(tree, id, id == 1000 ? 0 : id - 1, L"d", true);
}

TEST(TreeListing, MakesAForestOfAnyGraph) {
    ZFileTree tree;
    addTangle(tree);
    const ZTreeListing listing(tree);
    const auto& entries = listing.entries();
    ASSERT_EQ(entries.size(), tree.allNodes().size()) << "all but the root, and the lost folder";
    std::vector<std::size_t> endsOpen;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const ZTreeListing::Entry& entry = entries[i];
        ASSERT_EQ(listing.indexOf(entry.node->id), i) << "each once";
        ASSERT_LT(entry.depth, ZTreeListing::kDeepest);
        while (!endsOpen.empty() && endsOpen.back() <= i)
            endsOpen.pop_back();
        if (!endsOpen.empty()) {
            ASSERT_LE(entry.end, endsOpen.back()) << "within what is around it";
        }
        endsOpen.push_back(entry.end);
        if (entry.depth > 0) {
            ASSERT_EQ(entries[entry.parent].depth, entry.depth - 1);
            ASSERT_GE(entries[entry.parent].end, entry.end);
        }
    }
    EXPECT_EQ(listing.rangeOf(listing.indexOf(1000)).end, listing.unreachable())
        << "a folder covers what is in it at any depth";
    std::vector<std::wstring> lost;
    for (std::size_t i = listing.unreachable(); i < entries.size(); ++i)
        lost.push_back(listing.path(i));
    EXPECT_THAT(lost,
                ElementsAre(kLost, kLost + L"/orphan", kLost + L"/in file", kLost + L"/in that",
                            kLost + L"/a", kLost + L"/a/b", kLost + L"/a/b/c",
                            kLost + L"/a/b/c/hangs on it", kLost + L"/own parent",
                            kLost + L"/own parent/in itself", kLost + L"/no parent"));

    const auto completed = listCompleted(tree);
    EXPECT_EQ(completed->unreachable(), completed->entries().size());
    EXPECT_THAT(tree.childIds(kLostFolder), ElementsAre(16, 2, 3, 10, 14, 17));
    EXPECT_EQ(tree.childIds(kNoParent).back(), kLostFolder);
}

} // namespace
} // namespace kova::test
