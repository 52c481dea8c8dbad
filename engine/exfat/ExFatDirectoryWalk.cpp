#include "engine/exfat/ExFatDirectoryWalk.h"

#include "engine/content/ContentKinds.h"
#include "engine/forgottenFolders.h"
#include "format/WideText.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

namespace kova {

namespace {

using exfat::DirectoryEntry;
using exfat::StreamEntry;

constexpr std::size_t kEntryBytes = DirectoryEntry::kBytes;

/// Bytes of a folder read at once: few folders are longer than the least, and one ends at its
/// first unused entry, however large its clusters are.
constexpr uint64 kLeastPiece = uint64{32} << 10;
constexpr uint64 kMostPiece = uint64{1} << 20;

/// Clusters of a deleted folder that others have taken, in a row, before the rest is given up.
constexpr uint32 kMostTakenInARow = 16;

/// Bytes that are read of a cluster to see whether it continues a folder: a whole set and more.
constexpr uint64 kProbeBytes = uint64{16} << 10;
/// Clusters that are looked into for where a folder goes on, and that are passed on the way.
constexpr int kMostProbes = 64;
constexpr int kMostPassed = 65536;

constexpr double kWalkShare = 0.98;

/// Whether all entries, up to the first unused one, are of types that folders have.
bool looksClean(std::span<const uint8> entries) {
    for (std::size_t at = 0; at < entries.size(); at += kEntryBytes) {
        const DirectoryEntry entry(entries.data() + at);
        if (entry.type() == DirectoryEntry::kEnd)
            return true;
        if (!entry.isDefined())
            return false;
    }
    return true;
}

} // namespace

ExFatDirectoryWalk::ExFatDirectoryWalk(ZExFatVolume& volume, ZFileTree& tree)
    : volume_(volume), geometry_(volume.geometry_), tree_(tree),
      parser_(volume.geometry_, volume.upcase_), read_(std::size_t{geometry_.lastCluster} + 1) {}

void ExFatDirectoryWalk::run() {
    Folder root;
    root.id = ExFatPlaces::kRootId;
    root.nextCluster = geometry_.rootCluster;
    root.clustersLeft = geometry_.clustersFor(exfat::kLargestFolder);
    root.share = kWalkShare;
    live_.push_back(std::move(root));
    while (!stopped_) {
        std::optional<Folder> folder = takeFolder();
        if (!folder)
            break;
        walk(std::move(*folder));
    }
}

/// The folder to be walked next; nothing when all has been.
std::optional<ExFatDirectoryWalk::Folder> ExFatDirectoryWalk::takeFolder() {
    std::optional<Folder> folder;
    while (!folder) {
        if (!live_.empty()) {
            folder = std::move(live_.front());
            live_.pop_front();
        } else if (!deleted_.empty()) {
            folder = deleted_.top();
            deleted_.pop();
        } else if (!torn_.empty()) {
            folder = mend(torn_.front());
            torn_.pop_front();
        } else if (!forgotten_) {
            findForgotten();
        } else if (!forgotten_->empty()) {
            folder = openForgotten(forgotten_->front());
            forgotten_->pop_front();
        } else {
            break;
        }
    }
    return folder;
}

void ExFatDirectoryWalk::walk(Folder folder) {
    Piece piece;
    uint64 pieceBytes = kLeastPiece;
    bool ended = false;
    std::size_t held = folder.rest.size();
    buffer_.resize(std::max(buffer_.size(), held));
    std::copy(folder.rest.begin(), folder.rest.end(), buffer_.begin());
    while (!ended && !stopped_ && nextPiece(folder, piece)) {
        const auto now = static_cast<std::size_t>(std::min(pieceBytes, piece.bytes - piece.read));
        buffer_.resize(std::max(buffer_.size(), held + now));
        const auto entries = std::span(buffer_).first(held + now);
        const auto fresh = entries.subspan(held);
        volume_.readCluster(piece.first, piece.read, fresh);
        piece.read += now;
        pieceBytes = std::min(2 * pieceBytes, kMostPiece);
        const auto left = takeEntries(folder, entries, looksClean(fresh), true, ended);
        std::copy(left.begin(), left.end(), buffer_.begin());
        held = left.size();
        advance(0);
    }
    const double share = folder.share / static_cast<double>(subfolders_.size() + 1);
    for (Folder& subfolder : subfolders_) {
        subfolder.share = share;
        if (subfolder.isDeleted)
            deleted_.push(std::move(subfolder));
        else
            live_.push_back(std::move(subfolder));
    }
    subfolders_.clear();
    advance(share);
    if (ended || stopped_)
        return;
    if (folder.lastCluster == 0) // Nothing of it was there.
        return;
    folder.rest.assign(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(held));
    folder.share = 0;
    torn_.push_back(std::move(folder));
}

bool ExFatDirectoryWalk::mayRead(uint64 cluster, bool isDeleted) const {
    return geometry_.contains(cluster) && !read_[cluster] &&
           !(isDeleted && volume_.bitmap_.isUsed(static_cast<uint32>(cluster)));
}

/// Puts the next clusters of the folder that follow each other in hand, unless there is something
/// left of those before; false at the end.
bool ExFatDirectoryWalk::nextPiece(Folder& folder, Piece& piece) {
    if (piece.read < piece.bytes)
        return true;
    uint64 cluster = folder.nextCluster;
    for (uint32 taken = 0; folder.isDeleted && folder.noFatChain && folder.clustersLeft > 0 &&
                           taken < kMostTakenInARow && !mayRead(cluster, true);
         ++taken, ++cluster)
        --folder.clustersLeft;
    piece = {static_cast<uint32>(cluster), 0, 0};
    while (folder.clustersLeft > 0 && piece.bytes < kMostPiece &&
           mayRead(cluster, folder.isDeleted)) {
        read_[cluster] = true;
        if (folder.isDeleted)
            volume_.starts_.addFolder(static_cast<uint32>(cluster));
        --folder.clustersLeft;
        folder.lastCluster = static_cast<uint32>(cluster);
        piece.bytes += geometry_.clusterBytes;
        const uint64 next =
            folder.noFatChain ? cluster + 1 : volume_.table_.entry(static_cast<uint32>(cluster));
        folder.nextCluster = static_cast<uint32>(next);
        if (next != cluster + 1)
            break;
        cluster = next;
    }
    return piece.bytes != 0;
}

/// Takes the sets that `left` holds, but for one that goes on behind it, which is returned.
/// `ended`: the folder does here.
std::span<const uint8> ExFatDirectoryWalk::takeEntries(Folder& folder, std::span<const uint8> left,
                                                       bool isClean, bool goesOn, bool& ended) {
    ExFatSetParser::Wanted wanted;
    wanted.liveFiles = folder.isDeleted;
    wanted.damaged = isClean; // What has been written over looks like many things.
    while (left.size() >= kEntryBytes && !ended) {
        ended = isClean && DirectoryEntry(left.data()).type() == DirectoryEntry::kEnd;
        if (ended)
            break;
        ExFatSetParser::Result result = parser_.parse(left, goesOn, wanted);
        if (result.entries == 0)
            break;
        left = left.subspan(result.entries * kEntryBytes);
        if (result.file)
            takeFile(folder, *result.file);
    }
    return left;
}

void ExFatDirectoryWalk::takeFile(Folder& folder, ExFatFile& file) {
    const StreamEntry& stream = file.stream;
    if (!file.hasFileEntry && continues(stream.firstCluster, {}))
        file.file.attributes |= exfat::FileEntry::kDirectory; // Its content says what it was.
    const bool isFolder = file.isFolder();
    if (stream.dataLength > geometry_.heapBytes() || (file.inUse && !folder.isDeleted && !isFolder))
        return;
    if (volume_.scanOptions().localTimes)
        file.file.tellInUtc(localTimes_);
    ZFileTreeNode node;
    node.parentId = folder.id;
    node.name = format::wideFromUtf16(file.name);
    node.isDirectory = isFolder;
    node.exists = file.inUse && isFolder;
    node.attributes = file.file.attributes;
    node.creationTime = file.file.creationTime;
    node.modificationTime = file.file.modificationTime;
    node.accessTime = file.file.accessTime;
    if (!isFolder)
        node.size = static_cast<int64>(stream.dataLength);

    ExFatPlace place;
    place.firstCluster = stream.firstCluster;
    place.noFatChain = stream.noFatChain();
    place.isInUse = file.inUse;
    place.dataLength = stream.dataLength;
    place.validLength = std::min(stream.validLength, stream.dataLength);
    place.creationTime = node.creationTime;
    place.isForgotten = forgotten_.has_value(); // These come last.
    if (!isFolder)
        place.kinds = &volume_.starts_.kindsOf(node.name);
    node.id = volume_.places_.add(place);
    if (stream.dataLength != 0 && geometry_.contains(stream.firstCluster)) {
        const uint64 end =
            stream.firstCluster + (place.noFatChain ? geometry_.clustersFor(stream.dataLength) : 1);
        folder.filesEnd = static_cast<uint32>(std::min<uint64>(end, geometry_.lastCluster));
    }
    if (isFolder)
        takeSubfolder(folder, file, std::move(node));
    else
        store(std::move(node));
}

void ExFatDirectoryWalk::takeSubfolder(Folder& folder, const ExFatFile& file, ZFileTreeNode node) {
    const StreamEntry& stream = file.stream;
    Folder subfolder;
    subfolder.id = node.id;
    subfolder.noFatChain = stream.noFatChain();
    subfolder.nextCluster = stream.firstCluster;
    subfolder.clustersLeft =
        geometry_.clustersFor(std::min(stream.dataLength, exfat::kLargestFolder));
    subfolder.creationTime = node.creationTime;
    const bool isFree = geometry_.contains(stream.firstCluster) && volume_.bitmap_.isKnown() &&
                        !volume_.bitmap_.isUsed(stream.firstCluster);
    subfolder.isDeleted = !file.inUse || folder.isDeleted || isFree;
    subfolders_.push_back(std::move(subfolder));
    if (node.exists) {
        const int64 id = node.id;
        waiting_.emplace(id, std::move(node));
    } else {
        store(std::move(node));
    }
}

/// Stores a node, and the live folders above it that are not stored yet.
void ExFatDirectoryWalk::store(ZFileTreeNode node) {
    const int64 id = node.id;
    int64 parentId = node.parentId;
    tree_.insert(std::move(node));
    if (tree_.filter && tree_.find(id) == nullptr)
        return; // The filter does not want it.
    if (std::exchange(lastParent_, parentId) == parentId)
        return;
    for (auto above = waiting_.find(parentId); above != waiting_.end();
         above = waiting_.find(parentId)) {
        parentId = above->second.parentId;
        tree_.insert(std::move(above->second));
        waiting_.erase(above);
    }
}

/// Looks for folders whose entries others were written over, where nothing else is known to have
/// lain. One that another one of them still has an entry of comes after it.
void ExFatDirectoryWalk::findForgotten() {
    forgotten_.emplace();
    if (!volume_.bitmap_.isKnown())
        return;
    const ClusterRanges& claimed = volume_.places_.claimed();
    uint64 probes = forgottenFolderProbes(geometry_.clusterBytes);
    std::unordered_set<uint32> inner;
    std::vector<uint32> found;
    std::optional<ZCustomMedia::ReadWindow> window;
    if (areNearEachOther(geometry_.clusterBytes))
        window.emplace(*volume_.media());
    for (uint64 cluster = claimed.pastRange(exfat::kFirstCluster);
         cluster <= geometry_.lastCluster && probes > 0 && !stopped_;
         cluster = claimed.pastRange(cluster + 1)) {
        if (!mayRead(cluster, true))
            continue;
        --probes;
        if (beginsFolder(static_cast<uint32>(cluster), inner))
            found.push_back(static_cast<uint32>(cluster));
        advance(0);
    }
    for (const bool isInner : {false, true})
        std::copy_if(found.begin(), found.end(), std::back_inserter(*forgotten_),
                     [&](uint32 cluster) { return inner.contains(cluster) == isInner; });
}

/// Whether intact entry sets stand at the start of a cluster, and their files where they say. The
/// clusters of folders that they tell of are added to `inner`.
bool ExFatDirectoryWalk::beginsFolder(uint32 cluster, std::unordered_set<uint32>& inner) {
    std::vector<uint8> bytes(geometry_.sectorBytes);
    volume_.readCluster(cluster, 0, bytes);
    if (DirectoryEntry(bytes.data()).kind() != DirectoryEntry::kFile || !continues(cluster, {}))
        return false;
    bytes.resize(static_cast<std::size_t>(std::min<uint64>(
        std::max<uint64>(kProbeBytes, geometry_.sectorBytes), geometry_.clusterBytes)));
    volume_.readCluster(cluster, 0, bytes);
    ExFatSetParser::Wanted wanted;
    wanted.liveFiles = true;
    int right = 0;
    int wrong = 0;
    for (std::span<const uint8> left = bytes; left.size() >= kEntryBytes;) {
        const ExFatSetParser::Result result = parser_.parse(left, false, wanted);
        if (result.entries == 0)
            break;
        left = left.subspan(result.entries * kEntryBytes);
        if (!result.file)
            continue;
        if (result.file->isFolder())
            inner.insert(result.file->stream.firstCluster);
        if (const Fit fit = fitOf(*result.file); fit != Fit::CannotTell)
            (fit == Fit::Yes ? right : wrong) += 1;
    }
    // What is of a former volume with other clusters leads nowhere.
    return right > wrong;
}

/// Whether what lies where a file or folder began is what its entry says.
Fit ExFatDirectoryWalk::fitOf(const ExFatFile& file) {
    if (!mayRead(file.stream.firstCluster, true))
        return Fit::CannotTell;
    std::vector<uint8> first(geometry_.sectorBytes);
    volume_.readCluster(file.stream.firstCluster, 0, first);
    if (file.isFolder())
        return DirectoryEntry(first.data()).kind() == DirectoryEntry::kFile ? Fit::Yes : Fit::No;
    return fits(volume_.starts_.kindsOf(format::wideFromUtf16(file.name)), first);
}

std::optional<ExFatDirectoryWalk::Folder> ExFatDirectoryWalk::openForgotten(uint32 cluster) {
    if (!mayRead(cluster, true))
        return std::nullopt; // A part of another one by now.
    ExFatPlace place;
    place.firstCluster = cluster;
    ZFileTreeNode node;
    node.id = volume_.places_.add(place);
    node.parentId = kLostFolder;
    node.name = L"Folder " + std::to_wstring(cluster);
    node.isDirectory = true;
    Folder folder;
    folder.id = node.id;
    folder.isDeleted = true;
    folder.nextCluster = cluster;
    folder.clustersLeft = geometry_.clustersFor(exfat::kLargestFolder);
    store(std::move(node));
    return folder;
}

/// Finds where a folder goes on that ended without an unused entry. Nothing when it does not;
/// what was left of its last set has then been taken.
std::optional<ExFatDirectoryWalk::Folder> ExFatDirectoryWalk::mend(Folder& torn) {
    std::optional<uint32> next;
    if (const uint32 chained = volume_.table_.entry(torn.lastCluster); continues(chained, torn))
        next = chained;
    if (!next && torn.filesEnd != 0)
        next = searchFrom(torn.filesEnd, torn); // Folders grow where files are being written.
    if (!next)
        next = searchFrom(uint64{torn.lastCluster} + 1, torn);
    if (!next) {
        bool ended = false;
        takeEntries(torn, torn.rest, true, false, ended);
        if (subfolders_.empty())
            return std::nullopt;
        // Only to have them walked.
        torn.clustersLeft = 0;
        torn.lastCluster = 0;
        torn.rest.clear();
        return std::move(torn);
    }
    torn.isDeleted = torn.isDeleted || volume_.bitmap_.isKnown();
    torn.noFatChain = false;
    torn.nextCluster = *next;
    torn.clustersLeft = geometry_.clustersFor(exfat::kLargestFolder);
    return std::move(torn);
}

std::optional<uint32> ExFatDirectoryWalk::searchFrom(uint64 cluster, const Folder& torn) {
    const ClusterRanges& claimed = volume_.places_.claimed();
    int probes = 0;
    for (int passed = 0; passed < kMostPassed && probes < kMostProbes; ++passed, ++cluster) {
        cluster = claimed.pastRange(cluster);
        if (cluster > geometry_.lastCluster)
            break;
        if (!mayRead(cluster, true))
            continue;
        ++probes;
        if (continues(static_cast<uint32>(cluster), torn))
            return static_cast<uint32>(cluster);
    }
    return std::nullopt;
}

/// Whether a free cluster looks like the next one of the folder: the set that is torn at the end
/// of the last one is whole with what stands here, or an intact set begins here.
bool ExFatDirectoryWalk::continues(uint32 cluster, const Folder& torn) {
    if (!mayRead(cluster, true))
        return false;
    std::vector<uint8> entries = torn.rest;
    const auto probed = static_cast<std::size_t>(std::min<uint64>(
        std::max<uint64>(kProbeBytes, geometry_.sectorBytes), geometry_.clusterBytes));
    entries.resize(torn.rest.size() + probed);
    const auto fresh = std::span(entries).subspan(torn.rest.size());
    volume_.readCluster(cluster, 0, fresh);
    if (!looksClean(fresh))
        return false;
    ExFatSetParser::Wanted wanted;
    wanted.liveFiles = true;
    return parser_.parse(entries, false, wanted).file.has_value();
}

void ExFatDirectoryWalk::advance(double share) {
    progress_ += share;
    stopped_ = !volume_.setProgress(std::min(progress_, kWalkShare)) || stopped_;
}

} // namespace kova
