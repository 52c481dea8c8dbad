#include "engine/search/remnants/ExFatRemnants.h"

#include "engine/ZMemoryStream.h"
#include "engine/content/ContentKinds.h"
#include "engine/search/copyPlace.h"
#include "engine/search/remnants/settlePlaces.h"
#include "format/WideText.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace kova {

namespace {

using Set = ExFatSetFinder::Set;
using Item = ZFormerFiles::Item;

constexpr uint32 kSmallestCluster = 512;
constexpr uint32 kLargestCluster = uint32{32} << 20;
constexpr std::size_t kMostVolumes = 4;
/// As many folders, places and files as are compared with each other.
constexpr std::size_t kMostCompared = 512;
/// Geometries that are tried on the files' contents.
constexpr std::size_t kMostTried = 16;
constexpr std::size_t kFilesTried = 64;
constexpr std::size_t kBytesShown = 4096;
/// Ids: 0 the root, a folder's number among the sets from 1 on, files behind them.
constexpr int64 kRoot = 0;

/// How a former volume was cut into clusters.
struct Clusters {
    uint64 start = 0; ///< Byte on the media at which cluster 2 lay.
    uint32 bytes = 0;

    [[nodiscard]] uint64 positionOf(uint32 cluster) const {
        return start + uint64{cluster - exfat::kFirstCluster} * bytes;
    }

    [[nodiscard]] std::optional<uint32> clusterAt(uint64 position) const {
        if (position < start)
            return std::nullopt;
        return static_cast<uint32>((position - start) / bytes + exfat::kFirstCluster);
    }

    friend bool operator<(const Clusters& a, const Clusters& b) {
        return std::tie(a.bytes, a.start) < std::tie(b.bytes, b.start);
    }
};

/// Whether what lies where a file began fits its name.
Fit fitsAt(ZCustomMedia& media, const Set& set, const Clusters& clusters) {
    if (set.stream.firstCluster < exfat::kFirstCluster)
        return Fit::CannotTell;
    const uint64 position = clusters.positionOf(set.stream.firstCluster);
    const uint64 mediaBytes = media.sizeBytes();
    if (position >= mediaBytes)
        return Fit::No;
    ZMemoryStream first;
    copyPlace(
        media,
        {{position, std::min({set.stream.dataLength, uint64{kBytesShown}, mediaBytes - position})}},
        first);
    return fits(suffixOf(format::wideFromUtf16(set.name)), first.bytes());
}

/// Collects votes for geometries.
class Solving {
public:
    Solving(const std::vector<const Set*>& sets, const std::vector<ContentFind>& content)
        : sets_(sets), content_(content) {}

    /// The geometries that most speaks for, the best first.
    [[nodiscard]] std::vector<Clusters> best() {
        voteByFolders();
        voteByContent();
        std::vector<std::pair<std::size_t, Clusters>> order;
        for (const auto& [clusters, votes] : votes_) {
            if (votes > 1)
                order.emplace_back(votes, clusters);
        }
        std::stable_sort(order.begin(), order.end(),
                         [](const auto& a, const auto& b) { return a.first > b.first; });
        std::vector<Clusters> best;
        for (std::size_t i = 0; i < std::min(order.size(), kMostTried); ++i)
            best.push_back(order[i].second);
        return best;
    }

private:
    void vote(uint32 cluster, uint64 position, std::size_t weight) {
        for (uint32 bytes = kSmallestCluster; bytes <= kLargestCluster; bytes *= 2) {
            const uint64 before = uint64{cluster - exfat::kFirstCluster} * bytes;
            if (before <= position)
                votes_[{position - before, bytes}] += weight;
        }
    }

    /// A folder's entries begin where its cluster does.
    void voteByFolders() {
        std::vector<uint64> starts;
        uint64 end = 0;
        for (const Set* set : sets_) {
            if (set->position != end && set->position % BlockFinder::kStep == 0 &&
                starts.size() < kMostCompared)
                starts.push_back(set->position);
            end = set->position + set->bytes;
        }
        std::size_t folders = 0;
        for (const Set* set : sets_) {
            if (!set->isFolder() || set->stream.firstCluster < exfat::kFirstCluster)
                continue;
            if (folders++ == kMostCompared)
                break;
            for (const uint64 start : starts)
                vote(set->stream.firstCluster, start, 1);
        }
    }

    /// Files of one length are mostly the same file.
    void voteByContent() {
        std::unordered_multimap<uint64, uint64> byLength;
        for (const ContentFind& find : content_)
            byLength.emplace(find.content.length, find.place.front().start);
        std::size_t files = 0;
        for (const Set* set : sets_) {
            if (set->isFolder() || set->stream.firstCluster < exfat::kFirstCluster)
                continue;
            const auto [first, last] = byLength.equal_range(set->stream.dataLength);
            constexpr std::ptrdiff_t kFewAlike = 8;
            if (first == last || std::distance(first, last) > kFewAlike)
                continue;
            if (files++ == kMostCompared)
                break;
            for (auto one = first; one != last; ++one)
                vote(set->stream.firstCluster, one->second, 2);
        }
    }

    const std::vector<const Set*>& sets_;
    const std::vector<ContentFind>& content_;
    std::map<Clusters, std::size_t> votes_;
};

/// The geometry that the files' contents fit best.
std::optional<Clusters> choose(ZCustomMedia& media, const std::vector<const Set*>& sets,
                               const std::vector<Clusters>& candidates) {
    std::optional<Clusters> chosen;
    int most = 0;
    for (const Clusters& clusters : candidates) {
        int score = 0;
        std::size_t tried = 0;
        for (std::size_t i = 0; i < sets.size() && tried < kFilesTried; ++i) {
            if (sets[i]->isFolder())
                continue;
            const Fit fit = fitsAt(media, *sets[i], clusters);
            tried += fit != Fit::CannotTell ? 1U : 0U;
            score += fit == Fit::Yes ? 1 : fit == Fit::No ? -1 : 0;
        }
        if (score > most) {
            most = score;
            chosen = clusters;
        }
    }
    if (!chosen && !candidates.empty() && most == 0)
        chosen = candidates.front(); // Nothing of a known kind: the folders alone tell.
    return chosen;
}

/// Makes the tree of one former volume.
class Reading {
public:
    Reading(ZCustomMedia& media, Clusters clusters, const std::vector<const Set*>& sets,
            const FatTableFinder& tables)
        : media_(media), clusters_(clusters), sets_(sets), tables_(tables) {}

    std::vector<Item> items(std::vector<ByteRange>& held) {
        placeFolders(held);
        std::set<std::tuple<uint32, uint64, std::u16string>> seen;
        for (std::size_t i = 0; i < sets_.size(); ++i) {
            const Set& set = *sets_[i];
            if (!seen.emplace(set.stream.firstCluster, set.stream.dataLength, set.name).second)
                continue;
            items_.push_back(item(i));
        }
        return std::move(items_);
    }

    /// The volume's label, empty where its root folder has none at its beginning. After `items`.
    [[nodiscard]] std::wstring label() const {
        for (const Set* set : sets_) {
            const auto cluster = clusters_.clusterAt(set->position);
            const auto folder = cluster ? folderOf_.find(*cluster) : folderOf_.end();
            if (folder == folderOf_.end() || folder->second != kRoot)
                continue;
            ZMemoryStream first;
            copyPlace(media_, {{clusters_.positionOf(*cluster), BlockFinder::kStep}}, first);
            for (std::size_t at = 0; at < first.bytes().size();
                 at += exfat::DirectoryEntry::kBytes) {
                const exfat::DirectoryEntry entry(first.bytes().data() + at);
                if (const auto label = exfat::labelIn(entry))
                    return format::wideFromUtf16(*label);
            }
            break;
        }
        return {};
    }

private:
    [[nodiscard]] static int64 idOf(std::size_t index) { return static_cast<int64>(index) + 1; }

    /// Which folder each cluster with entries belongs to. A folder in one piece tells its length;
    /// of one in several, further clusters are those that nobody else has, in their order.
    void placeFolders(std::vector<ByteRange>& held) {
        struct Open {
            int64 id;
            uint32 first;
            uint64 missing;
        };

        std::vector<Open> open;
        for (std::size_t i = 0; i < sets_.size(); ++i) {
            const Set& set = *sets_[i];
            const uint32 first = set.stream.firstCluster;
            if (!set.isFolder() || first < exfat::kFirstCluster)
                continue;
            const uint64 count = std::max<uint64>(
                1, (std::min(set.stream.dataLength, exfat::kLargestFolder) + clusters_.bytes - 1) /
                       clusters_.bytes);
            const uint64 inOnePiece = set.stream.noFatChain() ? count : 1;
            for (uint64 at = 0; at < inOnePiece; ++at) {
                const auto cluster = static_cast<uint32>(first + at);
                folderOf_.try_emplace(cluster, idOf(i));
                held.push_back({clusters_.positionOf(cluster), clusters_.bytes});
            }
            if (inOnePiece < count)
                open.push_back({idOf(i), first, count - inOnePiece});
        }
        std::sort(open.begin(), open.end(),
                  [](const Open& a, const Open& b) { return a.first < b.first; });
        for (const Set* set : sets_) {
            const auto cluster = clusters_.clusterAt(set->position);
            if (!cluster || folderOf_.contains(*cluster))
                continue;
            const auto owner = std::find_if(open.rbegin(), open.rend(), [&](const Open& one) {
                return one.missing > 0 && one.first < *cluster;
            });
            folderOf_.emplace(*cluster, owner == open.rend() ? kRoot : owner->id);
            if (owner != open.rend()) {
                --owner->missing;
                held.push_back({clusters_.positionOf(*cluster), clusters_.bytes});
            }
        }
    }

    [[nodiscard]] Item item(std::size_t index) const {
        const Set& set = *sets_[index];
        Item item;
        ZFileTreeNode& node = item.node;
        node.id = idOf(index);
        const auto cluster = clusters_.clusterAt(set.position);
        const auto folder = cluster ? folderOf_.find(*cluster) : folderOf_.end();
        node.parentId = folder == folderOf_.end() ? kRoot : folder->second;
        node.name = format::wideFromUtf16(set.name);
        node.isDirectory = set.isFolder();
        node.exists = set.inUse;
        node.attributes = set.file.attributes;
        node.creationTime = set.file.creationTime;
        node.modificationTime = set.file.modificationTime;
        node.accessTime = set.file.accessTime;
        if (node.isDirectory)
            return item;
        constexpr uint64 kMostBytes = uint64{1} << 62;
        node.size = static_cast<int64>(std::min(set.stream.dataLength, kMostBytes));
        item.validBytes = std::min(set.stream.validLength, set.stream.dataLength);
        if (node.size == 0)
            return item;
        const uint64 mediaBytes = media_.sizeBytes();
        const uint64 start = set.stream.firstCluster < exfat::kFirstCluster
                                 ? mediaBytes
                                 : clusters_.positionOf(set.stream.firstCluster);
        item.isLost = start >= mediaBytes || mediaBytes - start < static_cast<uint64>(node.size);
        if (item.isLost)
            return item;
        if (!set.stream.noFatChain())
            item.place =
                tables_.placeOf(media_, set.stream.firstCluster, static_cast<uint64>(node.size),
                                clusters_.start, clusters_.bytes);
        item.isChained = !item.place.empty();
        if (!item.isChained)
            item.place.push_back({start, static_cast<uint64>(node.size)});
        return item;
    }

    ZCustomMedia& media_;
    Clusters clusters_;
    const std::vector<const Set*>& sets_;
    const FatTableFinder& tables_;
    std::unordered_map<uint32, int64> folderOf_; ///< By cluster with entries.
    std::vector<Item> items_;
};

} // namespace

std::vector<FormerVolume> ExFatRemnants::volumes(ZCustomMedia& media) const {
    std::vector<FormerVolume> volumes;
    std::vector<const Set*> left;
    for (const Set& set : found_.sets())
        left.push_back(&set);
    while (volumes.size() < kMostVolumes && !left.empty()) {
        std::vector<Clusters> candidates = Solving(left, content_).best();
        // A format mostly lays a volume out as it was.
        if (today_.bytes != 0)
            candidates.insert(candidates.begin(), Clusters{today_.start, today_.bytes});
        const auto clusters = choose(media, left, candidates);
        if (!clusters)
            break;
        std::vector<const Set*> own;
        std::vector<const Set*> others;
        std::partition_copy(left.begin(), left.end(), std::back_inserter(own),
                            std::back_inserter(others), [&](const Set* set) {
                                return set->isFolder() || fitsAt(media, *set, *clusters) != Fit::No;
                            });
        if (own.empty())
            break;
        left = std::move(others);
        std::vector<ByteRange> held;
        Reading reading(media, *clusters, own, tables_);
        std::vector<Item> items = reading.items(held);
        settlePlaces(media, items, held, content_);
        volumes.push_back({formerTitle(L"exFAT", reading.label()),
                           std::make_unique<ZFormerFiles>(&media, std::move(items))});
    }
    return volumes;
}

} // namespace kova
