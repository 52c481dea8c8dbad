#include "engine/search/remnants/FatRemnants.h"

#include "engine/ZMemoryStream.h"
#include "engine/fat/FatEntryParser.h"
#include "engine/fat/FatFolderChains.h"
#include "engine/search/copyPlace.h"
#include "engine/search/remnants/settlePlaces.h"
#include "platform/CodePage.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace kova {

namespace {

using Folder = FatFolderFinder::Folder;
using Item = ZFormerFiles::Item;

constexpr uint32 kSmallestCluster = 512;
constexpr uint32 kLargestCluster = 256 * 1024;
constexpr std::size_t kMostVolumes = 8;
constexpr std::size_t kMostLone = 64; ///< Folders that are asked for the order of their files.
/// Ids: 0 the root, a folder its first cluster, anything else a number above all clusters.
constexpr int64 kFirstOtherId = int64{1} << 32;
constexpr int64 kNowhere = kFirstOtherId - 1; ///< Parent of what no folder is known for.

/// The geometry that explains most folders; nothing when none explains two.
std::optional<FatClusters> solve(const std::vector<Folder>& folders, const FatClusters& today) {
    std::optional<FatClusters> best;
    std::size_t most = 1;
    for (uint32 bytes = kSmallestCluster; bytes <= kLargestCluster; bytes *= 2) {
        std::unordered_map<uint64, std::size_t> votes;
        for (const Folder& folder : folders) {
            const uint64 before = uint64{folder.cluster - FatClusters::kFirst} * bytes;
            if (folder.cluster < FatClusters::kFirst || before > folder.position)
                continue;
            const uint64 start = folder.position - before;
            std::size_t& count = votes[start];
            // A format mostly lays a volume out as it was.
            if (count == 0 && start == today.start && bytes == today.bytes)
                ++count;
            if (++count > most) {
                most = count;
                best = FatClusters{start, bytes};
            }
        }
    }
    return best;
}

/// A file as an entry tells of it.
struct Placed {
    uint32 cluster = 0;
    uint32 bytes = 0;
};

/// The files at the beginning of a folder, as they stand there.
std::vector<Placed> firstFiles(ZCustomMedia& media, const Folder& folder) {
    constexpr uint64 kBytes = 4096;
    ZMemoryStream stream;
    copyPlace(media, {{folder.position, std::min(kBytes, media.sizeBytes() - folder.position)}},
              stream);
    FatEntryParser parser;
    parser.begin(0, ScanOptions::today());
    std::vector<Placed> files;
    for (std::span<const uint8> entries = stream.bytes();
         entries.size() >= FatDirectoryEntry::kBytes;
         entries = entries.subspan(FatDirectoryEntry::kBytes)) {
        parser.feed(entries.data());
        if (parser.endOfDirectory())
            break;
        if (!parser.entryComplete())
            continue;
        if (const FatDirectoryEntry entry = parser.entry();
            !entry.isDirectory() && !entry.isVolumeLabel() && entry.size() > 0)
            files.push_back({entry.firstCluster(), entry.size()});
        parser.reset();
    }
    return files;
}

/// The geometry by a folder that is the only one of its volume: files that were saved one after the
/// other lie so, which tells how large clusters were. Nothing where two sizes tell it as well.
std::optional<FatClusters> solveAlone(ZCustomMedia& media, const Folder& folder,
                                      const FatClusters& today) {
    constexpr std::size_t kFewest = 3;
    const std::vector<Placed> files = firstFiles(media, folder);
    std::optional<FatClusters> best;
    const std::size_t fewest = std::max(kFewest, files.size() / 2);
    std::size_t most = 0;
    for (uint32 bytes = kSmallestCluster; bytes <= kLargestCluster; bytes *= 2) {
        std::size_t inOrder = 0;
        for (std::size_t i = 1; i < files.size(); ++i) {
            const Placed& before = files[i - 1];
            const uint64 end = before.cluster + (uint64{before.bytes} + bytes - 1) / bytes;
            if (end == files[i].cluster)
                ++inOrder;
        }
        const uint64 ahead = uint64{folder.cluster - FatClusters::kFirst} * bytes;
        if (inOrder < std::max(fewest, most) || folder.cluster < FatClusters::kFirst ||
            ahead > folder.position)
            continue;
        if (inOrder > most || bytes == today.bytes)
            best = FatClusters{folder.position - ahead, bytes};
        else if (best && best->bytes != today.bytes)
            best.reset();
        most = inOrder;
    }
    return best;
}

std::optional<FatClusters> solveAlone(ZCustomMedia& media, const std::vector<Folder>& folders,
                                      const FatClusters& today) {
    for (std::size_t i = 0; i < std::min(folders.size(), kMostLone); ++i) {
        if (const auto clusters = solveAlone(media, folders[i], today))
            return clusters;
    }
    return std::nullopt;
}

/// The label among the entries of a root folder; empty without one.
std::wstring labelIn(std::span<const uint8> entries) {
    for (; entries.size() >= FatDirectoryEntry::kBytes;
         entries = entries.subspan(FatDirectoryEntry::kBytes)) {
        const FatDirectoryEntry entry(entries.data());
        if (entry.firstByte() == FatDirectoryEntry::kEndMark)
            break;
        if (!entry.exists() || !entry.isVolumeLabel() || entry.isLongName() || entry.isDirectory())
            continue;
        const auto name = entry.name();
        const auto end = std::find_if(name.rbegin(), name.rend(),
                                      [](uint8 byte) { return byte != ' ' && byte != 0; });
        return platform::wideFromSystemCodePage({name.begin(), end.base()}, platform::CodePage::Oem)
            .value_or(std::wstring());
    }
    return {};
}

/// The root folder of FAT12 and FAT16, which ends where the clusters begin; empty when there is
/// nothing of it.
std::vector<uint8> rootBefore(ZCustomMedia& media, const FatClusters& clusters,
                              const std::vector<FatFolderFinder::Entries>& entries) {
    constexpr uint64 kUsualBytes = 512 * FatDirectoryEntry::kBytes;
    const uint64 start = clusters.start - std::min(clusters.start, kUsualBytes);
    ZMemoryStream root;
    for (const auto& run : entries) {
        if (run.position == start)
            copyPlace(media, {{start, std::min(run.end, clusters.start) - start}}, root);
    }
    return std::move(root.bytes());
}

std::wstring labelOf(const std::vector<FatFolderBytes>& folders) {
    for (const FatFolderBytes& folder : folders) {
        if (folder.isKnown && folder.cluster == 0)
            return labelIn(folder.entries);
    }
    return {};
}

/// Reads one former volume out of its folders.
class Reading {
public:
    Reading(ZCustomMedia& media, FatClusters clusters, std::vector<FatFolderBytes> folders,
            const FatTableFinder& tables)
        : media_(media), clusters_(clusters), folders_(std::move(folders)), tables_(tables) {
        for (const FatFolderBytes& folder : folders_) {
            if (folder.isKnown)
                known_.insert(folder.cluster);
        }
    }

    std::vector<Item> items() {
        for (const FatFolderBytes& folder : folders_)
            takeEntries(folder.isKnown ? int64{folder.cluster} : kNowhere, folder.entries);
        for (const FatFolderBytes& folder : folders_) {
            if (folder.isKnown && folder.cluster != 0)
                addFolder(folder);
        }
        return std::move(items_);
    }

private:
    void takeEntries(int64 folder, const std::vector<uint8>& entries) {
        parser_.begin(0, ScanOptions::today());
        for (std::size_t at = 0; at + FatDirectoryEntry::kBytes <= entries.size();
             at += FatDirectoryEntry::kBytes) {
            parser_.feed(entries.data() + at);
            if (!parser_.entryComplete())
                continue;
            takeEntry(folder);
            parser_.reset();
        }
    }

    void takeEntry(int64 folder) {
        ZFileTreeNode node;
        parser_.buildNode(node);
        const bool isLabel =
            (node.attributes & FatDirectoryEntry::kVolumeLabel) != 0 && !node.isDirectory;
        if (node.name.empty() || node.name == L"." || node.name == L".." || isLabel)
            return;
        const uint32 cluster = parser_.entry().firstCluster();
        node.parentId = folder;
        if (node.isDirectory) {
            names_.try_emplace(cluster, std::move(node));
            return;
        }
        // An empty file that was deleted already is nothing but what a driver has left behind.
        if (!node.exists && node.size == 0)
            return;
        if (!seen_.emplace(folder, node.name, cluster).second)
            return;
        Item item;
        item.node = std::move(node);
        item.node.id = kFirstOtherId + static_cast<int64>(items_.size());
        item.validBytes = static_cast<uint64>(item.node.size);
        if (item.validBytes > 0) {
            const uint64 mediaBytes = media_.sizeBytes();
            const uint64 start =
                cluster < FatClusters::kFirst ? mediaBytes : clusters_.positionOf(cluster);
            item.isLost = start >= mediaBytes || mediaBytes - start < item.validBytes;
            if (!item.isLost) {
                item.place = tables_.placeOf(media_, cluster, item.validBytes, clusters_.start,
                                             clusters_.bytes);
                item.isChained = !item.place.empty();
                if (!item.isChained)
                    item.place.push_back({start, item.validBytes});
            }
        }
        items_.push_back(std::move(item));
    }

    void addFolder(const FatFolderBytes& folder) {
        Item& item = items_.emplace_back();
        const auto name = names_.find(folder.cluster);
        if (name != names_.end()) {
            item.node = name->second;
        } else {
            item.node.name = L"Folder " + std::to_wstring(folder.cluster);
            const bool isThere = folder.parent == 0 || known_.contains(folder.parent);
            item.node.parentId = isThere ? int64{folder.parent} : kNowhere;
        }
        item.node.id = folder.cluster;
        item.node.isDirectory = true;
    }

    ZCustomMedia& media_;
    FatClusters clusters_;
    std::vector<FatFolderBytes> folders_;
    const FatTableFinder& tables_;
    std::unordered_set<uint32> known_;                ///< Folders by their first cluster.
    std::unordered_map<uint32, ZFileTreeNode> names_; ///< Entries of folders, by their cluster.
    std::set<std::tuple<int64, std::wstring, uint32>> seen_;
    FatEntryParser parser_;
    std::vector<Item> items_;
};

} // namespace

std::vector<FormerVolume> FatRemnants::volumes(ZCustomMedia& media) const {
    std::vector<FormerVolume> volumes;
    std::vector<Folder> left = found_.folders();
    std::vector<FatFolderFinder::Entries> entries = found_.entries();
    const FatClusters today{today_.start, today_.bytes};
    while (volumes.size() < kMostVolumes) {
        auto clusters = solve(left, today);
        if (!clusters)
            clusters = solveAlone(media, left, today);
        if (!clusters)
            break;
        std::vector<Folder> own;
        std::vector<Folder> others;
        std::partition_copy(left.begin(), left.end(), std::back_inserter(own),
                            std::back_inserter(others),
                            [&](const Folder& folder) { return clusters->explains(folder); });
        left = std::move(others);

        std::vector<FatFolderBytes> folders =
            FatFolderChains(media, *clusters, own, entries).folders();
        const bool isAsToday = clusters->start == today.start && clusters->bytes == today.bytes;
        std::vector<uint8> root;
        if (!isAsToday) // Today's volume tells of its own.
            root = rootBefore(media, *clusters, entries);
        if (!root.empty())
            folders.insert(folders.begin(), {0, 0, true, std::move(root), {}});
        const std::wstring label = labelOf(folders);
        std::vector<ByteRange> held;
        for (const FatFolderBytes& folder : folders) {
            for (const uint32 cluster : folder.clusters)
                held.push_back({clusters->positionOf(cluster), clusters->bytes});
        }
        std::vector<Item> items = Reading(media, *clusters, std::move(folders), tables_).items();
        settlePlaces(media, items, held, content_);
        volumes.push_back(
            {formerTitle(L"FAT", label), std::make_unique<ZFormerFiles>(&media, std::move(items))});
        entries.clear(); // Taken by the volume with most folders.
    }
    return volumes;
}

} // namespace kova
