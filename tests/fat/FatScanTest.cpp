#include "tests/fat/FatScan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <stdexcept>

using testing::ElementsAre;
using testing::IsEmpty;

namespace kova::test {
namespace {

constexpr bool kDeleted = true;
constexpr bool kLive = false;

FatEntry named(const std::string& name, bool deleted = kLive) {
    FatEntry entry;
    entry.name = name;
    entry.longName = std::u16string(name.begin(), name.end());
    entry.deleted = deleted;
    return entry;
}

FatEntry createdIn(int year, FatEntry entry) {
    entry.creationDate = fatDate(year, 1, 1);
    return entry;
}

class FatScanOfType : public testing::TestWithParam<FatType> {};

std::string nameOf(const testing::TestParamInfo<FatType>& type) {
    const std::array<const char*, 4> names = {"Unknown", "Fat12", "Fat16", "Fat32"};
    return names[static_cast<std::size_t>(type.param)];
}

INSTANTIATE_TEST_SUITE_P(Types, FatScanOfType,
                         testing::Values(FatType::Fat12, FatType::Fat16, FatType::Fat32), nameOf);

TEST_P(FatScanOfType, KeepsWhatWasDeleted) {
    FatBuilder volume({.type = GetParam()});
    volume.addFile(0, named("gone", kDeleted), "1");
    volume.addFile(0, named("here"), "2");
    const uint32 live = volume.addDirectory(0, named("live"));
    volume.addFile(live, named("live-gone", kDeleted), "3");
    volume.addFile(live, named("live-here"), "4");
    volume.addDirectory(0, named("nothing"));
    volume.addDirectory(0, named("empty", kDeleted));
    const uint32 lost = volume.addDirectory(0, named("lost", kDeleted));
    volume.addFile(lost, named("lost-gone", kDeleted), "5");
    volume.addFile(lost, named("lost-here"), "6");
    const uint32 inner = volume.addDirectory(lost, named("inner"));
    volume.addFile(inner, named("inner-here"), "7");
    volume.addFile(inner, named("inner-gone", kDeleted), "8");

    FatScan scan(volume);
    EXPECT_EQ(scan.volume.geometry().type, GetParam());
    EXPECT_THAT(scan.paths(), ElementsAre("gone", "live/ (live)", "live/live-gone", "empty/",
                                          "lost/", "lost/lost-gone", "lost/lost-here",
                                          "lost/inner/ (live)", "lost/inner/inner-gone"));
    EXPECT_EQ(scan.extract(scan.named(L"lost-here")), "6");
    EXPECT_EQ(scan.named(L"inner").id, inner);
    EXPECT_EQ(scan.named(L"inner").parentId, lost);

    const ZFileTreeNode* const root = scan.tree.find(0);
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->parentId, kNoParent);
    EXPECT_TRUE(root->isDirectory);
    EXPECT_TRUE(root->exists);
    EXPECT_EQ(root->name, L"");
}

TEST_P(FatScanOfType, FollowsTheChainOfALiveDirectoryOnly) {
    FatBuilder volume({.type = GetParam()});
    const uint32 live = volume.addDirectory(0, named("live"));
    const uint32 lost = volume.addDirectory(0, named("lost", kDeleted));
    // A cluster holds 16 entries, the dots among them. The files stand between the clusters of
    // the directories, and every long name but the last spans clusters at some place.
    std::vector<std::string> expected = {"live/ (live)"};
    for (int i = 10; i < 60; ++i) {
        const std::string name = "a longer name for file " + std::to_string(i);
        volume.addFile(live, named(name, kDeleted), name);
        expected.push_back("live/" + name);
    }
    expected.emplace_back("lost/");
    for (int i = 10; i < 60; ++i)
        volume.addFile(lost, named("f" + std::to_string(i), kDeleted), "x");
    for (int i = 10; i < 17; ++i)
        expected.push_back("lost/f" + std::to_string(i));

    FatScan scan(volume);
    EXPECT_EQ(scan.paths(), expected);
    EXPECT_EQ(scan.extract(scan.named(L"a longer name for file 42")), "a longer name for file 42");
}

TEST_P(FatScanOfType, EndsAChainAtFreeBadAndUnknownClusters) {
    FatBuilder volume({.type = GetParam()});
    const uint32 live = volume.addDirectory(0, named("live"));
    // With the dots, entries for three consecutive clusters of 16.
    for (uint32 i = 10; i < 50; ++i) {
        FatEntry entry;
        entry.name = "X" + std::to_string(i);
        entry.deleted = true;
        entry.cluster = 100 + i;
        volume.add(live, entry);
    }
    const auto foundWithSecondLinkedTo = [&](uint32 fatEntry) {
        volume.setFat(live + 1, fatEntry);
        return FatScan(volume).tree.childCount(live);
    };
    const uint32 bad = volume.endMark() & ~8U;
    EXPECT_EQ(foundWithSecondLinkedTo(live + 2), 40);
    EXPECT_EQ(foundWithSecondLinkedTo(volume.endMark()), 30);
    EXPECT_EQ(foundWithSecondLinkedTo(volume.clusterCount() + 1), 30);
    EXPECT_EQ(foundWithSecondLinkedTo(bad), 14);
    EXPECT_EQ(foundWithSecondLinkedTo(0), 14);
}

TEST(FatScan, DropsDotNamesAndEmptyFilesOfTheRoot) {
    FatBuilder volume;
    volume.addFile(0, named(".profile", kDeleted), "1");
    volume.addFile(0, named("empty", kDeleted), "");
    FatScan scan(volume);
    EXPECT_THAT(scan.paths(), IsEmpty());
    EXPECT_EQ(scan.tree.allNodes().size(), 1U);
}

TEST(FatScan, GivesAnEmptyFileInAFolderTheIdOfTheRoot) {
    FatBuilder volume;
    const uint32 folder = volume.addDirectory(0, named("folder"));
    volume.addFile(folder, named("empty", kDeleted), "");
    volume.addFile(folder, named("full", kDeleted), "1");
    FatScan scan(volume);
    ASSERT_NE(scan.tree.find(0), nullptr);
    EXPECT_EQ(scan.tree.find(0)->name, L"empty"); // Newer than the root node, which has no time.
    EXPECT_EQ(scan.tree.find(0)->parentId, folder);
    EXPECT_THAT(scan.paths(), ElementsAre("folder/ (live)", "folder/empty", "folder/full"));
    EXPECT_EQ(scan.extract(*scan.tree.find(0)), "");
}

TEST(FatScan, KeepsTheLatestOfEntriesWithTheSameCluster) {
    FatBuilder volume;
    const uint32 cluster = volume.addFile(0, createdIn(2010, named("first", kDeleted)), "1");
    const auto again = [&](uint32 directory, const std::string& name, int year) {
        FatEntry entry = createdIn(year, named(name, kDeleted));
        entry.cluster = cluster;
        entry.size = 1;
        volume.add(directory, entry);
    };
    again(0, "same", 2010);
    again(0, "earlier", 2009);
    EXPECT_THAT(FatScan(volume).paths(), ElementsAre("first"));

    // A later one takes its place. The folder then holds no more nodes than before, so it is left
    // out, and what is in it has no known path.
    const uint32 folder = volume.addDirectory(0, named("folder"));
    again(folder, "later", 2011);
    FatScan scan(volume);
    EXPECT_THAT(scan.paths(), IsEmpty());
    EXPECT_THAT(scan.paths(kLostFolder), ElementsAre("later"));
}

TEST(FatScan, TakesTheLowAndTheHighClusterWordAndRefusesWhatIsNoCluster) {
    FatBuilder volume;
    FatEntry entry = named("last", kDeleted);
    entry.cluster = volume.clusterCount();
    volume.add(0, entry);
    entry = named("beyond", kDeleted);
    entry.cluster = volume.clusterCount() + 1;
    volume.add(0, entry);
    entry = named("high", kDeleted);
    entry.cluster = 0x10005;
    volume.add(0, entry);
    entry = named("negative", kDeleted);
    entry.cluster = 0xFFFFFFFF;
    volume.add(0, entry);
    EXPECT_THAT(FatScan(volume).paths(), ElementsAre("last"));
}

TEST(FatScan, ListsEntriesWithUnsetDatesOnRequest) {
    FatBuilder volume;
    FatEntry entry;
    entry.name = "CAMERA";
    entry.deleted = true;
    entry.creationDate = 0;
    entry.creationTime = 0;
    entry.accessDate = 0;
    volume.addFile(0, entry, "1");
    volume.addFile(0, named("other", kDeleted), "2");
    EXPECT_THAT(FatScan(volume.bytes(), {.unsetDates = false}).paths(), ElementsAre("other"));

    FatScan scan(volume.bytes(), {.unsetDates = true});
    EXPECT_THAT(scan.paths(), ElementsAre("?AMERA", "other"));
    EXPECT_EQ(scan.named(L"?AMERA").creationTime, 0);
    EXPECT_EQ(scan.named(L"?AMERA").accessTime, 0);
    EXPECT_GT(scan.named(L"?AMERA").modificationTime, 0);
}

/// A volume with one orphan.
FatBuilder withOrphan() {
    FatBuilder volume;
    FatEntry entry = createdIn(2010, named("first", kDeleted));
    entry.cluster = volume.addFile(0, entry, "1");
    const uint32 folder = volume.addDirectory(0, named("folder"));
    entry = createdIn(2011, named("orphan", kDeleted));
    entry.cluster = 2;
    volume.add(folder, entry);
    return volume;
}

TEST(FatScan, WalksTheRootOfAWipedTableOnRequest) {
    FatBuilder volume;
    volume.addFile(0, named("gone", kDeleted), "1");
    volume.setFat(0, 0);
    EXPECT_THAT(FatScan(volume.bytes()).paths(), IsEmpty());
    EXPECT_THAT(FatScan(volume.bytes(), {.lenientFat = true}).paths(), ElementsAre("gone"));
}

TEST(FatScan, ReportsProgressAndCannotBeStopped) {
    FatBuilder volume = withOrphan();
    TestMedia media(volume.bytes());
    ZFatVolume fat(&media);
    ASSERT_TRUE(fat.init());
    std::vector<double> reports;
    fat.setProgressCallback([&](double value) {
        reports.push_back(value);
        return false;
    });
    ZFileTree tree;
    fat.scan(&tree);
    EXPECT_THAT(reports, ElementsAre(0.01, testing::DoubleEq(0.02), 1.0));
    EXPECT_EQ(tree.childCount(kLostFolder), 1);

    fat.setProgressCallback([](double) -> bool { throw std::logic_error("stop"); });
    EXPECT_THROW(fat.scan(&tree), std::logic_error);
}

TEST(FatScan, StoresWhatTheFilterLetsThrough) {
    FatBuilder volume;
    const uint32 none = volume.addDirectory(0, named("none"));
    volume.addFile(none, named("a.txt", kDeleted), "1");
    const uint32 some = volume.addDirectory(0, named("some"));
    volume.addFile(some, named("b.txt", kDeleted), "2");
    volume.addFile(some, named("c.jpg", kDeleted), "3");
    TestMedia media(volume.bytes());
    ZFatVolume fat(&media);
    ASSERT_TRUE(fat.init());
    ZFileTree tree;
    tree.filter = [](const ZFileTreeNode& node) {
        return node.isDirectory || node.name.ends_with(L".jpg");
    };
    fat.scan(&tree);
    EXPECT_EQ(tree.find(none), nullptr);
    EXPECT_EQ(tree.childCount(some), 1);
}

} // namespace
} // namespace kova::test
