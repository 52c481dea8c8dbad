#include "bench/Nodes.h"
#include "bench/Ratio.h"
#include "bench/States.h"
#include "engine/ZFileTree.h"
#include "engine/exfat/ZExFatVolume.h"
#include "tests/support/ExFatBuilder.h"
#include "tests/support/TestMedia.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

namespace kova::bench {
namespace {

constexpr uint32 kClusterBytes = 32 * 1024;

/// A volume with folders of 40 deleted files each, whose first clusters are in `clusters`.
test::ExFatBuilder foldersOfDeleted(uint32 folders, std::vector<uint32>& clusters) {
    constexpr int kFiles = 40;
    test::ExFatBuilder builder({.clusterBytes = kClusterBytes, .clusters = 3 * folders});
    for (uint32 folder = 0; folder < folders; ++folder) {
        const std::string text = "folder " + std::to_string(folder);
        const std::u16string name(text.begin(), text.end());
        clusters.push_back(builder.addFolder(0, {.name = name}));
        for (int file = 0; file < kFiles; ++file) {
            const std::string photo = "photo " + std::to_string(file) + ".jpg";
            test::ExFatEntry entry{.name = {photo.begin(), photo.end()}, .deleted = true};
            entry.cluster = 3 * folders - 100;
            entry.size = kClusterBytes;
            builder.add(clusters.back(), test::entrySet(entry));
        }
    }
    return builder;
}

/// A scan of 1,000 folders of 40 deleted files each, against what that is: reading the folders'
/// bytes and putting the same nodes into a tree.
void exFatScan(benchmark::State& state) {
    std::vector<uint32> clusters;
    test::ExFatBuilder builder = foldersOfDeleted(1000, clusters);
    test::TestMedia media(builder.bytes());
    std::vector<uint8> buffer(kClusterBytes);
    const auto opened = [&media] {
        auto volume = std::make_unique<ZExFatVolume>(&media);
        volume->setScanOptions(ScanOptions::today());
        volume->init();
        return volume;
    };
    const std::vector<ZFileTreeNode> nodes = nodesOf(*opened());
    auto tree = std::make_unique<ZFileTree>();
    compare(
        state, 2.5,
        [&] {
            for (const uint32 cluster : clusters) {
                const auto offset =
                    static_cast<uint64>(builder.cluster(cluster).data() - builder.bytes().data());
                media.seek(offset / media.sectorSize());
                media.read(buffer.data(), kClusterBytes / media.sectorSize());
                benchmark::DoNotOptimize(buffer.data());
            }
            for (const ZFileTreeNode& node : nodes)
                tree->insert(node);
        },
        [&] { opened()->scan(tree.get()); }, 9, [&] { tree = std::make_unique<ZFileTree>(); });
}

void exFatStates(benchmark::State& state) {
    std::vector<uint32> clusters;
    test::TestMedia media(foldersOfDeleted(3500, clusters).bytes());
    ZExFatVolume volume(&media);
    volume.setScanOptions(ScanOptions::today());
    volume.init();
    compareStates(state, volume);
}

BENCHMARK(exFatStates)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

BENCHMARK(exFatScan)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace kova::bench
