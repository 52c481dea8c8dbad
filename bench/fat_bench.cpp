#include "bench/Ratio.h"
#include "engine/ZFileTree.h"
#include "engine/fat/ZFatVolume.h"
#include "tests/support/FatBuilder.h"
#include "tests/support/TestMedia.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

namespace kova::bench {
namespace {

test::FatEntry entryNamed(char kind, int number, const char* extension = "") {
    test::FatEntry entry;
    entry.name = kind;
    entry.name.append(std::to_string(number)).append(extension);
    entry.deleted = *extension != '\0';
    return entry;
}

/// A scan of 1,000 folders of 100 deleted entries each on FAT32, against reading the folders'
/// bytes in the order of the walk.
void fatScan(benchmark::State& state) {
    constexpr int kFolders = 1000;
    constexpr int kEntries = 100;
    constexpr uint32 kSectorsPerCluster = 8;
    test::FatBuilder builder(
        {.type = FatType::Fat32, .sectorsPerCluster = kSectorsPerCluster, .clusters = 105'000});
    std::vector<uint32> clusters;
    for (int folder = 0; folder < kFolders; ++folder) {
        const uint32 directory = builder.addDirectory(0, entryNamed('F', folder));
        clusters.push_back(directory);
        for (int entry = 0; entry < kEntries; ++entry)
            builder.addFile(directory, entryNamed('E', entry, ".TXT"), "x");
    }
    test::TestMedia media(builder.bytes());
    ZFatVolume volume(&media);
    volume.init();
    std::vector<uint8> buffer(builder.clusterBytes());
    auto tree = std::make_unique<ZFileTree>();
    compare(
        state, 3.0,
        [&] {
            for (const uint32 cluster : clusters) {
                media.seek(builder.offsetOf(cluster) / media.sectorSize());
                media.read(buffer.data(), kSectorsPerCluster);
                benchmark::DoNotOptimize(buffer.data());
            }
        },
        [&] { volume.scan(tree.get()); }, 9, [&] { tree = std::make_unique<ZFileTree>(); });
    volume.scan(tree.get());
    state.counters["nodes"] = static_cast<double>(tree->allNodes().size());
}

BENCHMARK(fatScan)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace kova::bench
