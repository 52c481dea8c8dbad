#include "engine/fat/FatSurvey.h"

#include "engine/fat/FatFolderChains.h"
#include "engine/forgottenFolders.h"

#include <algorithm>
#include <optional>
#include <string>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace kova {

namespace {

/// Most bytes of a directory read at once.
constexpr uint32 kReadAheadBytes = 64 * 1024;

/// Most bytes read to find where one deleted directory goes on, and where all of them do on a media
/// whose size is not known. Few are full to the last entry.
constexpr uint32 kSearchBytes = 1024 * 1024;
constexpr uint64 kAllSearchBytes = uint64{1} << 30;

constexpr uint64 kProbesPerReport = 1024;
/// What is read of directories' clusters to see which belong together.
constexpr uint32 kChainedBytes = 32 * 1024 * 1024;
constexpr std::size_t kMostChained = 8192;

/// Claims on one cluster that are compared with each other.
constexpr std::size_t kMostOpenClaims = 64;

/// Farther behind itself a directory is not looked for.
constexpr uint32 kSearchClusters = 0x10000;

constexpr double kWalkProgress = 0.01;
constexpr double kLostProgress = 0.4;
constexpr double kPlaceProgress = 0.5;
constexpr double kStoreProgress = 0.9;

/// Directories between two reports of progress.
constexpr uint32 kReportEvery = 64;

} // namespace

FatSurvey::FatSurvey(ZFatVolume& volume, ZFileTree& tree)
    : volume_(volume), tree_(tree), finder_(volume), read_(volume.table_.clusters()),
      searchBytesLeft_(volume.media()->sizeBytes() != 0 ? volume.media()->sizeBytes()
                                                        : kAllSearchBytes) {}

void FatSurvey::run() {
    walkLive();
    isStopped_ = isStopped_ || !report(kLostProgress);
    if (!isStopped_)
        walkLost();
    if (!isStopped_)
        findForgotten();
    findRenames();
    if (!isStopped_ && report(kPlaceProgress))
        finder_.run(found_, {folders_, continued_}, items_);
    markDoubts();
    report(kStoreProgress);
    store();
}

bool FatSurvey::report(double progress) {
    return volume_.setProgress(progress);
}

bool FatSurvey::isRead(uint32 cluster) const {
    return cluster >= read_.size() || read_[cluster];
}

void FatSurvey::walkLive() {
    const FatGeometry& geometry = volume_.geometry_;
    folders_.emplace_back();
    folders_.front().isLost = volume_.tableIsEmpty_;
    for (uint32 folder = 0; folder < folders_.size() && !isStopped_; ++folder) {
        if (folders_[folder].isLost && folder != FatFolder::kRoot)
            continue;
        openFolder(folder, folders_[folder].cluster);
        if (folder != FatFolder::kRoot) {
            readChain(folder);
        } else if (geometry.type != FatType::Fat32) {
            readFixedRoot();
        } else {
            folders_[folder].cluster = geometry.rootCluster;
            // A table that was wiped says no more of the root than of a deleted directory.
            if (volume_.table_.isFree(geometry.rootCluster))
                readLost(folder, geometry.rootCluster);
            else
                readChain(folder);
            folders_[folder].cluster = 0;
        }
        folders_[folder].itemsEnd = items_.size();
        if (folder % kReportEvery == 0)
            isStopped_ = !report(kWalkProgress);
    }
}

void FatSurvey::walkLost() {
    for (; lostWalked_ < lostFolders_.size() && !isStopped_; ++lostWalked_) {
        const uint32 index = lostFolders_[lostWalked_];
        const uint32 cluster = findFolder(index);
        FatFolder& folder = folders_[index];
        openFolder(index, cluster);
        folder.cluster = cluster;
        if (cluster != 0 && !isRead(cluster)) {
            if (volume_.table_.isFree(cluster))
                readLost(index, cluster);
            else
                readChain(index);
        }
        folders_[index].itemsEnd = items_.size();
        if (lostWalked_ % kReportEvery == 0)
            isStopped_ = !report(kLostProgress);
    }
}

/// What deleted files took if each of them lay in one piece.
ClusterRanges FatSurvey::claimedClusters() const {
    ClusterRanges claimed;
    for (const FatFolderItem& item : items_) {
        if (item.found == FatFolderItem::kLive || item.clusters == 0)
            continue;
        const uint32 first = found_[item.found].place.first;
        if (first != 0 && !finder_.isHighWordLost(found_[item.found].recorded))
            claimed.add(first, std::min(item.clusters, volume_.use_.freeFrom(first)));
    }
    return claimed;
}

/// Looks for directories where nothing else is known to have lain.
std::vector<FatSurvey::Forgotten> FatSurvey::forgottenFolders() {
    const FatGeometry& geometry = volume_.geometry_;
    const ClusterRanges claimed = claimedClusters();
    const uint32 last = geometry.lastMediaCluster;
    uint64 probes = forgottenFolderProbes(geometry.clusterBytes());
    std::vector<Forgotten> forgotten;
    std::vector<uint32> loose; // Clusters with entries that do not begin a directory.
    std::optional<ZCustomMedia::ReadWindow> window;
    if (areNearEachOther(geometry.clusterBytes()))
        window.emplace(*volume_.media());
    uint64 end = 0; // Up to here clusters are free and unclaimed.
    for (uint64 cluster = kFirstDataCluster; cluster <= last && probes > 0; ++cluster) {
        if (cluster >= end) {
            const uint64 unclaimed = claimed.pastRange(cluster);
            const ClusterRun free = volume_.use_.freeRunAt(unclaimed);
            if (free.count == 0)
                break;
            if (unclaimed != cluster || free.first > cluster) {
                cluster = std::max<uint64>(unclaimed, free.first) - 1;
                continue;
            }
            end = std::min(free.first + free.count, claimed.nextRange(cluster));
        }
        if (isRead(static_cast<uint32>(cluster)))
            continue;
        if (--probes % kProbesPerReport == 0 && !report(kLostProgress)) {
            isStopped_ = true;
            break;
        }
        const auto first = static_cast<uint32>(cluster);
        const std::optional<uint8> begin = firstEntryByte(first);
        if (begin == FatDirectoryEntry::kDot) {
            const FatPlaceFinder::Dots& dots = finder_.dotsOf(first);
            const bool isBelowRoot = dots.parent == geometry.rootCluster;
            if (dots.self == first)
                forgotten.push_back({first, isBelowRoot ? 0 : dots.parent, dots.created, false});
        } else if (begin && holdsEntries(first)) {
            loose.push_back(first);
        }
    }
    chainLoose(forgotten, loose);
    return forgotten;
}

/// Finds out in which of the loose clusters the directories go on: the forgotten ones, and those
/// that were left open.
void FatSurvey::chainLoose(const std::vector<Forgotten>& forgotten,
                           const std::vector<uint32>& loose) {
    const FatGeometry& geometry = volume_.geometry_;
    const std::size_t most =
        std::min<std::size_t>(kMostChained, geometry.clustersWithin(kChainedBytes));
    if (loose.empty() || std::max(forgotten.size() + openEnds_.size(), loose.size()) > most)
        return;
    const FatClusters clusters{geometry.byteOf(kFirstDataCluster), geometry.clusterBytes()};
    std::vector<FatFolderStart> starts;
    std::vector<FatEntrySectors> sectors;
    for (const Forgotten& folder : forgotten) {
        const uint64 position = clusters.positionOf(folder.cluster);
        starts.push_back({position, folder.cluster, folder.parent});
        sectors.push_back({position + FatEntrySectors::kBytes, position + clusters.bytes});
    }
    for (const OpenEnd& end : openEnds_) {
        const FatFolder& folder = folders_[end.folder];
        const uint32 above = found_[folder.found].folder;
        const uint64 position = clusters.positionOf(end.cluster);
        starts.push_back({clusters.positionOf(folder.cluster), folder.cluster,
                          above == FatFolder::kNone ? FatFolder::kNone : folders_[above].cluster,
                          end.cluster});
        sectors.push_back({position + FatEntrySectors::kBytes, position + clusters.bytes});
    }
    for (const uint32 cluster : loose) {
        const uint64 position = clusters.positionOf(cluster);
        sectors.push_back({position, position + clusters.bytes});
    }
    for (const FatFolderBytes& folder :
         FatFolderChains(*volume_.media(), clusters, starts, sectors).folders()) {
        for (auto at = folder.clusters.begin(); at != folder.clusters.end(); ++at)
            nextCluster_[*at] = std::next(at) == folder.clusters.end() ? 0 : *std::next(at);
    }
}

/// The index of the folder above, unless a younger one lies in its place now.
uint32 FatSurvey::parentOf(const Forgotten& forgotten) {
    if (forgotten.parent == 0)
        return FatFolder::kRoot;
    for (; foldersPlaced_ < folders_.size(); ++foldersPlaced_)
        folderAt_.emplace(folders_[foldersPlaced_].cluster, foldersPlaced_);
    const auto folder = folderAt_.find(forgotten.parent);
    if (folder == folderAt_.end())
        return FatFolder::kNone;
    const uint32 created = found_[folders_[folder->second].found].place.created;
    const bool isYounger = forgotten.created != 0 && created > forgotten.created;
    return isYounger ? FatFolder::kNone : folder->second;
}

void FatSurvey::addForgotten(const Forgotten& forgotten) {
    FatFound& found = found_.emplace_back();
    ZFileTreeNode& node = nodes_.emplace_back();
    node.name = L"Folder " + std::to_wstring(forgotten.cluster);
    node.isDirectory = true;
    found.recorded = forgotten.cluster;
    found.folder = parentOf(forgotten);
    found.kinds = &volume_.starts_.kindsOf({});
    found.place = {forgotten.cluster, forgotten.created, FatPlace::Certainty::Known};
    FatFolder folder;
    folder.cluster = forgotten.cluster;
    folder.found = static_cast<uint32>(found_.size() - 1);
    folder.isLost = true;
    lostFolders_.push_back(static_cast<uint32>(folders_.size()));
    folders_.push_back(folder);
}

/// Walks the directories whose entries others were written over. One that lies in another one of
/// them comes after it, as that may still have its name.
void FatSurvey::findForgotten() {
    std::vector<Forgotten> forgotten = forgottenFolders();
    readOn();
    std::unordered_map<uint32, Forgotten*> byCluster;
    for (Forgotten& one : forgotten)
        byCluster.emplace(one.cluster, &one);
    for (Forgotten& one : forgotten) {
        std::vector<Forgotten*> inner; // The outermost last.
        for (Forgotten* at = &one; at != nullptr && !std::exchange(at->isTaken, true);) {
            inner.push_back(at);
            const auto above = byCluster.find(at->parent);
            at = above == byCluster.end() ? nullptr : above->second;
        }
        for (; !inner.empty() && !isStopped_; inner.pop_back()) {
            if (isRead(inner.back()->cluster))
                continue;
            addForgotten(*inner.back());
            walkLost();
        }
    }
}

void FatSurvey::openFolder(uint32 folder, uint32 cluster) {
    parser_.begin(cluster, volume_.scanOptions(), volume_.geometry_.type);
    folders_[folder].itemsBegin = items_.size();
    folders_[folder].itemsEnd = items_.size();
}

void FatSurvey::readFixedRoot() {
    const FatGeometry& geometry = volume_.geometry_;
    // At most 65535 entries.
    buffer_.resize(static_cast<std::size_t>(geometry.rootSectors) * geometry.bytesPerSector);
    volume_.readSectors(geometry.rootSector, geometry.rootSectors, geometry.bytesPerSector,
                        buffer_.data());
    readEntries(FatFolder::kRoot, buffer_);
}

/// Reads a directory along its chain, ahead where that goes on in consecutive clusters: at most as
/// much as has been used before, as a directory seldom fills what it holds.
void FatSurvey::readChain(uint32 folder) {
    const FatGeometry& geometry = volume_.geometry_;
    const uint32 furthest = geometry.clustersWithin(kReadAheadBytes);
    uint32 most = 1;
    uint32 cluster = folders_[folder].cluster;
    while (cluster >= kFirstDataCluster && cluster <= geometry.lastMediaCluster &&
           !isRead(cluster)) {
        const uint32 first = cluster;
        uint32 count = 0;
        uint32 entry = 0;
        do {
            entry = volume_.table_.entry(cluster);
            if (!volume_.table_.isInChain(entry))
                break;
            read_[cluster] = true;
            ++count;
            cluster = entry;
        } while (count < most && entry == first + count && entry <= geometry.lastMediaCluster &&
                 !isRead(entry));
        if (count == 0)
            return;
        buffer_.resize(static_cast<std::size_t>(count) * geometry.clusterBytes());
        volume_.readClusters(first, count, buffer_.data());
        if (!readEntries(folder, buffer_) || volume_.table_.isEnd(entry))
            return;
        most = std::min(2 * most, furthest);
    }
}

/// Reads a directory whose chain is gone, from one of its clusters on.
void FatSurvey::readLost(uint32 folder, uint32 cluster) {
    while (cluster >= kFirstDataCluster && cluster <= volume_.geometry_.lastMediaCluster &&
           !isRead(cluster)) {
        read_[cluster] = true;
        buffer_.resize(volume_.geometry_.clusterBytes());
        volume_.readClusters(cluster, 1, buffer_.data());
        volume_.starts_.addFolder(cluster);
        if (!readEntries(folder, buffer_))
            return;
        const auto known = nextCluster_.find(cluster);
        const uint32 next =
            known == nextCluster_.end() ? findContinuation(folder, cluster) : known->second;
        if (next == 0 && folder != FatFolder::kRoot)
            openEnds_.push_back({folder, cluster});
        cluster = next;
    }
}

/// Reads the directories that were left open as far as it has turned out where they go on.
void FatSurvey::readOn() {
    const std::vector<OpenEnd> ends = std::exchange(openEnds_, {});
    for (const OpenEnd& end : ends) {
        const auto next = nextCluster_.find(end.cluster);
        if (isStopped_ || next == nextCluster_.end() || next->second == 0)
            continue;
        const FatFolder& folder = folders_[end.folder];
        FatFolder part;
        part.cluster = next->second;
        part.found = folder.found;
        part.itemsBegin = items_.size();
        // A name may run over the border.
        parser_.begin(folder.cluster, volume_.scanOptions(), volume_.geometry_.type);
        buffer_.resize(volume_.geometry_.clusterBytes());
        volume_.readClusters(end.cluster, 1, buffer_.data());
        for (std::size_t at = 0; at < buffer_.size(); at += FatDirectoryEntry::kBytes) {
            parser_.feed(buffer_.data() + at);
            if (parser_.entryComplete())
                parser_.reset();
        }
        readLost(end.folder, part.cluster);
        part.itemsEnd = items_.size();
        continued_.push_back(part);
        if (continued_.size() % kReportEvery == 0)
            isStopped_ = !report(kLostProgress);
    }
    walkLost();
}

/// False when the directory ends here.
bool FatSurvey::readEntries(uint32 folder, std::span<const uint8> entries) {
    for (; !entries.empty(); entries = entries.subspan(FatDirectoryEntry::kBytes)) {
        parser_.feed(entries.data());
        if (parser_.endOfDirectory())
            return false;
        if (!parser_.entryComplete())
            continue;
        takeEntry(folder);
        parser_.reset();
    }
    return true;
}

void FatSurvey::takeEntry(uint32 folder) {
    const FatDirectoryEntry entry = parser_.entry();
    if (parser_.isDots())
        return;
    // Something else was written over it: no file is without bytes and dates.
    if (!entry.exists() && !entry.isDirectory() && entry.size() == 0 && entry.writeDate() == 0)
        return;
    const uint32 cluster = parser_.firstCluster();
    const bool isInUse =
        volume_.geometry_.isDataCluster(cluster) && !volume_.table_.isFree(cluster);
    // Where the table was wiped, what looks live is as lost as the rest.
    const bool isLost =
        !entry.exists() || (folders_[folder].isLost && (!volume_.tableIsEmpty_ || !isInUse));
    if (!isLost && cluster != 0) {
        volume_.use_.addLive(cluster, entry.creationStamp());
        liveStamps_[cluster] = entry.creationStamp();
        isLiveStamp_[entry.creationStamp()] = true;
    }
    const uint32 clusterBytes = volume_.geometry_.clusterBytes();
    const uint32 clusters =
        entry.size() / clusterBytes + (entry.size() % clusterBytes != 0 ? 1 : 0);
    if (isLost || entry.isDirectory())
        addFound(folder, isLost);
    if (!entry.isDirectory())
        items_.push_back({isLost ? static_cast<uint32>(found_.size() - 1) : FatFolderItem::kLive,
                          isLost ? 0 : cluster, clusters});
}

void FatSurvey::addFound(uint32 folder, bool isLost) {
    FatFound& found = found_.emplace_back();
    ZFileTreeNode& node = nodes_.emplace_back();
    parser_.buildNode(node);
    if (volume_.scanOptions().localTimes)
        tellInUtc(node, localTimes_);
    found.recorded = parser_.firstCluster();
    found.folder = folder;
    found.kinds = &volume_.starts_.kindsOf(node.name);
    found.place.created = parser_.entry().creationStamp();
    found.written = parser_.entry().writeStamp();
    if (volume_.geometry_.isDataCluster(found.recorded)) {
        found.place.first = found.recorded;
        found.place.certainty = FatPlace::Certainty::Known;
    }
    if (!node.isDirectory) {
        node.exists = false; // A live file in a deleted directory is as lost as it.
        return;
    }
    found.exists = node.exists;
    FatFolder inner;
    inner.cluster = found.place.first;
    inner.found = static_cast<uint32>(found_.size() - 1);
    inner.isLost = isLost || volume_.tableIsEmpty_;
    if (inner.isLost)
        lostFolders_.push_back(static_cast<uint32>(folders_.size()));
    folders_.push_back(inner);
}

/// The first cluster of a directory that is not live, 0 when it is not known.
uint32 FatSurvey::findFolder(uint32 folder) {
    FatFound& found = found_[folders_[folder].found];
    if (found.exists)
        return found.place.first;
    const bool isBelow = found.folder != FatFolder::kRoot && found.folder != FatFolder::kNone;
    const uint32 parent = isBelow ? folders_[found.folder].cluster : 0;
    const uint32 cluster = finder_.findFolder(found.recorded, parent);
    found.place.first = cluster;
    found.place.certainty = cluster == 0 ? FatPlace::Certainty::None : FatPlace::Certainty::Known;
    return cluster;
}

/// Where a directory goes on whose chain is gone, 0 when that is not found: it grew when its last
/// cluster was full, so that its next one lies behind the last file in it, or not far behind
/// itself.
uint32 FatSurvey::findContinuation(uint32 folder, uint32 last) {
    const FatGeometry& geometry = volume_.geometry_;
    const uint64 bytes = std::min<uint64>(kSearchBytes, searchBytesLeft_);
    auto probes = static_cast<uint32>(bytes / geometry.bytesPerSector);
    const auto isIt = [&](uint32 cluster) {
        if (probes == 0 || isRead(cluster) || !volume_.table_.isFree(cluster) ||
            nextCluster_.contains(cluster))
            return false;
        --probes;
        searchBytesLeft_ -= geometry.bytesPerSector;
        return holdsEntries(cluster);
    };
    if (items_.size() > folders_[folder].itemsBegin) {
        const FatFolderItem& item = items_.back();
        const uint32 first = item.found == FatFolderItem::kLive
                                 ? item.first
                                 : finder_.nearestAbove(found_[item.found].recorded, last);
        const uint64 end = uint64{first} + item.clusters;
        if (first != 0 && end <= geometry.lastMediaCluster && isIt(static_cast<uint32>(end)))
            return static_cast<uint32>(end);
    }
    const uint32 furthest = std::min(geometry.lastMediaCluster, last + kSearchClusters);
    for (uint32 cluster = last + 1; cluster <= furthest && probes > 0; ++cluster) {
        if (isIt(cluster))
            return cluster;
    }
    return 0;
}

/// The first byte of a cluster that may begin with an entry, which most of them are quick to deny.
std::optional<uint8> FatSurvey::firstEntryByte(uint32 cluster) {
    const FatGeometry& geometry = volume_.geometry_;
    buffer_.resize(geometry.bytesPerSector);
    volume_.readSectors(static_cast<uint64>(geometry.sectorOf(cluster)), 1, geometry.bytesPerSector,
                        buffer_.data());
    const FatDirectoryEntry entry(buffer_.data());
    return entry.mayBeOfFile() ? std::optional(entry.firstByte()) : std::nullopt;
}

/// Whether a cluster holds entries of a directory, and not its first ones.
bool FatSurvey::holdsEntries(uint32 cluster) {
    const FatGeometry& geometry = volume_.geometry_;
    buffer_.resize(geometry.clusterBytes());
    const auto first = std::span(buffer_).first(geometry.bytesPerSector);
    volume_.readSectors(static_cast<uint64>(geometry.sectorOf(cluster)), 1, geometry.bytesPerSector,
                        first.data());
    if (!continues(first))
        return false;
    volume_.readClusters(cluster, 1, buffer_.data());
    return continues(buffer_);
}

/// The same of bytes.
bool FatSurvey::continues(std::span<const uint8> cluster) const {
    FatEntryParser parser;
    parser.begin(0, volume_.scanOptions(), volume_.geometry_.type);
    bool any = false;
    for (; !cluster.empty(); cluster = cluster.subspan(FatDirectoryEntry::kBytes)) {
        parser.feed(cluster.data());
        if (parser.endOfDirectory())
            return any && std::all_of(cluster.begin(), cluster.end(),
                                      [](uint8 byte) { return byte == 0; });
        const FatDirectoryEntry entry = parser.entry();
        if (entry.isLongName()) {
            if (FatLongNameEntry(cluster.data()).firstCluster() != 0 || entry.caseBits() != 0)
                return false;
        } else if (!parser.entryComplete() || parser.isDots() ||
                   parser.firstCluster() > volume_.geometry_.lastCluster ||
                   (entry.isDirectory() && entry.size() != 0)) {
            return false;
        } else {
            parser.reset();
        }
        any = true;
    }
    return any;
}

/// A file that was renamed or moved has left its old entry behind; it was not deleted.
void FatSurvey::findRenames() {
    for (FatFound& found : found_) {
        if (found.exists || found.place.created == 0 ||
            isLiveStamp_.find(found.place.created) == nullptr)
            continue;
        finder_.forEachCandidate(found.recorded, [&](uint32 cluster) {
            const uint32* const stamp = liveStamps_.find(cluster);
            found.isRename = found.isRename || (stamp != nullptr && *stamp == found.place.created);
        });
    }
}

void FatSurvey::addStart(const FatFound& found, uint32 clusters) {
    FormerStarts::Start start;
    start.cluster = found.place.first;
    start.clusters = clusters;
    start.created = found.place.created;
    start.isScattered = volume_.use_.freeFrom(start.cluster) < clusters;
    start.kinds = found.kinds;
    volume_.starts_.add(start);
}

/// Doubts the places of deleted files that claim the same clusters.
void FatSurvey::markDoubts() {
    std::vector<Claim> claims;
    claims.reserve(items_.size());
    volume_.starts_.reserve(items_.size());
    for (const FatFolderItem& item : items_) {
        if (item.found == FatFolderItem::kLive)
            continue;
        FatFound& found = found_[item.found];
        // What is larger than the volume is none of its files: its entry is damaged.
        if (found.place.first == 0 || found.isRename || item.clusters == 0 ||
            item.clusters > volume_.geometry_.clusterCount)
            continue;
        claims.push_back({found.place.first, uint64{found.place.first} + item.clusters, &found});
        if (found.place.certainty != FatPlace::Certainty::Doubted)
            addStart(found, item.clusters);
        volume_.use_.addDeleted(found.place.first);
    }
    std::sort(claims.begin(), claims.end(),
              [](const Claim& a, const Claim& b) { return a.first < b.first; });
    for (auto begin = claims.begin(); begin != claims.end();) {
        uint64 furthest = begin->end;
        auto end = std::next(begin);
        for (; end != claims.end() && end->first < furthest; ++end)
            furthest = std::max(furthest, end->end);
        if (end - begin > 1) {
            doubtInterleaved({begin, end});
            doubtOlder({begin, end});
        }
        begin = end;
    }
}

/// Of files that claim the same clusters the younger one is the likelier owner.
void FatSurvey::doubtOlder(std::span<Claim> claims) {
    // The youngest first; of those made in the same moment the one behind is taken for younger.
    std::sort(claims.begin(), claims.end(), [](const Claim& a, const Claim& b) {
        return std::tuple(b.created(), b.first, b.end) < std::tuple(a.created(), a.first, a.end);
    });
    ClusterRanges younger;
    const Claim* last = nullptr;
    for (const Claim& claim : claims) {
        // A renamed file has two entries, and both tell the truth.
        if (last != nullptr && claim.isSameAs(*last))
            claim.found->place.certainty = last->found->place.certainty;
        else if (younger.overlap(claim.first, claim.end - claim.first) > 0)
            claim.found->place.certainty = FatPlace::Certainty::Doubted;
        younger.add(claim.first, claim.end - claim.first);
        last = &claim;
    }
}

/// A file that was made while one that claims the same clusters was still there does not have them
/// all, and neither does that one. The claims are in the order of their first clusters.
void FatSurvey::doubtInterleaved(std::span<const Claim> claims) {
    std::vector<const Claim*> open; // Those that reach farther than where the next begins.
    for (const Claim& claim : claims) {
        std::erase_if(open, [&](const Claim* one) { return one->end <= claim.first; });
        for (const Claim* one : open) {
            const bool isOlder = one->created() <= claim.created();
            const Claim& older = isOlder ? *one : claim;
            const Claim& younger = isOlder ? claim : *one;
            // Of two that begin in the same cluster the older one was gone by then.
            if (younger.created() != 0 && older.found->written >= younger.created() &&
                older.first != younger.first)
                younger.found->place.certainty = FatPlace::Certainty::Doubted;
        }
        if (open.size() < kMostOpenClaims)
            open.push_back(&claim);
    }
}

/// Marks a folder, and those above it, as holding something to be stored.
void FatSurvey::need(uint32 folder) {
    while (folder != FatFolder::kNone && !std::exchange(folders_[folder].isNeeded, true) &&
           folder != FatFolder::kRoot)
        folder = found_[folders_[folder].found].folder;
}

void FatSurvey::store() {
    for (std::size_t index = 0; index < found_.size(); ++index) {
        const FatFound& found = found_[index];
        const bool isAsked = found.folder != FatFolder::kNone && !folders_[found.folder].isNeeded;
        if (!found.isRename && !found.exists && isAsked &&
            (!tree_.filter || tree_.filter(nodes_[index])))
            need(found.folder);
    }
    std::vector<bool> usedIds(std::size_t{volume_.geometry_.lastCluster} + 1);
    int64 nextId = ZFatVolume::kFirstOwnId;
    volume_.places_.reserve(found_.size());
    tree_.reserve(found_.size());
    std::size_t folder = FatFolder::kRoot; // The last one whose entry has come by.
    for (std::size_t index = 0; index < found_.size(); ++index) {
        FatFound& found = found_[index];
        if (folder + 1 < folders_.size() && folders_[folder + 1].found == index)
            ++folder;
        if (found.isRename || (found.exists && !folders_[folder].isNeeded))
            continue;
        found.id = found.recorded;
        if (!volume_.geometry_.isDataCluster(found.recorded) || usedIds[found.recorded])
            found.id = nextId++;
        else
            usedIds[found.recorded] = true;
        ZFileTreeNode& node = nodes_[index];
        node.id = found.id;
        node.parentId = found.folder == FatFolder::kRoot ? 0
                        : found.folder == FatFolder::kNone
                            ? kLostFolder
                            : found_[folders_[found.folder].found].id;
        volume_.places_[found.id] = found.place;
        tree_.insert(std::move(node));
    }
}

} // namespace kova
