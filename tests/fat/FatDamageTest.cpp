#include "tests/fat/FatScan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

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

FatEntry directory(const std::string& name, uint32 cluster, bool deleted = false) {
    FatEntry entry;
    entry.name = name;
    entry.cluster = cluster;
    entry.attributes = FatDirectoryEntry::kDirectory;
    entry.deleted = deleted;
    return entry;
}

FatEntry deletedFile(const std::string& name) {
    FatEntry entry;
    entry.name = name;
    entry.longName = std::u16string(name.begin(), name.end());
    entry.deleted = true;
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
        ZFatVolume fat(&media);
        try {
            return fat.init();
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
    EXPECT_FALSE(opens([](Bytes& bytes) { std::fill(bytes.begin(), bytes.end(), uint8{0xF6}); }));
}

TEST(FatDamage, FailsBeforeInit) {
    TestMedia media;
    ZFatVolume fat(&media);
    ZFileTree tree;
    EXPECT_THROW(fat.scan(&tree), int);
    ZMemoryStream out;
    EXPECT_THROW(fat.extract(fileAt(2, 1), &out), int);
}

/// Whatever the volume claims to hold, what the media holds is found and read.
TEST(FatDamage, ReadsNoFurtherThanTheMedia) {
    FatBuilder volume({.type = FatType::Fat32});
    volume.addFile(0, deletedFile("small"), "1");
    FatEntry large = deletedFile("large");
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
    const uint32 first = volume.addDirectory(0, directory("FIRST", 0));
    const uint32 second = volume.addDirectory(first, directory("SECOND", 0));
    volume.add(second, directory("BACK", first));
    volume.add(second, directory("LOSTBACK", first, true));
    volume.add(second, directory("ROOT", 0));
    volume.add(second, directory("SELF", second));
    volume.addFile(second, deletedFile("found"), "1");
    FatScan scan(volume);
    // The deleted entry that leads back is stored first, and gives way to the live one.
    EXPECT_EQ(scan.named(L"found").parentId, second);
    EXPECT_EQ(scan.named(L"SECOND").parentId, first);
    EXPECT_EQ(scan.named(L"FIRST").parentId, 0);
}

TEST(FatDamage, ReadsChainsInCirclesOnce) {
    for (const FatType type : {FatType::Fat12, FatType::Fat16, FatType::Fat32}) {
        FatBuilder volume({.type = type});
        const uint32 folder = volume.addDirectory(0, directory("FOLDER", 0));
        for (uint32 i = 10; i < 24; ++i)
            volume.addFile(folder, deletedFile("file" + std::to_string(i)), "1");
        const uint32 sharing = volume.addDirectory(0, directory("SHARING", 0));
        volume.addFile(sharing, deletedFile("shared"), "1");
        for (uint32 i = 0; i < 12; ++i)
            volume.addFile(sharing, deletedFile("X"), "");
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
        inner = volume.addDirectory(inner, directory("D", 0));
    const uint32 found = volume.addFile(inner, deletedFile("deepest"), "1");
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
        folders.push_back(volume.addDirectory(0, directory("D", 0)));
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
    class CountingMedia : public TestMedia {
    public:
        using TestMedia::TestMedia;
        uint64 bytesRead = 0;

    private:
        int64 readDevice(uint64 offset, std::span<uint8> bytes) override {
            bytesRead += bytes.size();
            return TestMedia::readDevice(offset, bytes);
        }
    };

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
    CountingMedia media(volume.bytes());
    ZFatVolume fat(&media);
    ASSERT_TRUE(fat.init());
    ZFileTree tree;
    fat.scan(&tree);
    EXPECT_EQ(tree.allNodes().size(), 4002U);
    EXPECT_LT(media.bytesRead, 2 * volume.bytes().size());
}

TEST(FatDamage, EndsWithWhateverBytesThereAre) {
    FatBuilder volume({.type = FatType::Fat12, .sectorsPerCluster = 2});
    const uint32 live = volume.addDirectory(0, directory("LIVE", 0));
    for (int i = 10; i < 40; ++i)
        volume.addFile(live, deletedFile("a file with a long name " + std::to_string(i)), "data");
    const uint32 lost = volume.addDirectory(live, directory("LOST", 0, true));
    volume.addDirectory(lost, directory("INNER", 0));

    constexpr std::size_t kLargestCluster = std::size_t{255} * 65535;
    std::mt19937 random(1);
    int opened = 0;
    for (int round = 0; round < 3000; ++round) {
        std::vector<uint8> bytes = volume.bytes();
        // The boot sector, the FAT and the directories stand in the first part.
        for (int change = 0; change < 1 + round % 20; ++change) {
            const std::size_t reach = change % 4 == 0 ? 48 : volume.offsetOf(60);
            bytes[random() % reach] = static_cast<uint8>(random());
        }
        bytes.resize(bytes.size() - random() % (bytes.size() / 2));
        try {
            FatScan scan(bytes, {.unsetDates = round % 2 == 0});
            ++opened;
            for (const auto& [id, node] : scan.tree.allNodes())
                ASSERT_LE(scan.extract(node).size(), bytes.size() + kLargestCluster);
        } catch (int failure) {
            ASSERT_EQ(failure, 0);
        }
    }
    EXPECT_GT(opened, 500);
}

} // namespace
} // namespace kova::test
