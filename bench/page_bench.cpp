#include "bench/NtfsImage.h"
#include "bench/Ratio.h"
#include "engine/ZCustomMedia.h"
#include "engine/ZFileTree.h"
#include "engine/openVolume.h"
#include "pages/ScanFrame.h"
#include "platform/Drives.h"

#include <benchmark/benchmark.h>

#include <QApplication>

#include <memory>

namespace kova::bench {
namespace {

/// What a scan found, freed in this order.
struct Scanned {
    std::unique_ptr<ZVolume> volume;
    std::unique_ptr<ZCustomMedia> media;
    std::unique_ptr<ZFileTree> tree;
};

/// A scan by the page, which keeps its window alive meanwhile, against one by the engine alone.
void scanPage(benchmark::State& state) {
    int count = 0;
    const QApplication application(count, nullptr);
    const auto image = NtfsImage::ofRecords(300'000, 7, 100);
    const platform::AttachResult attached = platform::attachImage(image.path());
    if (attached.drives.size() != 1) {
        state.SkipWithError("the image cannot be attached");
        return;
    }
    const char letter = attached.drives.front().letter;
    ScanFrame page;
    page.installFilter({QStringLiteral("*")}, {});
    page.show();
    Scanned scanned;
    QObject::connect(&page, &ScanFrame::finished, [&](ZVolume* volume, ZFileTree* tree) {
        scanned = {std::unique_ptr<ZVolume>(volume),
                   std::unique_ptr<ZCustomMedia>(volume == nullptr ? nullptr : volume->media()),
                   std::unique_ptr<ZFileTree>(tree)};
    });
    compare(
        state, 2.0,
        [&] {
            scanned.media = std::make_unique<ZCustomMedia>();
            scanned.media->openDrive(letter);
            scanned.volume.reset(openVolume(scanned.media.get()));
            scanned.volume->setScanOptions(ScanOptions::today());
            scanned.volume->init();
            scanned.tree = std::make_unique<ZFileTree>();
            scanned.volume->scan(scanned.tree.get());
        },
        [&] { page.startScan(letter); }, 3, [&] { scanned = {}; });
}

BENCHMARK(scanPage)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace kova::bench
