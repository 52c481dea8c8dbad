// What drivers leave and damage does, on volumes built to the byte.

#include "format/FileTime.h"
#include "tests/exfat/ExFatScan.h"
#include "tests/support/ExFatBuilder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>

namespace kova::test {
namespace {

using Kind = FileState::Kind;
using Reason = ExtractReport::Reason;
using testing::ElementsAre;

/// `count` clusters of 4096 bytes, each filled with a letter of its own from `first` on.
std::string letters(char first, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += std::string(4096, static_cast<char>(first + static_cast<char>(i)));
    return text;
}

ExFatEntry deleted(std::u16string name) {
    return {.name = std::move(name), .deleted = true};
}

TEST(ExFatVolume, LiveAndDeletedFoldersGiveWhatWasLost) {
    ExFatBuilder builder;
    builder.addFile(0, {.name = u"live.txt"}, "live");
    const uint32 live = builder.addFolder(0, {.name = u"live"});
    builder.addFile(live, {.name = u"live.txt"}, "live");
    builder.addFile(live, deleted(u"lost.txt"), "lost");
    builder.addFolder(0, {.name = u"nothing in it"});
    const uint32 gone = builder.addFolder(0, deleted(u"gone"));
    builder.addFile(gone, {.name = u"never deleted.txt"}, "with its folder");
    builder.addFolder(gone, {.name = u"neither"});
    // A folder that was renamed: its old name leads nowhere.
    ExFatEntry old = deleted(u"old name");
    old.attributes = exfat::FileEntry::kDirectory;
    old.cluster = live;
    old.size = 4096;
    builder.add(0, entrySet(old));
    ExFatScan scan(builder.bytes());
    EXPECT_THAT(scan.paths(), ElementsAre("gone/", "gone/never deleted.txt", "live/ (live)",
                                          "live/lost.txt", "old name/"));
    EXPECT_EQ(scan.at("live/ (live)").id, int64{live});
    EXPECT_FALSE(scan.at("gone/never deleted.txt").exists);
    EXPECT_EQ(scan.extract(scan.at("gone/never deleted.txt")), "with its folder");
    EXPECT_EQ(scan.volume.assess(scan.at("gone/never deleted.txt")).kind, Kind::Uncertain);
}

TEST(ExFatVolume, FindsFoldersThatNoEntryLeadsToAnyMore) {
    ExFatBuilder builder;
    const std::string png("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16);
    const uint32 kept = builder.addFolder(0, {.name = u"kept"});
    const uint32 trip = builder.addFolder(kept, deleted(u"trip"));
    builder.addFile(trip, deleted(u"a.png"), png);
    const uint32 day = builder.addFolder(trip, deleted(u"day"));
    builder.addFile(day, deleted(u"b.png"), png);
    builder.addFile(day, deleted(u"b.txt"), "may be anybody's");
    // Of a former volume: no picture is where it says.
    const uint32 former = builder.addFolder(kept, deleted(u"former"));
    builder.addFile(former, deleted(u"c.png"), "something else");
    std::ranges::fill(builder.cluster(kept), uint8{0});
    ExFatScan scan(builder.bytes());
    const std::string folder = "Files with unknown path/Folder " + std::to_string(trip) + "/";
    EXPECT_THAT(scan.paths(),
                ElementsAre("Files with unknown path/", folder, folder + "a.png", folder + "day/",
                            folder + "day/b.png", folder + "day/b.txt"));
    EXPECT_EQ(scan.extract(scan.at(folder + "day/b.png")), png);
    EXPECT_EQ(scan.volume.assess(scan.at(folder + "day/b.png")).kind, Kind::Whole);
    EXPECT_EQ(scan.volume.assess(scan.at(folder + "day/b.txt")).kind, Kind::Uncertain);
}

TEST(ExFatVolume, NoFileIsLostToAnotherWithItsCluster) {
    ExFatBuilder builder;
    builder.addFile(0, deleted(u"empty"), "");
    builder.addFile(0, deleted(u"empty too"), "");
    ExFatEntry entry = deleted(u"old");
    entry.cluster = builder.addFile(0, deleted(u"renamed"), "content");
    entry.size = 7;
    builder.add(0, entrySet(entry)); // the same moment
    entry.name = u"older";
    entry.size = 3;
    entry.created -= 1U << 16U; // a day before
    builder.add(0, entrySet(entry));
    ExFatScan scan(builder.bytes());
    EXPECT_THAT(scan.paths(), ElementsAre("empty", "empty too", "old", "older", "renamed"));
    EXPECT_EQ(scan.extract(scan.at("empty too")), "");
    EXPECT_EQ(scan.extract(scan.at("old")), "content");
    EXPECT_EQ(scan.volume.assess(scan.at("old")).kind, Kind::Whole);
    // The later file has lain on all of it.
    EXPECT_EQ(scan.volume.assess(scan.at("older")).kind, Kind::Overwritten);
    ZMemoryStream content;
    EXPECT_FALSE(scan.volume.extract(scan.at("older"), &content));
    EXPECT_TRUE(content.bytes().empty());
}

/// A deleted file of four clusters without the mark that they follow each other, between others.
TEST(ExFatVolume, FragmentsAreFollowedOrGuessed) {
    const struct {
        const char* label;
        std::vector<uint32> chain; ///< Of clusters counted from the file's first.
        std::vector<uint32> used;
        std::string content;
        Kind kind;
    } cases[] = {
        {"kept chain", {0, 3, 1, 5}, {}, "ADBF", Kind::Whole},
        {"kept chain through another's cluster", {0, 3, 1, 5}, {1}, "ADBF", Kind::Partly},
        {"cleared chain", {}, {}, "ABCD", Kind::Whole},
        {"cleared chain, others in between", {}, {1, 3}, "ACEF", Kind::Uncertain},
        {"half a chain", {0, 3}, {}, "ADEF", Kind::Uncertain},
        {"all taken", {0, 3, 1, 5}, {0, 1, 3, 5}, "failed: ", Kind::Overwritten},
    };

    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        ExFatBuilder builder;
        ExFatEntry entry = deleted(u"fragments");
        entry.noFatChain = false;
        entry.size = 4 * 4096;
        const uint32 first = builder.addFile(0, entry, letters('A', 8));
        // Its entry says eight clusters; this one says four.
        entry.cluster = first;
        const std::vector<uint8> set = entrySet(entry);
        std::copy(set.begin(), set.end(), builder.cluster(3).begin() + 32);
        for (std::size_t i = 0; i + 1 < c.chain.size(); ++i)
            builder.setFat(first + c.chain[i], first + c.chain[i + 1]);
        if (c.chain.size() == 4)
            builder.setFat(first + c.chain[3], 0xFFFFFFFF);
        for (const uint32 cluster : c.used)
            builder.setUsed(first + cluster, true);
        ExFatScan scan(builder.bytes());
        const ZFileTreeNode& node = scan.at("fragments");
        const std::string content = scan.extract(node);
        std::string seen = content.starts_with("failed") ? content : "";
        for (std::size_t at = 0; seen.size() < 4; at += 4096)
            seen += content[at];
        EXPECT_EQ(seen, c.content);
        EXPECT_EQ(scan.volume.assess(node).kind, c.kind);
        EXPECT_EQ(scan.volume.extractReport().reason,
                  c.kind == Kind::Overwritten ? Reason::Overwritten : Reason::None);
    }
}

TEST(ExFatVolume, ItsContentTellsWhichGuessIsRight) {
    std::ifstream in(std::string(ORVANE_SOURCE_DIR) + "/tests/pictures/small.jpg",
                     std::ios::binary);
    const std::string picture{std::istreambuf_iterator<char>(in), {}};
    ASSERT_GT(picture.size(), 512U);
    ExFatBuilder builder({.clusterBytes = 512});
    ExFatEntry entry = deleted(u"picture.jpg");
    entry.noFatChain = false;
    const uint32 first = builder.addFile(0, entry, picture);
    // An older file lay in the middle of it, and must not be stepped over.
    ExFatEntry older = deleted(u"older");
    older.cluster = first + 1;
    older.size = 512;
    builder.add(0, entrySet(older));
    ExFatScan scan(builder.bytes());
    EXPECT_EQ(scan.extract(scan.at("picture.jpg")), picture);
}

TEST(ExFatVolume, WhatIsLeftOfADamagedSetCounts) {
    constexpr std::size_t kEntry = exfat::DirectoryEntry::kBytes;
    const std::string name = "a name of more than thirty units.txt";

    const struct {
        const char* label;
        std::size_t from; ///< Entries of the set that were overwritten.
        std::size_t to;
        const char* path;
    } cases[] = {
        {"its first entry", 0, 1, "a name of more than thirty units.txt"},
        {"the end of its name", 4, 5, "a name of more than thirty uni??????"},
        {"all of its name", 2, 5, "????????????????????????????????????"},
        {"where it lay", 1, 2, nullptr},
    };

    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        ExFatBuilder builder;
        const auto set = builder.addFile(0, deleted({name.begin(), name.end()}), "content");
        ASSERT_NE(set, 0U);
        const std::vector<uint8> other = entrySet({.name = u"live"});
        for (std::size_t i = c.from; i < c.to; ++i)
            std::copy_n(other.begin() + static_cast<std::ptrdiff_t>(i == 0 ? 0 : 2 * kEntry),
                        kEntry,
                        builder.cluster(3).begin() + static_cast<std::ptrdiff_t>((1 + i) * kEntry));
        ExFatScan scan(builder.bytes());
        if (c.path == nullptr) {
            EXPECT_THAT(scan.paths(), ElementsAre());
        } else {
            ASSERT_THAT(scan.paths(), ElementsAre(c.path));
            EXPECT_EQ(scan.extract(scan.at(c.path)), "content");
        }
    }
}

TEST(ExFatVolume, TimesAreUtcToTheHundredth) {
    using namespace std::chrono;
    ExFatBuilder builder;
    ExFatEntry entry = deleted(u"east");
    entry.created10ms = 123;
    entry.utcOffset = 0x80 | 22; // 5 h 30 min ahead
    builder.addFile(0, entry, "");
    entry.name = u"west";
    entry.utcOffset = 0x80 | 0x70; // 4 h behind
    builder.addFile(0, entry, "");
    ExFatScan scan(builder.bytes());
    const auto local =
        sys_days{2025y / March / 15} + 13h + 35min - format::kFileTimeEpoch + milliseconds{1230};
    const auto ticks = [](auto time) { return duration_cast<format::FileTimeTicks>(time).count(); };
    EXPECT_EQ(scan.at("east").creationTime, ticks(local - 5h - 30min));
    EXPECT_EQ(scan.at("west").creationTime, ticks(local + 4h));
}

TEST(ExFatVolume, LargeSectorsTexFatAndTheLengthThatWasWritten) {
    ExFatBuilder builder({.sectorBytes = 4096, .clusterBytes = 32768, .clusters = 60, .fats = 2});
    ExFatEntry entry = deleted(u"preallocated");
    entry.size = 100000;
    entry.validLength = 5;
    builder.addFile(0, entry, "12345 and what lay there before");
    entry = deleted(u"chained");
    entry.noFatChain = false;
    const uint32 first = builder.addFile(0, entry, letters('a', 24));
    builder.setFat(first, first + 2); // in the second FAT, the one in use
    builder.setFat(first + 2, first + 1);
    for (const uint32 mediaSector : {512U, 4096U}) {
        ExFatScan scan(builder.bytes(), mediaSector);
        EXPECT_EQ(scan.extract(scan.at("preallocated")), "12345" + std::string(99995, '\0'));
        EXPECT_EQ(scan.extract(scan.at("chained")),
                  letters('a', 8) + letters('q', 8) + letters('i', 8));
    }
}

TEST(ExFatVolume, AVolumeThatIsCutOffGivesWhatIsThere) {
    ExFatBuilder builder;
    builder.addFile(0, deleted(u"whole"), "content");
    const uint32 first = builder.addFile(0, deleted(u"cut"), letters('A', 4));
    builder.bytes().resize(
        static_cast<std::size_t>(builder.cluster(first + 1).data() - builder.bytes().data()) + 512);
    ExFatScan scan(builder.bytes());
    EXPECT_THAT(scan.volume.notes(), ElementsAre(VolumeNote::EndsEarly));
    EXPECT_EQ(scan.extract(scan.at("whole")), "content");
    EXPECT_EQ(scan.extract(scan.at("cut")), "failed: " + letters('A', 2).substr(0, 4608));
    EXPECT_EQ(scan.volume.extractReport().reason, Reason::BeyondDevice);
    EXPECT_EQ(scan.volume.extractReport().unreadableBytes, 4U * 4096 - 4608);
    EXPECT_EQ(scan.volume.assess(scan.at("cut")).kind, Kind::Unreadable);
}

TEST(ExFatVolume, TheCallbackEndsTheWalk) {
    ExFatBuilder builder;
    const uint32 folder = builder.addFolder(0, {.name = u"folder"});
    builder.addFile(0, deleted(u"top"), "x");
    builder.addFile(folder, deleted(u"below"), "x");
    ExFatScan scan(ExFatBuilder().bytes());
    TestMedia media(builder.bytes());
    ZExFatVolume volume(&media);
    volume.init();
    volume.setProgressCallback([](double) { return false; });
    volume.scan(&scan.tree);
    EXPECT_THAT(scan.paths(), ElementsAre("top"));
}

} // namespace
} // namespace kova::test
