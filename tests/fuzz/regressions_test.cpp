#include "fuzz/VolumeRun.h"
#include "tests/support/ExFatBuilder.h"
#include "tests/support/FatBuilder.h"
#include "tests/support/NtfsBuilder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

namespace kova::test {
namespace {

namespace fs = std::filesystem;

const fs::path kFolder = fs::path(ORVANE_SOURCE_DIR) / "fuzz" / "regressions";

/// Runs every file of a folder through `run`; returns how many there were.
int replay(const fs::path& folder, void (*run)(std::span<const uint8>)) {
    int count = 0;
    for (const auto& file : fs::directory_iterator(folder)) {
        SCOPED_TRACE(file.path());
        std::ifstream in(file.path(), std::ios::binary);
        const std::vector<uint8> image{std::istreambuf_iterator<char>(in), {}};
        run(image);
        ++count;
    }
    return count;
}

/// Runs a volume whose first `reach` bytes, which hold its tables, are changed here and there and
/// whose end is missing.
void runDamaged(const std::vector<uint8>& whole, std::size_t reach,
                void (*run)(std::span<const uint8>)) {
    constexpr std::size_t kBootBytes = 48; // what is worth the most damage
    std::mt19937 random(1);
    for (int round = 0; round < 500; ++round) {
        std::vector<uint8> image = whole;
        for (int change = 0; change < 1 + round % 20; ++change)
            image[random() % (change % 4 == 3 ? kBootBytes : reach)] = static_cast<uint8>(random());
        image.resize(image.size() - random() % (image.size() / 2));
        run(image);
    }
}

TEST(FuzzRegressions, Ntfs) {
    EXPECT_GT(replay(kFolder / "ntfs", fuzz::runNtfs), 0);
    NtfsBuilder volume;
    volume.directory(30, 5, u"folder", false);
    for (uint32 i = 40; i < 60; ++i)
        volume.deletedFile(i, 30, u"file", "content");
    const std::vector<uint8> image = volume.build();
    runDamaged(image, image.size(), fuzz::runNtfs);
}

TEST(FuzzRegressions, Fat) {
    EXPECT_GT(replay(kFolder / "fat", fuzz::runFat), 0);
    FatBuilder volume({.type = FatType::Fat12, .sectorsPerCluster = 2});
    const uint32 folder = volume.addDirectory(0, {.name = "FOLDER", .longName = u"folder"});
    for (int i = 0; i < 30; ++i)
        volume.addFile(folder, {.name = "X", .longName = u"a longer name", .deleted = true}, "x");
    volume.addDirectory(folder, {.name = "LOST", .longName = u"lost", .deleted = true});
    runDamaged(volume.bytes(), volume.offsetOf(60), fuzz::runFat);
}

TEST(FuzzRegressions, ExFat) {
    ExFatBuilder volume({.clusterBytes = 512});
    const uint32 folder = volume.addFolder(0, {.name = u"folder"});
    const uint32 gone = volume.addFolder(0, {.name = u"gone", .deleted = true});
    for (const uint32 parent : {uint32{0}, folder, gone})
        volume.addFile(parent, {.name = u"file", .deleted = true, .noFatChain = false}, "content");
    runDamaged(volume.bytes(), volume.bytes().size() / 2, fuzz::runExFat);
}

TEST(FuzzRegressions, Search) {
    EXPECT_GT(replay(kFolder / "search", fuzz::runSearch), 0);
}

} // namespace
} // namespace kova::test
