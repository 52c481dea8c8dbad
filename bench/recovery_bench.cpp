#include "bench/NtfsImage.h"
#include "bench/Ratio.h"
#include "engine/ZFileStream.h"
#include "engine/ZMemoryStream.h"
#include "engine/ZTreeListing.h"
#include "engine/ntfs/ZNtfsVolume.h"
#include "format/WideText.h"
#include "model/texts.h"
#include "platform/File.h"
#include "workers/RecoveryWorker.h"

#include <benchmark/benchmark.h>

#include <map>
#include <optional>

namespace kova::bench {
namespace {

/// Recovery of 20,000 small files against writing the same files from memory.
void smallFiles(benchmark::State& state) {
    constexpr uint32 kRecords = 28'600;
    const auto image = NtfsImage::ofRecords(kRecords, 7, 600);
    ZCustomMedia media(512);
    media.open(image.path().c_str());
    ZNtfsVolume volume(&media);
    volume.setScanOptions(ScanOptions::today());
    volume.init();
    ZFileTree tree;
    volume.scan(&tree);
    QSet<int64> selected;
    for (const int64 id : tree.childIds(kNoParent))
        selected.insert(id);

    std::map<int64, std::vector<uint8>> contents;
    for (const auto& [id, node] : tree.allNodes()) {
        ZMemoryStream content;
        if (!node.isDirectory && volume.extract(node, &content))
            contents[id] = std::move(content.bytes());
    }
    state.counters["files"] = static_cast<double>(contents.size());

    std::optional<test::TempDir> folder;
    const auto writeFromMemory = [&] {
        folder.emplace();
        const std::wstring top = format::wideFromUtf8(folder->path().string()) + L'/';
        const ZTreeListing listing(tree);
        for (std::size_t i = 0; i < listing.entries().size(); ++i) {
            const ZFileTreeNode& node = *listing.entries()[i].node;
            const std::wstring path = top + listing.path(i);
            if (node.isDirectory) {
                static_cast<void>(platform::makePath(path));
                continue;
            }
            ZFileStream out(path.c_str(), static_cast<uint32>(platform::Disposition::CreateNew),
                            platform::kGenericRead | platform::kGenericWrite);
            const auto& bytes = contents.at(node.id);
            out.write(bytes.data(), static_cast<uint32>(bytes.size()));
        }
    };
    const auto recover = [&] {
        folder.emplace();
        RecoveryWorker worker;
        worker.setExistingFile(RecoveryWorker::ExistingFile::KeepBoth);
        worker.init(toQString(format::wideFromUtf8(folder->path().string())), &volume, &tree,
                    selected);
        worker.start();
    };
    compare(state, 1.5, writeFromMemory, recover, 5, [&] { folder.reset(); });
}

BENCHMARK(smallFiles)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace kova::bench
