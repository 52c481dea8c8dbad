#include "fuzz/VolumeRun.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
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

TEST(FuzzRegressions, Ntfs) {
    EXPECT_GT(replay(kFolder / "ntfs", fuzz::runNtfs), 0);
}

TEST(FuzzRegressions, Fat) {
    EXPECT_GT(replay(kFolder / "fat", fuzz::runFat), 0);
}

} // namespace
} // namespace kova::test
