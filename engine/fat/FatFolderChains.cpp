#include "engine/fat/FatFolderChains.h"

#include "engine/ByteReader.h"
#include "engine/fat/FatLayout.h"

#include <algorithm>
#include <optional>
#include <unordered_map>

namespace kova {

namespace {

constexpr std::size_t kEntry = FatDirectoryEntry::kBytes;
/// In a long-name entry: its place in the name, counted down to 1, and the mark of the first.
constexpr uint8 kOrderMask = 0x3F;
constexpr uint8 kFirstOfName = 0x40;
/// Folders are no longer than 65,536 entries.
constexpr std::size_t kMostFolderBytes = std::size_t{65'536} * kEntry;

} // namespace

FatFolderChains::FatFolderChains(ZCustomMedia& media, FatClusters clusters,
                                 const std::vector<FatFolderStart>& folders,
                                 const std::vector<FatEntrySectors>& entries)
    : media_(media), clusters_(clusters) {
    std::unordered_map<uint64, uint64> runEnds; // By the sector behind a folder's first.
    for (const auto& run : entries)
        runEnds.emplace(run.position, run.end);
    for (const auto& folder : folders) {
        const uint32 last = folder.last == 0 ? folder.cluster : folder.last;
        const uint64 position = folder.last == 0 ? folder.position : clusters_.positionOf(last);
        const auto rest = runEnds.find(position + FatEntrySectors::kBytes);
        const uint64 end =
            rest == runEnds.end() ? position + FatEntrySectors::kBytes : rest->second;
        last_.push_back(read(last, end - position));
        folders_.push_back({folder.cluster, folder.parent, true, last_.back().entries, {last}});
    }
    for (const auto& run : entries) {
        if (run.end <= clusters_.start)
            continue;
        const uint64 into = run.position - std::min(run.position, clusters_.start);
        uint64 index = (into + clusters_.bytes - 1) / clusters_.bytes;
        for (; clusters_.start + index * clusters_.bytes < run.end; ++index) {
            const auto cluster = static_cast<uint32>(index + FatClusters::kFirst);
            const uint64 bytes = run.end - clusters_.positionOf(cluster);
            loose_.push_back(read(cluster, bytes));
        }
    }
}

/// Reads as much of a cluster as is known to hold entries.
FatFolderChains::Leaf FatFolderChains::read(uint32 cluster, uint64 bytes) const {
    Leaf leaf;
    leaf.cluster = cluster;
    leaf.entries.resize(static_cast<std::size_t>(std::min<uint64>(bytes, clusters_.bytes)));
    ByteReader(media_).read(clusters_.positionOf(cluster), leaf.entries);
    std::size_t at = 0;
    for (; at + kEntry <= leaf.entries.size(); at += kEntry) {
        const uint8* const bytesOf = leaf.entries.data() + at;
        const FatDirectoryEntry entry(bytesOf);
        if (entry.firstByte() == FatDirectoryEntry::kEndMark)
            break;
        const bool isDeleted = !entry.exists();
        const auto order = static_cast<uint8>(isDeleted ? 0 : bytesOf[0] & kOrderMask);
        if (entry.isLongName()) {
            const bool goesOn = !isDeleted && (bytesOf[0] & kFirstOfName) == 0;
            if (at == 0)
                leaf.head = {goesOn, order, FatLongNameEntry(bytesOf).nameChecksum(), true};
            leaf.tail = {true, order, FatLongNameEntry(bytesOf).nameChecksum(), true};
            continue;
        }
        leaf.tail = {};
        if (at == 0)
            leaf.head = {false, 0, FatLongNameEntry::checksum(entry.name()), false};
        if (entry.firstCluster() >= FatClusters::kFirst &&
            entry.firstByte() != FatDirectoryEntry::kDot) {
            leaf.lastTarget = entry.firstCluster();
            if (leaf.firstTarget == 0)
                leaf.firstTarget = leaf.lastTarget;
        }
    }
    leaf.entries.resize(at);
    leaf.isFull = at == clusters_.bytes;
    return leaf;
}

/// Whether a folder can go on from one cluster to the other.
bool FatFolderChains::joins(const Leaf& before, const Leaf& after) {
    if (!before.isFull || before.cluster == after.cluster)
        return false;
    if (!before.tail.isCut)
        return !after.head.isCut;
    // The sum of a deleted short name cannot be known, as that has lost its first byte.
    if (before.tail.checksum != after.head.checksum)
        return before.tail.order == 0 && !after.head.isLong;
    const bool nextIsShort = before.tail.order == 1;
    return before.tail.order == 0 || nextIsShort != after.head.isCut;
}

void FatFolderChains::append(std::size_t folder, Leaf& leaf) {
    FatFolderBytes& target = folders_[folder];
    if (target.entries.size() + leaf.entries.size() > kMostFolderBytes)
        return;
    target.entries.insert(target.entries.end(), leaf.entries.begin(), leaf.entries.end());
    target.clusters.push_back(leaf.cluster);
    last_[folder] = leaf;
    leaf.isTaken = true;
}

/// A cluster that names a folder belongs to the one above that. For the root, of which nothing
/// else is left, this is the only way.
void FatFolderChains::joinByFolders() {
    std::unordered_map<uint32, uint32> parents;
    std::unordered_map<uint32, std::size_t> byCluster;
    for (std::size_t i = 0; i < folders_.size(); ++i) {
        parents.emplace(folders_[i].cluster, folders_[i].parent);
        byCluster.emplace(folders_[i].cluster, i);
    }
    for (Leaf& leaf : loose_) {
        std::optional<uint32> owner;
        for (std::size_t at = 0; at < leaf.entries.size() && !owner; at += kEntry) {
            const FatDirectoryEntry entry(leaf.entries.data() + at);
            const auto named = entry.isLongName() || !entry.isDirectory()
                                   ? parents.end()
                                   : parents.find(entry.firstCluster());
            if (named != parents.end())
                owner = named->second;
        }
        if (!owner)
            continue;
        const auto known = byCluster.find(*owner);
        if (known != byCluster.end()) {
            if (joins(last_[known->second], leaf))
                append(known->second, leaf);
            continue;
        }
        byCluster.emplace(*owner, folders_.size());
        folders_.push_back({*owner, 0, *owner == 0, {}, {}});
        last_.emplace_back();
        append(folders_.size() - 1, leaf);
    }
}

/// The folders that are full take the loose clusters in the order of these: the one that has been
/// full for longest comes first.
void FatFolderChains::joinByOrder() {
    std::sort(loose_.begin(), loose_.end(),
              [](const Leaf& a, const Leaf& b) { return a.cluster < b.cluster; });
    for (Leaf& leaf : loose_) {
        if (leaf.isTaken)
            continue;
        std::size_t best = folders_.size();
        for (std::size_t i = 0; i < folders_.size(); ++i) {
            const Leaf& last = last_[i];
            if (!joins(last, leaf) || last.cluster > leaf.cluster ||
                std::max(last.lastTarget, last.cluster) > leaf.cluster)
                continue;
            if (best == folders_.size() || last.lastTarget < last_[best].lastTarget)
                best = i;
        }
        if (best < folders_.size())
            append(best, leaf);
    }
}

std::vector<FatFolderBytes> FatFolderChains::folders() {
    joinByFolders();
    joinByOrder();
    for (Leaf& leaf : loose_) {
        if (!leaf.isTaken)
            folders_.push_back({0, 0, false, std::move(leaf.entries), {leaf.cluster}});
    }
    return std::move(folders_);
}

} // namespace kova
