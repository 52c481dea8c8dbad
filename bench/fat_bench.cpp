#include "bench/Nodes.h"
#include "bench/Ratio.h"
#include "bench/States.h"
#include "engine/ZFileTree.h"
#include "engine/fat/ZFatVolume.h"
#include "tests/support/FatBuilder.h"
#include "tests/support/TestMedia.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
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

constexpr uint32 kSectorsPerCluster = 8;

/// A FAT32 volume with folders of 100 deleted files each, whose first clusters are in `clusters`.
test::FatBuilder foldersOfDeleted(int folders, std::vector<uint32>& clusters) {
    constexpr int kEntries = 100;
    test::FatBuilder builder({.type = FatType::Fat32,
                              .sectorsPerCluster = kSectorsPerCluster,
                              .clusters = static_cast<uint32>(folders) * (kEntries + 5)});
    for (int folder = 0; folder < folders; ++folder) {
        const uint32 directory = builder.addDirectory(0, entryNamed('F', folder));
        clusters.push_back(directory);
        for (int entry = 0; entry < kEntries; ++entry)
            builder.addFile(directory, entryNamed('E', entry, ".TXT"), "x");
    }
    return builder;
}

/// A scan of 1,000 folders of 100 deleted entries each on FAT32, against what that is: reading the
/// folders' bytes, in the order of the walk, and putting the same nodes into a tree.
void fatScan(benchmark::State& state) {
    std::vector<uint32> clusters;
    test::FatBuilder builder = foldersOfDeleted(1000, clusters);
    test::TestMedia media(builder.bytes());
    ZFatVolume volume(&media);
    volume.init();
    std::vector<uint8> buffer(builder.clusterBytes());
    auto tree = std::make_unique<ZFileTree>();
    const std::vector<ZFileTreeNode> nodes = nodesOf(volume);
    compare(
        state, 2.0,
        [&] {
            for (const uint32 cluster : clusters) {
                media.seek(builder.offsetOf(cluster) / media.sectorSize());
                media.read(buffer.data(), kSectorsPerCluster);
                benchmark::DoNotOptimize(buffer.data());
            }
            for (const ZFileTreeNode& node : nodes)
                tree->insert(node);
        },
        [&] { volume.scan(tree.get()); }, 9, [&] { tree = std::make_unique<ZFileTree>(); });
    state.counters["nodes"] = static_cast<double>(nodes.size());
}

void fatStates(benchmark::State& state) {
    std::vector<uint32> clusters;
    test::TestMedia media(foldersOfDeleted(1400, clusters).bytes());
    ZFatVolume volume(&media);
    volume.setScanOptions(ScanOptions::today());
    volume.init();
    compareStates(state, volume);
}

BENCHMARK(fatStates)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

/// A scan of a FAT32 stick with 100,000 deleted files whose entries have lost the high half of
/// their first cluster, against the same scan that does not look for where they were. The volume
/// has room for ten of each.
void fatLostPlaces(benchmark::State& state) {
    constexpr int kFiles = 100'000;
    constexpr int kFilesPerFolder = 1000;
    constexpr uint32 kClusters = 10 * 65536;
    test::FatBuilder builder({.type = FatType::Fat32, .clusters = kClusters});
    uint32 directory = 0;
    for (int file = 0; file < kFiles; ++file) {
        if (file % kFilesPerFolder == 0) {
            directory = builder.addDirectory(0, entryNamed('F', file / kFilesPerFolder));
            builder.allocate(4000); // Of files that live on.
        }
        test::FatEntry entry = entryNamed('E', file, ".PNG");
        entry.creationDate = static_cast<uint16>(entry.creationDate + file / 5000);
        entry.creationTime = static_cast<uint16>(file % 5000 / 30 << 5 | file % 30);
        entry.cluster = builder.allocate();
        builder.setFat(entry.cluster, 0);
        constexpr std::string_view kBegin("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16);
        std::copy(kBegin.begin(), kBegin.end(), builder.cluster(entry.cluster).begin());
        entry.cluster &= 0xFFFF;
        entry.size = 500;
        builder.add(directory, entry);
    }
    test::TestMedia media(builder.bytes());
    auto tree = std::make_unique<ZFileTree>();
    const auto scan = [&](bool findPlaces) {
        ScanOptions options = ScanOptions::today();
        options.findPlaces = findPlaces;
        ZFatVolume volume(&media);
        volume.setScanOptions(options);
        volume.init();
        const uint64 before = media.bytesRead();
        volume.scan(tree.get());
        return media.bytesRead() - before;
    };
    compare(
        state, 3, [&] { scan(false); }, [&] { scan(true); }, 5,
        [&] { tree = std::make_unique<ZFileTree>(); });
    const uint64 without = scan(false);
    const auto perFile = static_cast<double>(scan(true) - without) / kFiles;
    state.counters["bytes_a_file"] = perFile;
    if (perFile > 65536)
        state.SkipWithError("more than 64 KiB are read for a file");
}

BENCHMARK(fatLostPlaces)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

BENCHMARK(fatScan)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace kova::bench
