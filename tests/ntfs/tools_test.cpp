// Volumes made by the tools that people make them with: mkntfs and ntfscp.
#include "engine/ZMemoryStream.h"
#include "engine/ntfs/ZNtfsVolume.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestMedia.h"
#include "tests/support/freeRecords.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <random>

namespace kova::test {
namespace {

struct Geometry {
    int clusterBytes;
    int sectorBytes;
};

std::ostream& operator<<(std::ostream& out, const Geometry& geometry) {
    return out << geometry.clusterBytes << " bytes a cluster, " << geometry.sectorBytes
               << " a sector";
}

bool run(const std::string& command) {
    // NOLINTNEXTLINE(cert-env33-c): words of this test
    return std::system(
               ("PATH=$PATH:/usr/sbin:/sbin; { " + command + "; } >/dev/null 2>&1").c_str()) == 0;
}

class NtfsTools : public testing::TestWithParam<Geometry> {
protected:
    /// A volume with two files on it, their records marked free.
    void SetUp() override {
        if (!run("command -v mkntfs && command -v ntfscp"))
            GTEST_SKIP() << "ntfs-3g is not installed";
        const auto [clusterBytes, sectorBytes] = GetParam();
        const std::string path = (folder / "image").string();
        const int bytes = std::max(64 * clusterBytes, 2 << 20);
        ASSERT_TRUE(run("truncate -s " + std::to_string(bytes) + " " + path));
        ASSERT_TRUE(run("mkntfs -F -Q -q -p 0 -H 0 -S 0 -c " + std::to_string(clusterBytes) +
                        " -s " + std::to_string(sectorBytes) + " " + path));
        std::mt19937 random(7);
        std::generate_n(std::back_inserter(large), 70'001,
                        [&random] { return static_cast<char>(random()); });
        for (const auto& [name, content] :
             {std::pair{"large.bin", &large}, {"small.txt", &small}}) {
            const std::string source = (folder / name).string();
            std::ofstream(source, std::ios::binary) << *content;
            ASSERT_TRUE(run("ntfscp -f -q " + path + " " + source + " " + name));
        }
        std::ifstream in(path, std::ios::binary);
        image.assign(std::istreambuf_iterator<char>(in), {});
        freeRecords(image);
    }

    TempDir folder;
    std::string large;
    std::string small = "some text";
    std::vector<uint8> image;
};

TEST_P(NtfsTools, FilesComeBackWhateverTheGeometry) {
    TestMedia media(std::move(image), static_cast<uint32>(GetParam().sectorBytes));
    ZNtfsVolume volume(&media);
    volume.setScanOptions(ScanOptions::today());
    if (GetParam().clusterBytes < 1024) {
        EXPECT_THROW(volume.init(), int) << "a record does not fit into a cluster";
        return;
    }
    ASSERT_TRUE(volume.init());
    ZFileTree tree;
    volume.scan(&tree);
    std::map<std::wstring, std::string> contents;
    for (const int64 id : tree.childIds(kNoParent)) {
        const ZFileTreeNode& node = *tree.find(id);
        ZMemoryStream content;
        if (!node.isDirectory && volume.extract(node, &content))
            contents[node.name].assign(content.bytes().begin(), content.bytes().end());
    }
    EXPECT_TRUE(contents[L"large.bin"] == large);
    EXPECT_EQ(contents[L"small.txt"], small);
}

INSTANTIATE_TEST_SUITE_P(Geometries, NtfsTools,
                         testing::Values(Geometry{512, 512}, Geometry{1024, 512},
                                         Geometry{4096, 512}, Geometry{4096, 4096},
                                         Geometry{65536, 4096}, Geometry{131072, 512},
                                         Geometry{2097152, 512}),
                         [](const auto& parameter) {
                             return std::to_string(parameter.param.clusterBytes) + "of" +
                                    std::to_string(parameter.param.sectorBytes);
                         });

} // namespace
} // namespace kova::test
