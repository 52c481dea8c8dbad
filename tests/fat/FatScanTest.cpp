#include "tests/fat/FatScan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

using testing::ElementsAre;
using testing::IsEmpty;

namespace kova::test {
namespace {

constexpr bool kDeleted = true;

FatEntry createdIn(int year, FatEntry entry) {
    entry.creationDate = fatDate(year, 1, 1);
    return entry;
}

class FatScanOfType : public testing::TestWithParam<FatType> {};

INSTANTIATE_TEST_SUITE_P(Types, FatScanOfType,
                         testing::Values(FatType::Fat12, FatType::Fat16, FatType::Fat32));

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

    const ZFileTreeNode& file = scan.named(L"gone");
    EXPECT_EQ(file.size, 1);
    EXPECT_EQ(file.attributes, 0x20U);
    EXPECT_EQ(file.creationTime, 132341922000000000);     // 2020-05-17 12:30:00
    EXPECT_EQ(file.modificationTime, 132684966620000000); // 2021-06-18 13:31:02
}

TEST_P(FatScanOfType, ReadsOnlyTheFirstClusterOfADeletedDirectory) {
    FatBuilder volume({.type = GetParam()});
    const uint32 lost = volume.addDirectory(0, named("lost", kDeleted));
    // A cluster holds 16 entries, the dots among them and two for each file.
    for (int i = 10; i < 60; ++i)
        volume.addFile(lost, named("f" + std::to_string(i), kDeleted), "x");
    EXPECT_EQ(FatScan(volume).tree.childCount(lost), 7);
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

TEST(FatScan, GivesAnEmptyFileInAFolderTheIdOfTheRoot) {
    FatBuilder volume;
    // Those in the root folder itself are dropped, as are names that begin with a dot there.
    volume.addFile(0, named(".profile", kDeleted), "1");
    volume.addFile(0, named("none", kDeleted), "");
    EXPECT_EQ(FatScan(volume).tree.allNodes().size(), 1U);
    const uint32 folder = volume.addDirectory(0, named("folder"));
    volume.addFile(folder, named("empty", kDeleted), "");
    volume.addFile(folder, named("full", kDeleted), "1");
    FatScan scan(volume);
    EXPECT_THAT(scan.paths(), ElementsAre("folder/ (live)", "folder/empty", "folder/full"));
    // Newer than the root node, which has no time.
    EXPECT_EQ(scan.tree.find(0)->parentId, folder);
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
    EXPECT_EQ(scan.named(L"later").parentId, kLostFolder);
}

TEST(FatScan, TakesTheLowAndTheHighClusterWordAndRefusesWhatIsNoCluster) {
    FatBuilder volume;
    const uint32 last = volume.clusterCount();
    for (const uint32 cluster : {last, last + 1, 0x10005U, 0xFFFFFFFFU}) {
        FatEntry entry = named(std::to_string(cluster), kDeleted);
        entry.cluster = cluster;
        volume.add(0, entry);
    }
    EXPECT_THAT(FatScan(volume).paths(), ElementsAre(std::to_string(last)));
}

TEST(FatScan, ListsEntriesWithUnsetDatesOnRequest) {
    FatBuilder volume;
    FatEntry entry;
    entry.name = "CAMERA";
    entry.deleted = true;
    entry.creationDate = 0;
    entry.accessDate = 0;
    volume.addFile(0, entry, "1");
    volume.addFile(0, named("other", kDeleted), "2");
    EXPECT_THAT(FatScan(volume.bytes(), {.unsetDates = false}).paths(), ElementsAre("other"));

    FatScan scan(volume.bytes(), {.unsetDates = true});
    EXPECT_THAT(scan.paths(), ElementsAre("?AMERA", "other"));
    EXPECT_EQ(scan.named(L"?AMERA").creationTime, 0);
}

TEST(FatScan, WalksTheRootOfAWipedTableOnRequest) {
    FatBuilder volume;
    volume.addFile(0, named("gone", kDeleted), "1");
    volume.setFat(0, 0);
    EXPECT_THAT(FatScan(volume.bytes()).paths(), IsEmpty());
    EXPECT_THAT(FatScan(volume.bytes(), {.lenientFat = true}).paths(), ElementsAre("gone"));
}

TEST(FatScan, ReportsProgressAndCannotBeStopped) {
    FatBuilder volume;
    volume.addFile(0, named("gone", kDeleted), "1");
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
    EXPECT_THAT(reports, ElementsAre(0.01, 1.0));
    EXPECT_EQ(tree.allNodes().size(), 2U);

    fat.setProgressCallback([](double) -> bool { throw std::logic_error("stop"); });
    EXPECT_THROW(fat.scan(&tree), std::logic_error);
}

} // namespace
} // namespace kova::test
