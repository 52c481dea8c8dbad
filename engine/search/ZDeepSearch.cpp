#include "engine/search/ZDeepSearch.h"

#include "engine/ntfs/ZNtfsVolume.h"
#include "engine/search/BlockFinder.h"
#include "engine/search/ContentSearch.h"
#include "engine/search/FreeSpace.h"
#include "engine/search/KnownFiles.h"
#include "engine/search/ZFoundByContent.h"
#include "engine/search/nameFinds.h"
#include "engine/search/remnants/ExFatRemnants.h"
#include "engine/search/remnants/ExFatSetFinder.h"
#include "engine/search/remnants/FatFolderFinder.h"
#include "engine/search/remnants/FatRemnants.h"
#include "engine/search/remnants/FatTableFinder.h"
#include "engine/search/remnants/NtfsNameFinder.h"
#include "engine/search/remnants/NtfsRecordFinder.h"
#include "engine/search/remnants/NtfsRemnants.h"

#include <algorithm>
#include <future>
#include <optional>
#include <set>
#include <unordered_map>
#include <unordered_set>

namespace kova {

namespace {

/// Bytes read at once.
constexpr uint64 kRequestBytes = uint64{4} << 20;
/// The pass takes this share of the progress.
constexpr double kPassShare = 0.9;
/// Where no file system tells.
constexpr uint64 kUsualCluster = 4096;
/// Bytes behind an MFT that may be held for its growth.
constexpr uint64 kMftReserve = uint64{4} << 20;

/// Ids of what was found: the volume it belongs to, counted from 1, above the id that it has there.
constexpr int kVolumeShift = 56;
constexpr std::size_t kMostVolumes = 127;
constexpr int64 kInnerMask = (int64{1} << kVolumeShift) - 1;
/// Stands for the id of a volume's folder of orphans, which is negative.
constexpr int64 kInnerLostFolder = int64{1} << (kVolumeShift - 1);

int64 outerId(std::size_t volume, int64 inner) {
    const int64 id = inner == kLostFolder ? kInnerLostFolder : inner;
    return (static_cast<int64>(volume + 1) << kVolumeShift) | (id & kInnerMask);
}

/// Ids of the nodes that are files worth showing, and of all folders above them.
std::unordered_set<int64> withFolders(const ZFileTree& tree, const std::vector<int64>& files) {
    std::unordered_set<int64> kept;
    for (int64 id : files) {
        // Ends at what is kept already, so that a circle ends too.
        while (kept.insert(id).second) {
            const ZFileTreeNode* node = tree.find(id);
            if (node == nullptr)
                break;
            id = node->parentId;
        }
    }
    return kept;
}

} // namespace

ZDeepSearch::ZDeepSearch(ZCustomMedia* media, std::unique_ptr<ZVolume> today, SearchOptions search)
    : ZVolume(media), today_(std::move(today)), search_(search) {
    setScanOptions(ScanOptions::today());
    if (!today_)
        return;
    for (const VolumeNote note : today_->notes())
        addNote(note);
}

ZDeepSearch::~ZDeepSearch() = default;

bool ZDeepSearch::init() {
    return true;
}

void ZDeepSearch::scan(ZFileTree* tree) {
    if (!today_ && tree->find(tree->rootId) == nullptr) {
        ZFileTreeNode root;
        root.parentId = kNoParent;
        root.isDirectory = true;
        root.exists = true;
        tree->insert(root);
    }
    const std::vector<ByteRange> ownRecords = placeOfMft();
    // A new MFT holds clusters that it has not filled yet, often in the place of the old one.
    const ByteRange reserve =
        ownRecords.empty() ? ByteRange{} : ByteRange{ownRecords.back().end(), kMftReserve};
    const uint64 mediaBytes = media()->sectorSize() == 0 ? 0 : media()->sizeBytes();
    const FreeSpace space(today_.get(), mediaBytes, search_.whole, reserve);
    NtfsRecordFinder ntfs;
    NtfsNameFinder names;
    FatFolderFinder fat;
    ExFatSetFinder exfat;
    FatTableFinder tables;
    ContentFinder starts;
    ContentSearch content(*media(), space);
    std::vector<BlockFinder*> finders;
    if (search_.remnants)
        finders = {&ntfs, &names, &fat, &exfat, &tables};
    if (search_.content)
        finders.push_back(&starts);
    isReading_ = true;
    readAll(space, finders, [&] {
        content.measure(starts.take());
        status_.found.clear();
        for (const BlockFinder* finder : finders) {
            if (finder != &starts)
                status_.found.emplace_back(finder->name(), finder->found());
        }
        content.countInto(status_.found);
    });
    isReading_ = false;

    KnownFiles known = knownFiles(*tree);
    const auto addAll = [&](const auto& remnants) {
        try {
            for (FormerVolume& former : remnants.volumes(*media()))
                add(std::move(former), *tree, known);
        } catch (...) { // What the others have found stays.
        }
    };
    addAll(NtfsRemnants(ntfs, ownRecords));
    addAll(FatRemnants(fat, tables, clusterLayout()));
    addAll(ExFatRemnants(exfat, tables, content.finds(), clusterLayout()));
    markOlder(*tree);
    if (search_.content) {
        try {
            content.finish(known.space(), [this] { return setProgress(progress()); });
        } catch (...) { // The drive gives no more; what is whole stays.
        }
        std::vector<ContentFind> finds = content.take();
        auto named = nameFinds(*media(), names.names(), *tree, finds);
        for (auto* some : {&named, &finds}) {
            const wchar_t* const title =
                some == &named ? L"Found by content, names from folders" : L"Found by content";
            add({title, std::make_unique<ZFoundByContent>(media(), std::move(*some))}, *tree,
                known);
        }
    }
    setProgress(1.0);
}

std::vector<ByteRange> ZDeepSearch::placeOfMft() const {
    if (dynamic_cast<ZNtfsVolume*>(today_.get()) == nullptr)
        return {};
    ZFileTreeNode mft;
    mft.id = ntfs::kMftRecord;
    return today_->placeOf(mft);
}

/// Reads the drive and shows it to the finders, which look while the next stretch is read. Ends
/// early when it is asked to stop, or the drive goes away.
void ZDeepSearch::readAll(const FreeSpace& space, const std::vector<BlockFinder*>& finders,
                          const std::function<void()>& looked) {
    const uint32 sectorBytes = media()->sectorSize();
    const uint64 mediaBytes = space.mediaBytes();
    status_ = {0, mediaBytes, {}};

    std::vector<uint8> shown;
    std::vector<uint8> read;
    std::vector<std::future<void>> looking; // Ends before the buffers do.
    const auto finish = [&] {
        for (std::future<void>& one : looking)
            one.get();
        looking.clear();
        looked();
    };
    constexpr uint64 kMost = kRequestBytes + BlockFinder::kLookAhead;
    const auto isGone = [this] { return media()->error() == platform::Error::DeviceGone; };
    const auto readOn = [&](const ByteRange& area) {
        const auto sectors = static_cast<uint32>(area.length / sectorBytes);
        read.resize(static_cast<std::size_t>(sectors) * sectorBytes);
        media()->seek(area.start / sectorBytes);
        media()->read(read.data(), sectors);
        finish();
        std::swap(shown, read);
        const auto fresh = static_cast<std::size_t>(std::min<uint64>(shown.size(), kRequestBytes));
        for (BlockFinder* finder : finders)
            looking.push_back(
                std::async(std::launch::async, [&shown, finder, start = area.start, fresh] {
                    finder->look(start, shown, fresh);
                }));
        status_.searched = area.start + std::max<uint64>(fresh, sectorBytes);
        const double share = static_cast<double>(std::min(status_.searched, mediaBytes)) /
                             static_cast<double>(mediaBytes);
        return setProgress(share * kPassShare);
    };
    try {
        auto area = space.next(0, kMost);
        while (area && !isGone() && readOn(*area))
            area = space.next(status_.searched, kMost);
        finish();
    } catch (...) { // The read hook wants no more of the drive.
    }
}

/// The files that a tree holds before anything is added.
KnownFiles ZDeepSearch::knownFiles(const ZFileTree& tree) {
    KnownFiles known;
    for (const auto& [id, node] : tree.allNodes()) {
        const auto place = node.isDirectory ? std::vector<ByteRange>{} : placeOf(node);
        if (!place.empty())
            known.add(place, static_cast<uint64>(node.size), stateOf(place).taken == 0);
    }
    return known;
}

/// Adds what a former volume holds to the tree, in a folder of its own, unless it is there.
void ZDeepSearch::add(FormerVolume former, ZFileTree& tree, KnownFiles& known) {
    if (former_.size() == kMostVolumes)
        return;
    ZFileTree own;
    own.filter = tree.filter; // No folders for what is not wanted.
    former.volume->scan(&own);
    std::vector<int64> files;
    for (const auto& [id, node] : own.allNodes()) {
        if (node.isDirectory)
            continue;
        const std::vector<ByteRange> place = former.volume->placeOf(node);
        const auto size = static_cast<uint64>(node.size);
        if (!place.empty() && known.contains(place, size))
            continue;
        files.push_back(id);
        if (!place.empty())
            known.add(place, size, stateOf(place).taken == 0);
    }
    if (files.empty())
        return;

    const std::size_t number = former_.size();
    ZFileTreeNode folder;
    folder.id = outerId(number, own.rootId);
    folder.parentId = tree.rootId;
    folder.name = former.title;
    folder.isDirectory = true;
    tree.insert(folder);
    const auto kept = withFolders(own, files);
    if (kept.contains(kLostFolder)) {
        folder.id = outerId(number, kLostFolder);
        folder.parentId = outerId(number, own.rootId);
        folder.name = L"Files with unknown path";
        tree.insert(folder);
    }
    for (const auto& [id, node] : own.allNodes()) {
        if (id == own.rootId || !kept.contains(id))
            continue;
        ZFileTreeNode outer = node;
        outer.id = outerId(number, id);
        outer.parentId = outerId(number, node.parentId);
        outer.exists = false; // Live in a file system that is gone.
        tree.insert(std::move(outer));
    }
    former_.push_back(std::move(former));
}

/// Notes how much of each file of a former volume lies where a younger file does, deleted or not.
void ZDeepSearch::markOlder(const ZFileTree& tree) {
    struct Claim {
        int64 created;
        int64 id;
        std::vector<ByteRange> place;
    };

    std::vector<Claim> claims;
    for (const auto& [id, node] : tree.allNodes()) {
        if (node.isDirectory || node.creationTime == 0)
            continue;
        if (auto place = placeOf(node); !place.empty())
            claims.push_back({node.creationTime, id, std::move(place)});
    }
    std::sort(claims.begin(), claims.end(), [](const Claim& a, const Claim& b) {
        return a.created != b.created ? a.created > b.created : a.id < b.id;
    });
    TakenSpace younger;
    for (auto begin = claims.begin(); begin != claims.end();) {
        const auto end = std::find_if(begin, claims.end(), [begin](const Claim& claim) {
            return claim.created != begin->created;
        });
        for (auto claim = begin; claim != end; ++claim) {
            if (claim->id >> kVolumeShift == 0)
                continue;
            if (const uint64 bytes = younger.overlap(claim->place); bytes > 0)
                overwritten_.emplace(claim->id, bytes);
        }
        for (auto claim = begin; claim != end; ++claim)
            younger.add(claim->place);
        begin = end;
    }
}

ZDeepSearch::Owner ZDeepSearch::ownerOf(const ZFileTreeNode& node) const {
    const auto volume = static_cast<std::size_t>(node.id < 0 ? 0 : node.id >> kVolumeShift);
    Owner owner{today_.get(), node};
    if (volume > 0) {
        owner.volume = volume <= former_.size() ? former_[volume - 1].volume.get() : nullptr;
        owner.node.id = node.id & kInnerMask;
        owner.node.parentId = node.parentId & kInnerMask;
    }
    return owner;
}

bool ZDeepSearch::extract(const ZFileTreeNode& node, ZStream* out) {
    extractReport_ = {};
    const Owner owner = ownerOf(node);
    if (owner.volume == nullptr) {
        setShortfall(ExtractReport::Reason::NoData);
        return false;
    }
    if (owner.volume != today_.get() && assess(node).kind == FileState::Kind::Overwritten) {
        setShortfall(ExtractReport::Reason::Overwritten);
        return false;
    }
    const bool extracted = owner.volume->extract(owner.node, out);
    extractReport_ = owner.volume->extractReport();
    return extracted;
}

FileState ZDeepSearch::assess(const ZFileTreeNode& node) {
    const Owner owner = ownerOf(node);
    if (owner.volume == nullptr)
        return {};
    FileState state = owner.volume->assess(owner.node);
    if (owner.volume == today_.get())
        return state;
    const std::vector<ByteRange> place = owner.volume->placeOf(owner.node);
    if (!place.empty()) {
        const FileState held = stateOf(place);
        if (held.taken > 0 || state.kind == FileState::Kind::Unknown)
            return held;
    }
    if (const auto bytes = overwritten_.find(node.id); bytes != overwritten_.end()) {
        const uint64 cluster = clusterLayout().bytes == 0 ? kUsualCluster : clusterLayout().bytes;
        state.kind = FileState::Kind::Partly;
        state.clusters = (static_cast<uint64>(node.size) + cluster - 1) / cluster;
        state.taken = std::min(state.clusters, (bytes->second + cluster - 1) / cluster);
    }
    return state;
}

/// How much of a place live files hold now.
FileState ZDeepSearch::stateOf(const std::vector<ByteRange>& place) const {
    const ClusterLayout clusters = clusterLayout();
    FileState state;
    if (clusters.bytes == 0)
        return state;
    for (const ByteRange& range : place) {
        // Counted in today's clusters, those too that the place only touches: a part of it is gone
        // with them.
        const uint64 begin = std::max(range.start, clusters.start) - clusters.start;
        const uint64 end = std::max(range.end(), clusters.start) - clusters.start;
        for (uint64 i = begin / clusters.bytes; i * clusters.bytes < end; ++i) {
            ++state.clusters;
            if (i < clusters.count && isInUse(i))
                ++state.taken;
        }
    }
    if (state.clusters == 0)
        return state;
    state.kind = state.taken == 0                ? FileState::Kind::Whole
                 : state.taken == state.clusters ? FileState::Kind::Overwritten
                                                 : FileState::Kind::Partly;
    return state;
}

ClusterLayout ZDeepSearch::clusterLayout() const {
    return today_ ? today_->clusterLayout() : ClusterLayout{};
}

bool ZDeepSearch::isInUse(uint64 index) const {
    return today_ && today_->isInUse(index);
}

std::vector<ByteRange> ZDeepSearch::placeOf(const ZFileTreeNode& node) {
    const Owner owner = ownerOf(node);
    return owner.volume == nullptr ? std::vector<ByteRange>{} : owner.volume->placeOf(owner.node);
}

} // namespace kova
