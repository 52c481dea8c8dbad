#include "bench/Ratio.h"
#include "engine/search/ZDeepSearch.h"
#include "format/WideText.h"
#include "tests/platform/Tools.h"
#include "tests/support/ExFatBuilder.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestMedia.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

namespace kova::bench {
namespace {

/// Has the system forget what it holds of a file, which is then read from the drive.
void dropPages(const std::filesystem::path& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0 || ::fdatasync(file) != 0 || ::posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED) != 0)
        throw std::runtime_error("the image stays in memory");
    ::close(file);
}

/// A search of an image that holds nothing to be found, against reading it in order.
void searchWithoutFinds(benchmark::State& state, bool fromDrive) {
    constexpr uint32 kRequestBytes = 4U << 20;
    constexpr uint32 kRequests = 128;
    const test::TempDir folder;
    const auto path = folder / "image";
    {
        std::ofstream out(path, std::ios::binary);
        std::mt19937_64 random(1);
        std::vector<uint64> bytes(kRequestBytes / sizeof(uint64));
        for (uint32 i = 0; i < kRequests; ++i) {
            std::ranges::generate(bytes, random);
            out.write(reinterpret_cast<const char*>(bytes.data()), kRequestBytes);
        }
    }
    ZCustomMedia media(512);
    media.open(format::wideFromUtf8(path.string()).c_str());
    compare(
        state, 1.5,
        [&] {
            std::vector<uint8> bytes(kRequestBytes);
            media.seek(0);
            for (uint32 i = 0; i < kRequests; ++i)
                media.read(bytes.data(), kRequestBytes / 512);
        },
        [&] {
            ZDeepSearch search(&media, nullptr);
            ZFileTree tree;
            search.scan(&tree);
        },
        5,
        [&] {
            if (fromDrive)
                dropPages(path);
        });
}

BENCHMARK_CAPTURE(searchWithoutFinds, from_memory, false)
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(searchWithoutFinds, from_drive, true)
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

std::vector<uint8> pictures(std::size_t count) {
    constexpr std::size_t kCluster = 4096;
    const std::string picture =
        platform::test::contentOf(std::string(ORVANE_SOURCE_DIR) + "/tests/pictures/small.png");
    std::vector<uint8> bytes(count * kCluster);
    for (std::size_t i = 0; i < count; ++i)
        std::ranges::copy(picture, bytes.begin() + static_cast<std::ptrdiff_t>(i * kCluster));
    return bytes;
}

std::vector<uint8> formerExFat(uint32 count) {
    constexpr uint32 kInFolder = 40;
    constexpr std::size_t kBootRegions = std::size_t{24} * 512;
    test::ExFatBuilder builder({.clusters = 2 * count});
    uint32 folder = 0;
    for (uint32 i = 0; i < count; ++i) {
        const std::string number = std::to_string(i);
        const std::u16string name(number.begin(), number.end());
        if (i % kInFolder == 0)
            folder = builder.addFolder(0, {.name = u"folder " + name});
        builder.addFile(folder, {.name = name + u".bin"}, std::string(100 + i % 1000, 'x'));
    }
    std::fill_n(builder.bytes().begin(), kBootRegions, uint8{0});
    return builder.bytes();
}

/// What a search holds for each file that it has found, beside the tree.
void memoryOfFinds(benchmark::State& state, std::vector<uint8> drive) {
    constexpr double kMostBytes = 200;
    const auto used = [] { return static_cast<double>(mallinfo2().uordblks + mallinfo2().hblkhd); };
    test::TestMedia media(std::move(drive));
    for ([[maybe_unused]] auto _ : state) {
        ZFileTree tree;
        auto search = std::make_unique<ZDeepSearch>(&media, nullptr);
        search->scan(&tree);
        double namesAndExtents = 0;
        for (const auto& [id, node] : tree.allNodes()) {
            constexpr double kBlock = 16; // The allocator's own.
            if (const auto place = search->placeOf(node); !place.empty())
                namesAndExtents += static_cast<double>(place.size() * sizeof(ByteRange)) + kBlock;
            namesAndExtents += static_cast<double>(node.name.size() + 1) * sizeof(wchar_t);
        }
        const double before = used();
        search.reset();
        const auto finds = static_cast<double>(tree.allNodes().size());
        const double perFind = (before - used() - namesAndExtents) / finds;
        state.counters["finds"] = finds;
        state.counters["bytes_per_find"] = perFind;
        if (perFind > kMostBytes)
            state.SkipWithError("more than 200 bytes a find");
    }
}

constexpr uint32 kFinds = 20'000;

BENCHMARK_CAPTURE(memoryOfFinds, content, pictures(kFinds))->Iterations(1);
BENCHMARK_CAPTURE(memoryOfFinds, remnants, formerExFat(kFinds))->Iterations(1);

} // namespace
} // namespace kova::bench
