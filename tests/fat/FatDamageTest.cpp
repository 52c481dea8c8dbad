#include "tests/fat/FatScan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace kova::test {
namespace {

// Offsets in the boot sector.
constexpr std::size_t kBytesPerSector = 11;
constexpr std::size_t kSectorsPerCluster = 13;
constexpr std::size_t kReservedSectors = 14;
constexpr std::size_t kTotalSectors16 = 19;
constexpr std::size_t kFatSectors16 = 22;
constexpr std::size_t kTotalSectors32 = 32;
constexpr std::size_t kFatSectors32 = 36;

/// An entry of a directory that stands at any cluster.
FatEntry directory(const std::string& name, uint32 cluster, bool deleted = false) {
    FatEntry entry;
    entry.name = name;
    entry.cluster = cluster;
    entry.attributes = FatDirectoryEntry::kDirectory;
    entry.deleted = deleted;
    return entry;
}

template <typename T>
void setBoot(std::vector<uint8>& bytes, std::size_t offset, T value) {
    storeLe<T>(bytes.data() + offset, value);
}

TEST(FatDamage, RefusesBootSectorsThatDescribeNoVolume) {
    const auto opens = [](const auto& change) {
        FatBuilder volume;
        change(volume.bytes());
        TestMedia media(volume.bytes());
        try {
            return ZFatVolume(&media).init();
        } catch (int) {
            return false;
        }
    };
    using Bytes = std::vector<uint8>;
    EXPECT_TRUE(opens([](Bytes&) {}));
    EXPECT_FALSE(opens([](Bytes& bytes) { setBoot<uint16>(bytes, kBytesPerSector, 0); }));
    EXPECT_FALSE(opens([](Bytes& bytes) { setBoot<uint16>(bytes, kBytesPerSector, 513); }));
    EXPECT_FALSE(opens([](Bytes& bytes) { setBoot<uint8>(bytes, kSectorsPerCluster, 0); }));
    EXPECT_FALSE(opens([](Bytes& bytes) { setBoot<uint16>(bytes, kTotalSectors16, 3); }));
    EXPECT_FALSE(opens([](Bytes& bytes) { bytes.clear(); }));
}

/// Whatever the volume claims to hold, what the media holds is found and read.
TEST(FatDamage, ReadsNoFurtherThanTheMedia) {
    FatBuilder volume({.type = FatType::Fat32});
    volume.addFile(0, named("small", true), "1");
    FatEntry large = named("large", true);
    large.cluster = volume.allocate();
    large.size = 0xFFFFFFFF;
    volume.add(0, large);
    const std::size_t held = volume.offsetOf(large.cluster + 10) + 100;

    std::vector<uint8> bytes(volume.bytes().begin(),
                             volume.bytes().begin() + static_cast<std::ptrdiff_t>(held));
    setBoot<uint32>(bytes, kTotalSectors32, 0xFFFFFFFF);
    FatScan scan(bytes);
    EXPECT_THAT(scan.paths(), ElementsAre("small", "large"));
    EXPECT_EQ(scan.extract(scan.named(L"small")), "1");
    EXPECT_EQ(scan.extract(scan.named(L"large")).size(), 11 * volume.clusterBytes());

    // A FAT of terabytes, and behind it the data.
    setBoot<uint32>(bytes, kFatSectors32, 0x40000000);
    EXPECT_THAT(FatScan(bytes).paths(), IsEmpty());
    setBoot<uint16>(bytes, kReservedSectors, 0xFFFF);
    setBoot<uint16>(bytes, kBytesPerSector, 0xFFE0);
    setBoot<uint8>(bytes, kSectorsPerCluster, 0xFF);
    EXPECT_THAT(FatScan(bytes).paths(), IsEmpty());
}

TEST(FatDamage, TakesAShortTableAsFullOfBadClusters) {
    FatBuilder volume;
    uint32 deleted = 0;
    for (int i = 0; i < 300; ++i)
        deleted = volume.allocate();
    volume.add(0, directory("INSIDE", 100));
    volume.add(0, directory("BEYOND", deleted, true));
    volume.addRaw(0, FatRawEntry{});
    std::vector<uint8> bytes = volume.bytes();
    // The table ends after 256 clusters; the root directory and the data keep their places.
    const uint16 fats = static_cast<uint16>(2 * loadLe<uint16>(bytes.data() + kFatSectors16));
    setBoot<uint16>(bytes, kFatSectors16, 1);
    setBoot<uint8>(bytes, 16, static_cast<uint8>(fats));
    FatScan scan(bytes);
    EXPECT_THAT(scan.paths(), ElementsAre("?EYOND/"));
}

TEST(FatDamage, WalksDirectoriesThatLeadBackOnce) {
    FatBuilder volume;
    const uint32 first = volume.addDirectory(0, named("FIRST"));
    const uint32 second = volume.addDirectory(first, named("SECOND"));
    volume.add(second, directory("BACK", first));
    volume.add(second, directory("LOSTBACK", first, true));
    volume.add(second, directory("ROOT", 0));
    volume.add(second, directory("SELF", second));
    volume.addFile(second, named("found", true), "1");
    FatScan scan(volume);
    // The deleted entry that leads back is stored first, and gives way to the live one.
    EXPECT_EQ(scan.named(L"found").parentId, second);
    EXPECT_EQ(scan.named(L"SECOND").parentId, first);
    EXPECT_EQ(scan.named(L"FIRST").parentId, 0);
}

TEST(FatDamage, ReadsChainsInCirclesOnce) {
    for (const FatType type : {FatType::Fat12, FatType::Fat16, FatType::Fat32}) {
        FatBuilder volume({.type = type});
        const uint32 folder = volume.addDirectory(0, named("FOLDER"));
        for (uint32 i = 10; i < 24; ++i)
            volume.addFile(folder, named("file" + std::to_string(i), true), "1");
        const uint32 sharing = volume.addDirectory(0, named("SHARING"));
        volume.addFile(sharing, named("shared", true), "1");
        for (uint32 i = 0; i < 12; ++i)
            volume.addFile(sharing, named("X", true), "");
        // The first folder's chain goes on into the second one and from there back.
        volume.setFat(folder, sharing);
        volume.setFat(sharing, folder);
        FatScan scan(volume);
        EXPECT_EQ(scan.named(L"file10").parentId, folder);
        EXPECT_EQ(scan.tree.find(sharing), nullptr); // Live, and nothing more was found in it.
        volume.setFat(folder, folder);
        EXPECT_EQ(FatScan(volume).named(L"shared").parentId, sharing);
    }
}

TEST(FatDamage, WalksAnyDepth) {
    FatBuilder volume({.type = FatType::Fat16, .clusters = 60000});
    uint32 inner = 0;
    for (int depth = 0; depth < 50000; ++depth)
        inner = volume.addDirectory(inner, named("D"));
    const uint32 found = volume.addFile(inner, named("deepest", true), "1");
    FatScan scan(volume);
    EXPECT_EQ(scan.tree.allNodes().size(), 50002U);
    EXPECT_EQ(scan.tree.find(found)->parentId, inner);
}

/// Folders that all lead to each other, in every entry.
TEST(FatDamage, ReadsEachClusterOnce) {
    constexpr uint32 kFolders = 60;
    FatBuilder volume({.sectorsPerCluster = 8});
    std::vector<uint32> folders;
    for (uint32 i = 0; i < kFolders; ++i)
        folders.push_back(volume.addDirectory(0, named("D")));
    for (const uint32 folder : folders) {
        for (const uint32 other : folders)
            volume.add(folder, directory("X", other, true));
    }
    FatScan scan(volume);
    EXPECT_EQ(scan.tree.allNodes().size(), kFolders + 1);
    EXPECT_LT(scan.media.requests(), static_cast<int>(kFolders) + 10);
}

/// Chains that all run through the rest of the volume, each with a folder in its first cluster.
TEST(FatDamage, ReadsLittleAheadOfChainsThatShareClusters) {
    FatBuilder volume;
    const uint32 first = volume.allocate(4000);
    volume.add(0, directory("D", first));
    for (uint32 cluster = first; cluster < first + 4000; ++cluster) {
        const auto entries = volume.cluster(cluster);
        for (std::size_t at = 0; at < entries.size(); at += FatDirectoryEntry::kBytes) {
            const FatRawEntry raw = shortEntry(directory("D", cluster + 1, true));
            std::copy(raw.begin(), raw.end(), entries.begin() + static_cast<std::ptrdiff_t>(at));
        }
    }
    FatScan scan(volume);
    EXPECT_EQ(scan.tree.allNodes().size(), 4002U);
    EXPECT_LT(scan.media.bytesRead(), 2 * volume.bytes().size());
}

} // namespace
} // namespace kova::test
