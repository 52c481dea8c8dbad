#include "engine/search/ZDeepSearch.h"

#include "engine/PiecesSource.h"
#include "engine/ntfs/ZNtfsVolume.h"
#include "engine/search/BlockFinder.h"
#include "engine/search/ContentSearch.h"
#include "engine/search/FreeSpace.h"
#include "engine/search/KnownFiles.h"
#include "engine/search/SideThread.h"
#include "engine/search/TakenSpace.h"
#include "engine/search/ZFoundByContent.h"
#include "engine/search/nameFinds.h"
#include "engine/search/remnants/ExFatRemnants.h"
#include "engine/search/remnants/ExFatSetFinder.h"
#include "engine/search/remnants/FatFolderFinder.h"
#include "engine/search/remnants/FatRemnants.h"
#include "engine/search/remnants/FatTableFinder.h"
#include "engine/search/remnants/NtfsRecordFinder.h"
#include "engine/search/remnants/NtfsRemnants.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <optional>
#include <set>
#include <span>
#include <unordered_set>

namespace kova {

namespace {

/// Bytes read at once.
constexpr uint64 kRequestBytes = uint64{4} << 20;
/// Bytes that are looked at for one thing after the other while they are at hand.
constexpr std::size_t kSliceBytes = std::size_t{32} << 10;
/// What was found is kept as often.
constexpr std::chrono::minutes kKeepingInterval{1};
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

/// Whether any finder of remnants has something to look at in the block that `bytes` begin with.
bool mayHoldRemnants(std::span<const uint8> bytes) {
    return NtfsRecordFinder::mayHold(bytes) || FatTableFinder::mayHold(bytes) ||
           FatFolderFinder::mayHold(bytes) || ExFatSetFinder::mayHold(bytes);
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

/// One search of the drive from end to end: who looks, and what they have found.
class ZDeepSearch::Pass {
public:
    Pass(ZCustomMedia& media, const ZVolume* today, const SearchOptions& options,
         const ByteRange& reserve)
        : space(today, media.sectorSize() == 0 ? 0 : media.sizeBytes(), options.whole, reserve),
          content(media, space), media_(media), looksForContent_(options.content) {
        if (options.remnants)
            remnantFinders_ = {&ntfs, &names, &fat, &exfat, &tables};
    }

    /// Has the finders look at what was read, in another thread while the next is read. `bytes`
    /// stays until `finishLooking`.
    void beginLooking(uint64 position, std::span<const uint8> bytes, std::size_t fresh) {
        lookedTo_ = position + fresh;
        shown_ = {position, bytes, fresh};
        nextPart_ = 0;
        sifted_ = 0;
        looking_.begin([this] { lookOn(); });
    }

    /// Takes part in what is left to be looked at, and takes on what was found.
    void finishLooking() {
        try {
            lookOn();
        } catch (...) {
            nextPart_ = kParts;
            looking_.finish();
            throw;
        }
        looking_.finish();
        searched = std::max(searched, lookedTo_);
        for (Part& part : parts_)
            content.add(part.starts.take());
    }

    /// Finds again what lies in these places. Passes out what the read hook throws.
    void lookAgain(const std::vector<ByteRange>& places) {
        const uint64 sectorBytes = media_.sectorSize();
        std::vector<uint8> bytes;
        for (const ByteRange& place : places) {
            const uint64 end = (place.end() + sectorBytes - 1) / sectorBytes * sectorBytes;
            uint64 at = place.start / sectorBytes * sectorBytes;
            while (at < end) {
                const auto area =
                    space.next(at, std::min(end - at, kRequestBytes) + BlockFinder::kLookAhead);
                if (!area || area->start >= end)
                    break;
                read(*area, bytes);
                const uint64 fresh = std::min({area->length, end - area->start, kRequestBytes});
                for (BlockFinder* finder : remnantFinders_)
                    finder->look(area->start, bytes, static_cast<std::size_t>(fresh));
                at = area->start + std::max(fresh, sectorBytes);
            }
        }
    }

    /// `area` begins and ends with a sector.
    void read(const ByteRange& area, std::vector<uint8>& bytes) {
        const uint32 sectorBytes = media_.sectorSize();
        const auto sectors = static_cast<uint32>(area.length / sectorBytes);
        bytes.resize(static_cast<std::size_t>(sectors) * sectorBytes);
        media_.seek(area.start / sectorBytes);
        media_.read(bytes.data(), sectors);
    }

    [[nodiscard]] bool isGone() const { return media_.wasRemoved(); }

    /// All places with something of former file systems, `others` too.
    [[nodiscard]] std::vector<ByteRange> remnants(const std::vector<ByteRange>& others) const {
        TakenSpace all;
        all.add(others);
        for (const BlockFinder* finder : remnantFinders_)
            all.add(finder->recognised());
        return all.stretches();
    }

    void countInto(std::vector<std::pair<std::wstring, uint64>>& counts) {
        counts.clear();
        for (const BlockFinder* finder : remnantFinders_)
            counts.emplace_back(finder->name(), finder->found());
        content.countInto(counts);
    }

    FreeSpace space;
    NtfsRecordFinder ntfs;
    NtfsNameFinder names;
    FatFolderFinder fat;
    ExFatSetFinder exfat;
    FatTableFinder tables;
    ContentSearch content;
    uint64 searched = 0;    ///< Up to here, in bytes of the media, all is found.
    bool isRestored = true; ///< All is there that was found before.

private:
    /// What was read, for the finders.
    struct Shown {
        uint64 position = 0;
        std::span<const uint8> bytes;
        std::size_t fresh = 0;
    };

    /// A part of it, as one of the threads has looked at it.
    struct Part {
        ContentFinder starts;
        std::vector<std::size_t> remnants; ///< Offsets of the blocks that may hold some.
    };

    static constexpr std::size_t kParts = 16;
    static constexpr std::size_t kPartBytes = kRequestBytes / kParts;

    /// Sifts parts until none is left. Who is through with the last has the finders of remnants
    /// look, which have to be shown all in its order.
    void lookOn() {
        for (std::size_t part = nextPart_++; part < kParts; part = nextPart_++) {
            sift(part);
            if (++sifted_ == kParts)
                lookForRemnants();
        }
    }

    void sift(std::size_t number) {
        Part& part = parts_[number];
        part.remnants.clear();
        const std::size_t end = std::min((number + 1) * kPartBytes, shown_.fresh);
        for (std::size_t at = number * kPartBytes; at < end; at += kSliceBytes) {
            const std::size_t sliceEnd = std::min(end, at + kSliceBytes);
            for (std::size_t block = at; block < sliceEnd; block += BlockFinder::kStep) {
                if (mayHoldRemnants(shown_.bytes.subspan(block)))
                    part.remnants.push_back(block);
            }
            if (looksForContent_)
                part.starts.look(shown_.position + at, shown_.bytes.subspan(at), sliceEnd - at);
        }
    }

    void lookForRemnants() {
        for (const Part& part : parts_) {
            for (const std::size_t block : part.remnants) {
                for (BlockFinder* finder : remnantFinders_)
                    finder->look(shown_.position + block, shown_.bytes.subspan(block),
                                 BlockFinder::kStep);
            }
        }
    }

    ZCustomMedia& media_;
    std::vector<BlockFinder*> remnantFinders_;
    bool looksForContent_ = false;
    std::array<Part, kParts> parts_;
    Shown shown_;
    uint64 lookedTo_ = 0;
    std::atomic<std::size_t> nextPart_ = kParts; ///< To be sifted; none at first.
    std::atomic<std::size_t> sifted_ = 0;
    SideThread looking_; // Ends before the finders do.
};

void ZDeepSearch::scan(ZFileTree* tree) {
    // Today's volume has left it out where it has found nothing.
    if (tree->find(tree->rootId) == nullptr) {
        ZFileTreeNode root;
        root.id = tree->rootId;
        root.parentId = kNoParent;
        root.isDirectory = true;
        root.exists = true;
        tree->insert(root);
    }
    const std::vector<ByteRange> ownRecords = placeOfMft();
    // A new MFT holds clusters that it has not filled yet, often in the place of the old one.
    const ByteRange reserve =
        ownRecords.empty() ? ByteRange{} : ByteRange{ownRecords.back().end(), kMftReserve};
    Pass pass(*media(), today_.get(), search_, reserve);
    isReading_ = true;
    restore(pass);
    if (pass.isRestored && keeping_.readsOn)
        readAll(pass);
    isReading_ = false;
    if (keeping_.readsOn)
        keepAsRead(pass);
    try {
        pass.content.measure();
    } catch (...) { // The drive gives no more; what is whole stays.
    }

    KnownFiles known = knownFiles(*tree);
    const auto addAll = [&](const auto& remnants) {
        try {
            for (FormerVolume& former : remnants.volumes(*media()))
                add(std::move(former), *tree, known);
        } catch (...) { // What the others have found stays.
        }
    };
    addAll(NtfsRemnants(pass.ntfs, ownRecords));
    addAll(FatRemnants(pass.fat, pass.tables, pass.content.finds(), clusterLayout()));
    addAll(ExFatRemnants(pass.exfat, pass.tables, pass.content.finds(), clusterLayout()));
    markOlder(*tree);
    if (search_.content) {
        std::vector<ContentFind> finds = contentFiles(pass, known);
        auto named = nameFinds(*media(), namesFor(pass), *tree, finds);
        for (auto* some : {&named, &finds}) {
            const wchar_t* const title =
                some == &named ? L"Found by content, names from folders" : L"Found by content";
            add({title, std::make_unique<ZFoundByContent>(media(), std::move(*some))}, *tree,
                known);
        }
    }
    if (interrupted_ && interrupted_->searched >= pass.space.mediaBytes())
        interrupted_.reset();
    keeping_ = {};
    setProgress(1.0);
}

std::unique_ptr<ZVolume> ZDeepSearch::handOver(const ZFileTree& searched, ZFileTree& tree,
                                               std::optional<SavedSearch>& before) {
    tree.rootId = searched.rootId;
    tree.filter = searched.filter;
    const auto isOwn = [](int64 id) { return id > 0 && id >> kVolumeShift > 0; };
    const auto insert = [&](int64 id) {
        const ZFileTreeNode* node = searched.find(id);
        if (node != nullptr && !isOwn(id) && tree.find(id) == nullptr)
            tree.insert(*node);
    };
    std::set<int64> parents; // Those that are missing too.
    for (const auto& [id, node] : searched.allNodes())
        parents.insert(node.parentId);
    for (const int64 parent : parents) {
        if (parent == kNoParent || isOwn(parent))
            continue;
        for (const int64 id : searched.childIds(parent)) // In the order of its rows.
            insert(id);
    }
    for (const auto& [id, node] : searched.allNodes())
        insert(id);
    before = std::move(interrupted_);
    return std::move(today_);
}

/// Has the pass begin where the search before has ended.
void ZDeepSearch::restore(Pass& pass) {
    if (!keeping_.before)
        return;
    pass.searched = keeping_.before->searched;
    pass.content.goOn(keeping_.before->content);
    try {
        pass.lookAgain(keeping_.before->remnants);
        pass.isRestored = !pass.isGone();
    } catch (...) { // The read hook wants no more of the drive.
        pass.isRestored = false;
    }
}

/// Gives away what the pass has come to, and keeps it if there is more to be looked at.
void ZDeepSearch::keepAsRead(const Pass& pass) {
    if (!pass.isRestored) {
        interrupted_ = std::move(keeping_.before);
        return;
    }
    const bool isRead = pass.searched >= pass.space.mediaBytes();
    if (isRead && !keeping_.keep)
        return;
    SavedSearch saved;
    saved.volume = keeping_.volume;
    saved.options = search_;
    saved.searched = pass.searched;
    saved.remnants =
        pass.remnants(keeping_.before ? keeping_.before->remnants : std::vector<ByteRange>{});
    saved.content = pass.content.progress();
    if (keeping_.keep)
        keeping_.keep(saved);
    interrupted_ = std::move(saved);
}

/// What was found by content, worked out to the end.
std::vector<ContentFind> ZDeepSearch::contentFiles(Pass& pass, const KnownFiles& known) {
    const auto isKnown = [&known](const ContentFind& find) {
        const auto other = known.space().at(find.place.front().start);
        return other && find.place.back().end() <= other->end();
    };
    if (keeping_.before && keeping_.before->files) {
        std::vector<ContentFind> finds = std::move(*keeping_.before->files);
        std::erase_if(finds, isKnown);
        return finds;
    }
    bool isComplete = pass.isRestored && pass.searched >= pass.space.mediaBytes();
    try {
        pass.content.finish(known.space(), [&] {
            const bool goesOn = setProgress(progress());
            isComplete = isComplete && goesOn;
            return goesOn;
        });
    } catch (...) { // The drive gives no more; what is whole stays.
        isComplete = false;
    }
    std::vector<ContentFind> finds = pass.content.take();
    if (isComplete && !pass.isGone() && keeping_.keep && interrupted_) {
        interrupted_->files = finds;
        keeping_.keep(*interrupted_);
    }
    return finds;
}

/// The names that were found, and those that live folders still hold of files whose records are
/// others' now.
std::vector<NtfsNameFinder::Name> ZDeepSearch::namesFor(const Pass& pass) {
    std::vector<NtfsNameFinder::Name> names = pass.names.names();
    auto* const ntfs = dynamic_cast<ZNtfsVolume*>(today_.get());
    if (ntfs == nullptr)
        return names;
    std::set<std::pair<uint64, std::wstring>> known;
    for (const NtfsNameFinder::Name& name : names)
        known.emplace(name.folder, name.text);
    try {
        const NtfsFolderIndexes indexes = ntfs->folderIndexes();
        const ZCustomMedia::ReadWindow window(*media());
        for (const ByteRange& place : indexes.places) {
            std::vector<uint8> bytes(static_cast<std::size_t>(place.length));
            PiecesSource source(*media(), {place});
            NtfsNameFinder finder;
            finder.look(place.start, bytes, source.read(0, bytes));
            for (const NtfsNameFinder::Name& name : finder.names()) {
                if ((name.isDirectory || !indexes.hasRecordOf(name.file)) &&
                    known.emplace(name.folder, name.text).second)
                    names.push_back(name);
            }
        }
    } catch (...) { // NOLINT(bugprone-empty-catch): the drive tells no more
    }
    return names;
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
void ZDeepSearch::readAll(Pass& pass) {
    const uint64 mediaBytes = pass.space.mediaBytes();
    status_ = {pass.searched, mediaBytes, {}};
    std::vector<uint8> shown;
    std::vector<uint8> read;
    auto nextKeeping = std::chrono::steady_clock::now() + kKeepingInterval;
    const auto finish = [&] {
        pass.finishLooking();
        pass.content.measure();
        pass.countInto(status_.found);
        if (!keeping_.keep || std::chrono::steady_clock::now() < nextKeeping)
            return;
        keepAsRead(pass);
        nextKeeping = std::chrono::steady_clock::now() + kKeepingInterval;
    };
    const auto readOn = [&](const ByteRange& area) {
        pass.read(area, read);
        if (pass.isGone()) // What it did not give is no part of it.
            return false;
        finish();
        std::swap(shown, read);
        const auto fresh = static_cast<std::size_t>(std::min<uint64>(shown.size(), kRequestBytes));
        pass.beginLooking(area.start, shown, fresh);
        status_.searched = area.start + std::max<uint64>(fresh, media()->sectorSize());
        const double share = static_cast<double>(std::min(status_.searched, mediaBytes)) /
                             static_cast<double>(mediaBytes);
        return setProgress(share * kPassShare);
    };
    constexpr uint64 kMost = kRequestBytes + BlockFinder::kLookAhead;
    try {
        auto area = pass.space.next(status_.searched, kMost);
        while (area && readOn(*area))
            area = pass.space.next(status_.searched, kMost);
        pass.finishLooking();
        if (!area)
            pass.searched = mediaBytes;
        finish();
    } catch (...) { // The read hook wants no more of the drive.
        pass.finishLooking();
    }
}

/// The files that a tree holds before anything is added.
KnownFiles ZDeepSearch::knownFiles(const ZFileTree& tree) {
    KnownFiles known;
    for (const auto& [id, node] : tree.allNodes()) {
        if (node.isDirectory)
            continue;
        const auto place = placeOf(node);
        // Of one that is in doubt nobody knows better from its entry alone.
        if (const auto start = place.empty() ? startOf(node) : std::optional(place.front().start))
            known.addStart(*start, static_cast<uint64>(node.size));
        if (!place.empty() && stateOf(place).taken == 0)
            known.addPlace(place);
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
        const auto start =
            place.empty() ? former.volume->startOf(node) : std::optional(place.front().start);
        if (start && known.contains(*start, size))
            continue;
        files.push_back(id);
        if (place.empty())
            continue;
        known.addStart(*start, size);
        if (stateOf(place).taken == 0)
            known.addPlace(place);
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

std::optional<uint64> ZDeepSearch::startOf(const ZFileTreeNode& node) {
    const Owner owner = ownerOf(node);
    return owner.volume == nullptr ? std::nullopt : owner.volume->startOf(owner.node);
}

} // namespace kova
