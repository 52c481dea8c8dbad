#include "engine/fat/FatDirectoryWalk.h"

#include <algorithm>
#include <utility>

namespace kova {

namespace {

/// In `Level::nextCluster`: no cluster has this number, as FAT entries have 28 bits.
constexpr uint32 kChainEnd = 0xFFFFFFFF;

/// Most bytes of a directory read at once. Few directories are longer, and one that has been
/// overwritten ends soon, at the first entry that begins with 0.
constexpr uint32 kReadAheadBytes = 64 * 1024;

/// Directories that wait for their subdirectories keep no more than this in memory; what goes
/// beyond is read again.
constexpr std::size_t kMostHeldBytes = std::size_t{4} << 20;

constexpr uint32 kRootDirectory = 0;

} // namespace

FatDirectoryWalk::FatDirectoryWalk(ZFatVolume& volume, ZFileTree& tree)
    : volume_(volume), tree_(tree), read_(volume.table_.clusters()) {}

void FatDirectoryWalk::run() {
    open(kRootDirectory);
    while (depth_ > 0) {
        Level& level = levels_[depth_ - 1];
        if (walkEntries(level))
            continue; // A subdirectory has been opened on top.
        --depth_;
        if (depth_ > 0) {
            restore(levels_[depth_ - 1]);
            closeSubdirectory(levels_[depth_ - 1]);
        }
    }
}

/// Puts a directory on the stack, also one that has nothing to read (any more).
void FatDirectoryWalk::open(uint32 cluster) {
    if (heldBytes_ > kMostHeldBytes && depth_ > 0)
        release(levels_[depth_ - 1]);
    if (depth_ == levels_.size())
        levels_.emplace_back();
    Level& level = levels_[depth_++];
    level.parser.begin(cluster, volume_.scanOptions(), volume_.geometry_.type);
    level.isDeleted = volume_.table_.isFree(cluster) &&
                      !(cluster == kRootDirectory && volume_.scanOptions().lenientFat);
    level.runCount = 0;
    level.runUsed = 0;
    level.runMost = 1;
    level.isReleased = false;
    level.nextCluster = kChainEnd;
    level.entries = {};

    if (cluster == kRootDirectory && std::exchange(rootOpened_, true))
        return;
    if (level.isDeleted) {
        // What followed the first cluster went with the chain.
        if (!isRead(cluster) && cluster <= volume_.geometry_.lastMediaCluster) {
            level.runFirst = cluster;
            level.runCount = 1;
            readRun(level);
        }
    } else if (cluster == kRootDirectory) {
        openRoot(level);
    } else {
        level.nextCluster = cluster;
    }
}

void FatDirectoryWalk::openRoot(Level& level) {
    const FatGeometry& geometry = volume_.geometry_;
    if (geometry.type == FatType::Fat32) {
        level.nextCluster = geometry.rootCluster;
        return;
    }
    readRun(level);
    level.entries = level.run;
}

/// Reads the clusters of the run, or the fixed root directory, which is no cluster.
void FatDirectoryWalk::readRun(Level& level) {
    const FatGeometry& geometry = volume_.geometry_;
    // The fixed region has at most 65535 entries.
    const std::size_t bytes =
        level.runCount == 0
            ? static_cast<std::size_t>(geometry.rootSectors) * geometry.bytesPerSector
            : static_cast<std::size_t>(level.runCount) * geometry.clusterBytes();
    heldBytes_ -= level.run.capacity();
    level.run.resize(bytes);
    heldBytes_ += level.run.capacity();
    if (level.runCount == 0)
        volume_.readSectors(geometry.rootSector, geometry.rootSectors, geometry.bytesPerSector,
                            level.run.data());
    else
        volume_.readClusters(level.runFirst, level.runCount, level.run.data());
}

/// Gives up the memory of a level that waits.
void FatDirectoryWalk::release(Level& level) {
    heldBytes_ -= level.run.capacity();
    level.run = {};
    level.isReleased = true;
}

void FatDirectoryWalk::restore(Level& level) {
    if (!std::exchange(level.isReleased, false) ||
        (level.entries.empty() && level.runUsed == level.runCount))
        return;
    readRun(level);
    // The entries in hand are the last ones of their cluster, or of the fixed root directory.
    const std::size_t end = level.runCount == 0
                                ? level.run.size()
                                : level.runUsed * std::size_t{volume_.geometry_.clusterBytes()};
    level.entries =
        std::span<const uint8>(level.run).subspan(end - level.entries.size(), level.entries.size());
}

/// Puts the entries of the directory's next cluster in hand; false when there is none.
bool FatDirectoryWalk::nextCluster(Level& level) {
    if (level.runUsed == level.runCount && !readAhead(level))
        return false;
    // Read ahead or not, a subdirectory may have been here in the meantime.
    if (!markRead(level.runFirst + level.runUsed))
        return false;
    const std::size_t bytes = volume_.geometry_.clusterBytes();
    level.entries = std::span<const uint8>(level.run).subspan(level.runUsed * bytes, bytes);
    ++level.runUsed;
    return true;
}

/// Reads the chain as far as it goes on in consecutive clusters; false when it ends. At most as
/// much is read ahead as has been used before: chains may share clusters, and the buffers of all
/// levels together have to stay within the size of the volume.
bool FatDirectoryWalk::readAhead(Level& level) {
    const FatGeometry& geometry = volume_.geometry_;
    const uint32 most = std::min(level.runMost, geometry.clustersWithin(kReadAheadBytes));
    level.runMost = 2 * most;
    uint32 cluster = level.nextCluster;
    level.runFirst = cluster;
    level.runCount = 0;
    level.runUsed = 0;
    level.nextCluster = kChainEnd;
    while (cluster <= geometry.lastMediaCluster && !isRead(cluster)) {
        const uint32 entry = volume_.table_.entry(cluster);
        if (!volume_.table_.isInChain(entry))
            break;
        ++level.runCount;
        if (volume_.table_.isEnd(entry))
            break;
        if (entry != cluster + 1 || level.runCount == most) {
            level.nextCluster = entry;
            break;
        }
        cluster = entry;
    }
    if (level.runCount == 0)
        return false;
    readRun(level);
    return true;
}

/// Goes through the entries of a directory; true when a subdirectory has been opened instead,
/// false at the end.
bool FatDirectoryWalk::walkEntries(Level& level) {
    while (!level.entries.empty() || nextCluster(level)) {
        while (!level.entries.empty()) {
            level.parser.feed(level.entries.data());
            level.entries = level.entries.subspan(FatDirectoryEntry::kBytes);
            if (level.parser.endOfDirectory())
                return false;
            if (!level.parser.entryComplete())
                continue;
            const bool opened = takeEntry(level);
            level.parser.reset();
            if (opened)
                return true;
        }
    }
    return false;
}

/// The checks that need no name, so that what is dropped anyway costs little.
bool FatDirectoryWalk::isWorthBuilding(const Level& level) const {
    const FatDirectoryEntry entry = level.parser.entry();
    const uint32 cluster = level.parser.firstCluster();
    if (cluster > volume_.geometry_.lastCluster || cluster == level.parser.directoryCluster())
        return false;
    return entry.isDirectory() || !entry.exists() || level.isDeleted;
}

/// Stores a file that is to be stored; opens a directory and then returns true.
bool FatDirectoryWalk::takeEntry(Level& level) {
    if (!isWorthBuilding(level))
        return false;
    level.parser.buildNode(node_);
    if (node_.name.starts_with(L'.'))
        return false;
    if (volume_.scanOptions().localTimes)
        tellInUtc(node_, localTimes_);
    const ZFileTreeNode* const stored = tree_.find(node_.id);
    if (stored != nullptr && stored->creationTime >= node_.creationTime)
        return false;

    if (node_.isDirectory) {
        const auto cluster = static_cast<uint32>(node_.id);
        level.nodesBefore = tree_.allNodes().size();
        std::swap(level.subdirectory, node_);
        open(cluster);
        return true;
    }
    node_.exists = false; // A live file in a deleted directory is as lost as a deleted one.
    tree_.insert(std::exchange(node_, ZFileTreeNode()));
    return false;
}

/// Stores the subdirectory that has been walked, unless it is live and nothing was found below.
void FatDirectoryWalk::closeSubdirectory(Level& level) {
    if (!level.subdirectory.exists || tree_.allNodes().size() != level.nodesBefore)
        tree_.insert(level.subdirectory);
}

bool FatDirectoryWalk::isRead(uint32 cluster) const {
    return cluster >= read_.size() || read_[cluster];
}

/// False when it has been read before.
bool FatDirectoryWalk::markRead(uint32 cluster) {
    if (isRead(cluster))
        return false;
    read_[cluster] = true;
    return true;
}

} // namespace kova
