#include "fuzz/VolumeRun.h"

#include "engine/BoundedStream.h"
#include "engine/ZTreeListing.h"
#include "engine/exfat/ZExFatVolume.h"
#include "engine/fat/ZFatVolume.h"
#include "engine/ntfs/ZNtfsVolume.h"
#include "engine/search/ZDeepSearch.h"
#include "engine/search/savedSearchLines.h"
#include "tests/support/TestMedia.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace kova::fuzz {

namespace {

/// Larger files are not previewed, so they are not extracted into memory.
constexpr int64 kLargestPreview = int64{20} << 20;
/// Enough to reach every path of the extraction; all of them would take the time from the rest.
constexpr int kMostExtractions = 200;
/// A file's holes need not lie on the volume; the streams that people preview into are bounded
/// by the file's size, this one by itself.
constexpr int64 kLargestStream = int64{64} << 20;

void check(bool holds) {
    if (!holds)
        std::abort();
}

void extractAll(ZVolume& volume, const ZFileTree& tree) {
    int left = kMostExtractions;
    for (const auto& [id, node] : tree.allNodes()) {
        if (node.isDirectory || node.size > kLargestPreview || left-- == 0)
            continue;
        BoundedStream out(kLargestStream);
        try {
            volume.extract(node, &out);
            static_cast<void>(volume.assess(node));
            static_cast<void>(volume.placeOf(node));
        } catch (int) {
            // What the stream refuses passes out of an extraction from FAT.
        }
    }
}

/// Every node is listed once, and a tree that is completed leads to each.
void listAll(ZFileTree& tree) {
    const std::unique_ptr<ZTreeListing> listing = listCompleted(tree);
    const auto& entries = listing->entries();
    check(listing->unreachable() == entries.size());
    const bool rootIsListed = listing->indexOf(tree.rootId) != ZTreeListing::kNone;
    const bool hasRoot = tree.find(tree.rootId) != nullptr;
    check(entries.size() + (hasRoot && !rootIsListed ? 1 : 0) == tree.allNodes().size());
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const ZTreeListing::Entry& entry = entries[i];
        check(listing->indexOf(entry.node->id) == i && entry.end > i);
        check(entry.depth < ZTreeListing::kDeepest);
        check(entry.parent == ZTreeListing::kNone ||
              (entry.parent < i && entry.end <= entries[entry.parent].end));
    }
}

std::string linesOf(const SavedSearch& search) {
    std::string lines;
    writeLines(search, [&lines](std::string_view line) { lines += line; });
    return lines;
}

void search(ZCustomMedia& media, SearchKeeping keeping, ZFileTree& tree) {
    ZDeepSearch search(&media, nullptr);
    search.setKeeping(std::move(keeping));
    search.scan(&tree);
    listAll(tree);
    extractAll(search, tree);
}

template <typename Volume>
void run(std::span<const uint8> image) {
    test::TestMedia media({image.begin(), image.end()});
    ScanOptions all = ScanOptions::today();
    all.streams = true;
    for (const ScanOptions& options : {ScanOptions{}, all}) {
        media.seek(0);
        Volume volume(&media);
        volume.setScanOptions(options);
        try {
            volume.init();
        } catch (...) {
            continue;
        }
        ZFileTree tree;
        volume.scan(&tree);
        std::set<int64> missing;
        check(!tree.getMissingParents(missing));
        listAll(tree);
        extractAll(volume, tree);
        for (const auto& [id, node] : tree.allNodes())
            static_cast<void>(volume.assess(node));
    }
}

} // namespace

void runNtfs(std::span<const uint8> image) {
    run<ZNtfsVolume>(image);
}

void runFat(std::span<const uint8> image) {
    run<ZFatVolume>(image);
}

void runExFat(std::span<const uint8> image) {
    run<ZExFatVolume>(image);
}

void runSearch(std::span<const uint8> image) {
    test::TestMedia media({image.begin(), image.end()});
    std::string kept;
    SearchKeeping keeping;
    keeping.volume = SearchedVolume::of(media, {});
    keeping.keep = [&kept](const SavedSearch& saved) { kept = linesOf(saved); };
    ZFileTree tree;
    search(media, std::move(keeping), tree);

    std::optional<SavedSearch> saved = readLines(kept);
    check(saved && linesOf(*saved) == kept);
    ZFileTree again;
    search(media, {{}, std::move(saved), false, {}}, again);
    check(std::ranges::equal(tree.allNodes(), again.allNodes(), [](const auto& a, const auto& b) {
        return a.first == b.first && a.second.name == b.second.name &&
               a.second.size == b.second.size && a.second.parentId == b.second.parentId;
    }));
}

void runSavedSearch(ZCustomMedia& media, std::string_view text) {
    std::optional<SavedSearch> saved = readLines(text);
    // A program compares all that tells volumes apart.
    if (!saved || saved->volume.bytes != media.sizeBytes())
        return;
    for (const bool readsOn : {false, true}) {
        ZFileTree tree;
        search(media, {saved->volume, saved, readsOn, {}}, tree);
    }
}

} // namespace kova::fuzz
