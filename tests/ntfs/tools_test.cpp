// Volumes made by the tools that people make them with: mkntfs and ntfscp.
#include "engine/ZMemoryStream.h"
#include "engine/ntfs/ZNtfsVolume.h"
#include "tests/platform/Tools.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestMedia.h"
#include "tests/support/freeRecords.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

namespace kova::test {
namespace {

namespace tools = platform::test;

struct Geometry {
    uint32 clusterBytes;
    uint32 sectorBytes;
};

class NtfsTools : public testing::TestWithParam<Geometry> {};

TEST_P(NtfsTools, FilesComeBackWhateverTheGeometry) {
    const auto [clusterBytes, sectorBytes] = GetParam();
    const TempDir folder;
    const std::filesystem::path path = folder / "image";
    tools::makeNtfs(path, std::max(64 * clusterBytes, 2U << 20),
                    "-p 0 -H 0 -S 0 -c " + std::to_string(clusterBytes) + " -s " +
                        std::to_string(sectorBytes));
    std::string large(70'001, '\0');
    std::generate(large.begin(), large.end(),
                  [random = std::mt19937(7)]() mutable { return static_cast<char>(random()); });
    const std::string small = "some text";
    for (const auto& [name, content] : {std::pair{"large.bin", large}, {"small.txt", small}}) {
        std::ofstream(folder / name, std::ios::binary) << content;
        tools::run("ntfscp -f -q " + forShell(path) + " " + forShell(folder / name) + " " + name);
    }
    const std::string bytes = tools::contentOf(path);
    std::vector<uint8> image(bytes.begin(), bytes.end());
    freeRecords(image);

    for (const uint32 mediaSector : {512U, 2048U, 4096U}) {
        TestMedia media(image, mediaSector);
        ZNtfsVolume volume(&media);
        volume.setScanOptions(ScanOptions::today());
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
        EXPECT_TRUE(contents[L"large.bin"] == large) << mediaSector;
        EXPECT_EQ(contents[L"small.txt"], small) << mediaSector;
    }
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
