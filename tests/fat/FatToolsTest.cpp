// Volumes made by the tools that people make them with: mkfs.fat and mtools.

#include "tests/fat/FatScan.h"
#include "tests/support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

using testing::UnorderedElementsAreArray;

namespace kova::test {
namespace {

struct Geometry {
    const char* label;
    FatType type;
    int bits;
    int bytesPerSector;
    int sectorsPerCluster;
    int megabytes;
};

void PrintTo(const Geometry& geometry, std::ostream* out) {
    *out << geometry.label;
}

class FatTools : public testing::TestWithParam<Geometry> {
protected:
    void SetUp() override {
        if (!run("command -v mkfs.fat mcopy mmd mdel mdeltree"))
            GTEST_SKIP() << "needs dosfstools and mtools";
        const Geometry& geometry = GetParam();
        image_ = (dir_ / "volume.img").string();
        ASSERT_TRUE(run("mkfs.fat -C -F " + std::to_string(geometry.bits) + " -S " +
                        std::to_string(geometry.bytesPerSector) + " -s " +
                        std::to_string(geometry.sectorsPerCluster) + " '" + image_ + "' " +
                        std::to_string(geometry.megabytes * 1024)));
    }

    bool run(const std::string& command) {
        const std::string quiet = "export LC_ALL=C.UTF-8 MTOOLS_SKIP_CHECK=1; { " + command +
                                  "; } >'" + (dir_ / "log").string() + "' 2>&1";
        // NOLINTNEXTLINE(cert-env33-c,concurrency-mt-unsafe): the commands are this file's own.
        return std::system(quiet.c_str()) == 0;
    }

    /// Runs one of the mtools on the image.
    void mtool(const std::string& tool, const std::string& arguments) {
        const auto space = arguments.empty() ? "" : " ";
        ASSERT_TRUE(run(tool + " -i '" + image_ + "'" + space + arguments))
            << tool << " " << arguments << ": " << contentOf(dir_ / "log");
    }

    void put(const std::string& path, const std::string& content) {
        const auto source = dir_ / "source";
        std::ofstream(source, std::ios::binary) << content;
        mtool("mcopy", "-m '" + source.string() + "' '::" + path + "'");
    }

    static std::string contentOf(const std::filesystem::path& path) {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    std::vector<uint8> image() {
        std::vector<uint8> bytes(std::filesystem::file_size(image_));
        std::ifstream in(image_, std::ios::binary);
        // NOLINTNEXTLINE(*-reinterpret-cast): what a stream of chars reads into
        in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        EXPECT_TRUE(in.good());
        return bytes;
    }

    TempDir dir_;
    std::string image_;
};

INSTANTIATE_TEST_SUITE_P(
    Geometries, FatTools,
    testing::Values(Geometry{"Fat12", FatType::Fat12, 12, 512, 1, 2},
                    Geometry{"Fat12LargeSectors", FatType::Fat12, 12, 4096, 2, 16},
                    Geometry{"Fat16", FatType::Fat16, 16, 512, 4, 16},
                    Geometry{"Fat16LargeSectors", FatType::Fat16, 16, 4096, 1, 32},
                    Geometry{"Fat32", FatType::Fat32, 32, 512, 1, 40},
                    Geometry{"Fat32LargeClusters", FatType::Fat32, 32, 512, 2, 80},
                    Geometry{"Fat32LargeSectors", FatType::Fat32, 32, 4096, 1, 280}),
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

    const std::vector<File> files = {
        {"A rather long name, with blanks.txt", "A rather long name, with blanks.txt", "some text"},
        {"\u00E9t\u00E9 \u65E5\u672C\u8A9E.jpg", "\u00E9t\u00E9 \u65E5\u672C\u8A9E.jpg",
         noise.substr(0, 70000)},
        {"SHORT.BIN", "?HORT.BIN", noise.substr(1000, 4096)},
        {"folder/in a folder.dat", "?older/in a folder.dat", noise},
        {"folder/inner folder/deep.doc", "?older/inner folder/?eep.doc", noise.substr(5, 20000)},
        {"kept/deleted in kept.png", "kept/deleted in kept.png", noise.substr(7, 9999)},
    };
    mtool("mmd", "::folder '::folder/inner folder' ::kept");
    put("live.txt", "still here");
    for (const File& file : files)
        put(file.path, file.content);
    put("kept/live too.txt", "still here");
    mtool("mdel",
          "'::A rather long name, with blanks.txt' '::\u00E9t\u00E9 \u65E5\u672C\u8A9E.jpg' "
          "::SHORT.BIN '::kept/deleted in kept.png'");
    mtool("mdeltree", "::folder");

    FatScan scan(image(), {}, static_cast<uint32>(GetParam().bytesPerSector));
    EXPECT_EQ(scan.volume.geometry().type, GetParam().type);
    std::vector<std::string> expected = {"?older/", "?older/inner folder/", "kept/ (live)"};
    for (const File& file : files) {
        expected.push_back(file.shown);
        const std::string name = file.shown.substr(file.shown.rfind('/') + 1);
        const ZFileTreeNode& node = scan.named(platform::wideFromUtf8(name));
        EXPECT_FALSE(node.exists) << name;
        EXPECT_GT(node.modificationTime, 0) << name;
        EXPECT_EQ(scan.extract(node), file.content) << name;
    }
    EXPECT_THAT(scan.paths(), UnorderedElementsAreArray(expected));
}

TEST_P(FatTools, FindsEveryFileOfALargeFolder) {
    mtool("mmd", "::many");
    const auto source = dir_ / "files";
    std::filesystem::create_directory(source);
    for (int i = 100; i < 200; ++i)
        std::ofstream(source / ("A file with number " + std::to_string(i) + ".txt")) << i;
    mtool("mcopy", "'" + source.string() + "'/* ::many");
    mtool("mdel", "'::many/A file with number 1*'");

    FatScan scan(image(), {}, static_cast<uint32>(GetParam().bytesPerSector));
    for (int i = 100; i < 200; ++i) {
        const std::wstring number = std::to_wstring(i);
        EXPECT_EQ(scan.extract(scan.named(L"A file with number " + number + L".txt")),
                  std::to_string(i));
    }
}

} // namespace
} // namespace kova::test
