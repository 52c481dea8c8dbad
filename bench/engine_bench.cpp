#include "bench/NtfsImage.h"
#include "bench/Ratio.h"
#include "bench/States.h"
#include "engine/ZFileStream.h"
#include "engine/ntfs/ZNtfsVolume.h"
#include "format/WideText.h"
#include "tests/platform/Tools.h"
#include "tests/support/TempDir.h"

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

namespace kova::bench {
namespace {

constexpr uint32 kSector = 512;
constexpr uint32 kChunk = 1U << 20;
constexpr uint32 kReadWrite = platform::kGenericRead | platform::kGenericWrite;
constexpr auto kCreateAlways = static_cast<uint32>(platform::Disposition::CreateAlways);

/// Counts what the device is asked for.
class CountingMedia : public ZCustomMedia {
public:
    using ZCustomMedia::ZCustomMedia;

    uint64 requests = 0;
    bool aligned = true; ///< Whether all were of whole sectors.

protected:
    int64 readDevice(uint64 offset, std::span<uint8> bytes) override {
        ++requests;
        aligned = aligned && offset % sectorSize() == 0 && bytes.size() % sectorSize() == 0;
        return ZCustomMedia::readDevice(offset, bytes);
    }
};

class OpenVolume {
public:
    explicit OpenVolume(const NtfsImage& image) : media(kSector), volume(&media) {
        if (!media.open(image.path().c_str()))
            throw std::runtime_error("the image cannot be opened");
        volume.setScanOptions(ScanOptions::today());
        volume.init();
    }

    CountingMedia media;
    ZNtfsVolume volume;
};

void readSequentially(ZCustomMedia& media, uint64 firstByte, uint64 bytes) {
    std::vector<uint8> buffer(kChunk);
    media.seek(firstByte / kSector);
    for (uint64 at = 0; at < bytes; at += kChunk)
        media.read(buffer.data(), kChunk / kSector);
    benchmark::DoNotOptimize(buffer.data());
}

/// A scan of 1,000,000 records, 700,000 of them deleted, against reading the same records.
void ntfsScan(benchmark::State& state) {
    constexpr uint32 kRecords = 1'000'000;
    const auto image = NtfsImage::ofRecords(kRecords, 7, 100);
    OpenVolume open(image);
    auto tree = std::make_unique<ZFileTree>();
    compare(
        state, 5.0,
        [&] {
            readSequentially(open.media, NtfsImage::kMftLcn * uint64{NtfsImage::kClusterBytes},
                             uint64{kRecords} * NtfsImage::kRecordBytes);
        },
        [&] { open.volume.scan(tree.get()); }, 3, [&] { tree = std::make_unique<ZFileTree>(); });

    const auto used = [] { return static_cast<double>(mallinfo2().uordblks + mallinfo2().hblkhd); };
    const double before = used();
    open.media.requests = 0;
    open.volume.scan(tree.get());
    constexpr double kLeastPerRequest = 256 * 1024;
    const double perRequest =
        double{kRecords} * NtfsImage::kRecordBytes / static_cast<double>(open.media.requests);
    state.counters["mft_bytes_per_request"] = perRequest;
    if (perRequest < kLeastPerRequest || !open.media.aligned)
        state.SkipWithError("too many requests to the device, or not of whole sectors");
    double names = 0;
    for (const auto& [id, node] : tree->allNodes())
        names += static_cast<double>(node.name.capacity() + 1) * sizeof(wchar_t);
    const double perNode = (used() - before - names) / static_cast<double>(tree->allNodes().size());
    state.counters["nodes"] = static_cast<double>(tree->allNodes().size());
    state.counters["bytes_per_node"] = perNode;
    if (perNode > 450)
        state.SkipWithError("more than 450 bytes a node");
}

BENCHMARK(ntfsScan)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void ntfsStates(benchmark::State& state) {
    const auto image = NtfsImage::ofRecords(200'000, 7, 100);
    OpenVolume open(image);
    compareStates(state, open.volume);
}

BENCHMARK(ntfsStates)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

/// Extraction of one file to disk against reading and writing its bytes in order.
void ntfsExtract(benchmark::State& state, bool fragmented, double limit) {
    constexpr int64 kClusters = 128 * 1024; // 512 MiB
    const auto image = NtfsImage::ofFile(kClusters, fragmented);
    OpenVolume open(image);
    const test::TempDir folder;
    const auto output = format::wideFromUtf8((folder / "out").string());
    constexpr uint64 kBytes = uint64{kClusters} * NtfsImage::kClusterBytes;
    const auto fresh = [&] {
        platform::removeFile(output);
        return std::make_unique<ZFileStream>(output.c_str(), kCreateAlways, kReadWrite);
    };
    compare(
        state, limit,
        [&] {
            const auto out = fresh();
            std::vector<uint8> buffer(kChunk);
            open.media.seek(1000);
            for (uint64 at = 0; at < kBytes; at += kChunk) {
                open.media.read(buffer.data(), kChunk / kSector);
                out->write(buffer.data(), kChunk);
            }
        },
        [&] {
            const auto out = fresh();
            ZFileTreeNode node;
            node.id = 40;
            if (!open.volume.extract(node, out.get()) || out->size() != static_cast<int64>(kBytes))
                state.SkipWithError("extraction failed");
        });
}

BENCHMARK_CAPTURE(ntfsExtract, contiguous, false, 1.2)
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ntfsExtract, single_clusters, true, 2.0)
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

/// A file that ntfs-3g has compressed, against the same as ntfscat gives it out.
void ntfsCompressed(benchmark::State& state) {
    constexpr uint64 kBytes = uint64{128} << 20;
    const test::TempDir folder;
    const auto image = folder / "image";
    const auto mount = folder / "mount";
    const auto output = folder / "out";
    platform::test::makeNtfs(image, uint64{512} << 20);
    std::filesystem::create_directory(mount);
    const std::string quotedImage = platform::test::forShell(image);
    const std::string quotedMount = platform::test::forShell(mount);
    if (!platform::test::succeeds("ntfs-3g -o compression " + quotedImage + " " + quotedMount)) {
        state.SkipWithError("no FUSE here");
        return;
    }
    platform::test::run("mkdir " + quotedMount +
                        "/packed && setfattr -n system.ntfs_attrib_be -v 0x00000810 " +
                        quotedMount + "/packed");
    {
        std::ofstream file(mount / "packed" / "text", std::ios::binary);
        for (uint64 line = 0; static_cast<uint64>(file.tellp()) < kBytes; ++line)
            file << "A line that has its number in it, which is " << line * line << ".\n";
    }

    struct stat status {};

    ::stat((mount / "packed" / "text").c_str(), &status);
    platform::test::run("umount " + quotedMount);
    ZCustomMedia media(kSector);
    media.open(format::wideFromUtf8(image.string()).c_str());
    ZNtfsVolume volume(&media);
    volume.setScanOptions(ScanOptions::today());
    volume.init();
    ZFileTreeNode node;
    node.id = static_cast<int64>(status.st_ino);
    node.size = static_cast<int64>(status.st_size);
    compare(
        state, 1.0,
        [&] {
            platform::test::run("ntfscat -i " + std::to_string(node.id) + " " + quotedImage +
                                " > " + platform::test::forShell(output));
        },
        [&] {
            std::filesystem::remove(output);
            ZFileStream out(format::wideFromUtf8(output.string()).c_str(), kCreateAlways,
                            kReadWrite);
            if (!volume.extract(node, &out) || out.size() != node.size)
                state.SkipWithError("extraction failed");
        });
    state.counters["compressed_share"] =
        static_cast<double>(status.st_blocks) * 512 / static_cast<double>(status.st_size);
}

BENCHMARK(ntfsCompressed)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

/// Inserting siblings, duplicates among them, and asking for the row of each, as a view does.
void fillTree(int64 count) {
    ZFileTree tree;
    ZFileTreeNode node;
    node.name = L"name.txt";
    for (int64 id = 1; id <= count; ++id) {
        node.id = id;
        tree.insert(node);
        if (id % 10 == 0) {
            node.id = id - 5; // A duplicate takes the place of one inserted before.
            tree.insert(node);
        }
    }
    int64 sum = 0;
    for (int64 id = 1; id <= count; ++id)
        sum += tree.rowOf(id);
    benchmark::DoNotOptimize(sum);
}

void siblings(benchmark::State& state) {
    constexpr int64 kMany = 1'000'000;
    constexpr int64 kFew = 10'000;
    compare(
        state, 2.0,
        [] {
            for (int64 i = 0; i < kMany / kFew; ++i)
                fillTree(kFew);
        },
        [] { fillTree(kMany); }, 3);
}

BENCHMARK(siblings)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace kova::bench

BENCHMARK_MAIN();
