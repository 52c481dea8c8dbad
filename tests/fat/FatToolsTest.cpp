// Volumes made by the tools that people make them with: mkfs.fat and mtools.

#include "tests/fat/FatScan.h"
#include "tests/platform/Tools.h"
#include "tests/support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kova::test {
namespace {

namespace tools = platform::test;

struct Geometry {
    const char* label;
    FatType type;
    const char* options;
    uint32 bytesPerSector;
    uint32 megabytes;
};

class FatTools : public testing::TestWithParam<Geometry> {
protected:
    /// Runs one of the mtools on the image.
    void mtool(const std::string& tool, const std::string& arguments) {
        tools::run("export LC_ALL=C.UTF-8 MTOOLS_SKIP_CHECK=1; " + tool + " -i " +
                   forShell(image_) + " " + arguments);
    }

    void put(const std::string& path, const std::string& content) {
        std::ofstream(dir_ / "source", std::ios::binary) << content;
        mtool("mcopy", forShell(dir_ / "source") + " '::" + path + "'");
    }

    TempDir dir_;
    std::filesystem::path image_ = dir_ / "volume.img";
};

INSTANTIATE_TEST_SUITE_P(
    Geometries, FatTools,
    testing::Values(Geometry{"Fat12", FatType::Fat12, "-F 12 -s 1", 512, 2},
                    Geometry{"Fat12LargeSectors", FatType::Fat12, "-F 12 -s 2", 4096, 16},
                    Geometry{"Fat16", FatType::Fat16, "-F 16 -s 4", 512, 16},
                    Geometry{"Fat16LargeSectors", FatType::Fat16, "-F 16 -s 1", 4096, 32},
                    Geometry{"Fat32", FatType::Fat32, "-F 32 -s 1", 512, 40},
                    Geometry{"Fat32LargeClusters", FatType::Fat32, "-F 32 -s 2", 512, 80},
                    Geometry{"Fat32LargeSectors", FatType::Fat32, "-F 32 -s 1", 4096, 280}),
    [](const auto& geometry) { return geometry.param.label; });

TEST_P(FatTools, GivesDeletedFilesBackByteForByte) {
    std::string noise;
    for (uint32 i = 1; noise.size() < 300000; i = i * 1664525 + 1013904223)
        noise += static_cast<char>(i >> 24);

    struct File {
        std::string path;
        std::string shown; ///< Short names have lost their first character.
        std::string content;
    };

    std::vector<File> files = {
        {"A rather long name, with blanks.txt", "A rather long name, with blanks.txt", "some text"},
        {"\u00E9t\u00E9 \u65E5\u672C\u8A9E.jpg", "\u00E9t\u00E9 \u65E5\u672C\u8A9E.jpg",
         noise.substr(0, 70000)},
        {"SHORT.BIN", "?HORT.BIN", noise.substr(1000, 4096)},
        {"folder/in a folder.dat", "?older/in a folder.dat", noise},
        {"folder/inner folder/deep.doc", "?older/inner folder/?eep.doc", noise.substr(5, 20000)},
        {"kept/deleted in kept.png", "kept/deleted in kept.png", noise.substr(7, 9999)},
    };
    tools::makeFat(image_, std::uintmax_t{GetParam().megabytes} << 20,
                   GetParam().options + std::string(" -S ") +
                       std::to_string(GetParam().bytesPerSector));
    mtool("mmd", "::folder '::folder/inner folder' ::kept");
    put("live.txt", "still here");
    for (const File& file : files)
        put(file.path, file.content);
    put("kept/live too.txt", "still here");
    // Enough for several clusters of the folder, between which the files lie.
    const std::filesystem::path many = dir_ / "many";
    std::filesystem::create_directory(many);
    for (int i = 100; i < 200; ++i) {
        const std::string name = "A file with number " + std::to_string(i) + ".txt";
        std::ofstream(many / name) << i;
        files.push_back({name, "kept/" + name, std::to_string(i)});
    }
    mtool("mcopy", forShell(many) + "/* ::kept");
    mtool("mdel", "'::A rather long name, with blanks.txt' ::SHORT.BIN"
                  " '::\u00E9t\u00E9 \u65E5\u672C\u8A9E.jpg' '::kept/deleted in kept.png'"
                  " '::kept/A file with number 1*'");
    mtool("mdeltree", "::folder");

    const std::string bytes = tools::contentOf(image_);
    for (const uint32 mediaSector : {512U, 2048U, 4096U}) {
        FatScan scan({bytes.begin(), bytes.end()}, {}, mediaSector);
        EXPECT_EQ(scan.volume.geometry().type, GetParam().type);
        std::vector<std::string> expected = {"?older/", "?older/inner folder/", "kept/ (live)"};
        for (const File& file : files) {
            expected.push_back(file.shown);
            const std::string name = file.shown.substr(file.shown.rfind('/') + 1);
            const ZFileTreeNode& node = scan.named(format::wideFromUtf8(name));
            EXPECT_GT(node.modificationTime, 0) << name;
            EXPECT_EQ(scan.extract(node), file.content) << name;
        }
        EXPECT_THAT(scan.paths(), testing::UnorderedElementsAreArray(expected));
    }
}

} // namespace
} // namespace kova::test
