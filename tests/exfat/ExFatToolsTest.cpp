// Volumes made by the tools that people make them with, and filled through a driver.

#include "tests/exfat/ExFatScan.h"
#include "tests/platform/Tools.h"
#include "tests/support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kova::test {
namespace {

namespace tools = platform::test;

struct Geometry {
    const char* label;
    const char* options;
    uint32 megabytes;
};

/// An exFAT volume that is mounted while it is being filled; that takes rights.
class ExFatTools : public testing::TestWithParam<Geometry> {
protected:
    void SetUp() override {
        tools::makeFile(image_, std::uintmax_t{GetParam().megabytes} << 20);
        tools::run(std::string("mkfs.exfat ") + GetParam().options + " " + forShell(image_));
        mayMount_ = inMount("true");
        if (!mayMount_)
            GTEST_SKIP() << "no loop device, or no driver";
    }

    /// Runs a command in the root directory of the volume.
    bool inMount(const std::string& command) {
        const std::string folder = forShell(dir_ / "mount");
        return tools::succeeds("set -e; mkdir -p " + folder + "; device=$(losetup --show -f " +
                               forShell(image_) + "); trap 'losetup -d $device' EXIT; " +
                               "mount.exfat-fuse $device " + folder + "; status=0; (cd " + folder +
                               " && " + command + ") || status=$?; umount " + folder +
                               "; exit $status");
    }

    [[nodiscard]] std::vector<uint8> bytes() const {
        const std::string content = tools::contentOf(image_);
        return {content.begin(), content.end()};
    }

    TempDir dir_;
    std::filesystem::path image_ = dir_ / "volume.img";
    bool mayMount_ = false;
};

INSTANTIATE_TEST_SUITE_P(Geometries, ExFatTools,
                         testing::Values(Geometry{"SmallClusters", "-c 512", 16},
                                         Geometry{"Usual", "-c 4096", 32},
                                         Geometry{"LargeClusters", "-c 131072", 128}),
                         [](const auto& geometry) { return geometry.param.label; });

TEST_P(ExFatTools, GivesDeletedFilesBackByteForByte) {
    std::string noise;
    for (uint32 i = 1; noise.size() < 300000; i = i * 1664525 + 1013904223)
        noise += static_cast<char>(i >> 24);
    std::map<std::string, std::string> files = {
        {"A rather long name, with blanks.txt", "some text"},
        {"\u00E9t\u00E9 \u65E5\u672C\u8A9E \U0001F4F7.dat", noise.substr(0, 70000)},
        {".hidden", noise.substr(1000, 4096)},
        {"empty", ""},
        {"also empty", ""},
        {"folder/in a folder.dat", noise},
        {"folder/inner folder/deep.dat", noise.substr(5, 20000)},
        {"kept/" + std::string(250, 'n') + ".dat", noise.substr(7, 9999)},
    };
    // Enough for several clusters of each folder, between which the files lie. The driver gives a
    // folder's clusters back when nothing in them is used any more.
    for (int i = 100; i < 400; ++i) {
        files["kept/A file with number " + std::to_string(i) + ".txt"] = std::to_string(i);
        files["gone/Photo number " + std::to_string(i) + ".dat"] = noise.substr(0, 500) + '.';
    }
    const std::filesystem::path source = dir_ / "source";
    for (const auto& [path, content] : files) {
        const std::filesystem::path file = source / std::u8string(path.begin(), path.end());
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << content;
    }
    ASSERT_TRUE(inMount("cp -r " + forShell(source) +
                        "/. .; mkdir nothing; "
                        "echo here >live; echo here >kept/live"));
    ASSERT_TRUE(inMount("rm -r folder gone kept/A* kept/n* A* *.dat .hidden empty also*"));

    std::vector<std::string> expected = {"folder/", "folder/inner folder/", "gone/",
                                         "kept/ (live)"};
    for (const auto& [path, content] : files)
        expected.push_back(path);
    for (const uint32 mediaSector : {512U, 4096U}) {
        ExFatScan scan(bytes(), mediaSector);
        EXPECT_THAT(scan.paths(), testing::UnorderedElementsAreArray(expected));
        for (const auto& [path, node] : scan.nodes()) {
            if (node->isDirectory)
                continue;
            EXPECT_EQ(scan.extract(*node), files[path]) << path;
            EXPECT_EQ(scan.volume.assess(*node).kind, FileState::Kind::Whole) << path;
            EXPECT_GT(node->modificationTime, 0) << path;
        }
    }
}

} // namespace
} // namespace kova::test
