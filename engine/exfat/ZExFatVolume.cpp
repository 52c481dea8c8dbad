#include "engine/exfat/ZExFatVolume.h"

#include "engine/exfat/ExFatDirectoryWalk.h"

#include <algorithm>
#include <utility>

namespace kova {

namespace {

using exfat::BootSector;
using exfat::DirectoryEntry;
using exfat::TableEntry;

/// Most bytes asked of the media at once.
constexpr uint32 kRequestBytes = 1024 * 1024;

/// The allocation bitmap and the up-case table are among the first entries of the root.
constexpr uint64 kTableSearchBytes = uint64{1} << 20;

/// An up-case table has one UTF-16 unit for each of them at most.
constexpr uint64 kLargestUpcase = uint64{128} << 10;

} // namespace

bool ZExFatVolume::init() {
    geometry_ = ExFatGeometry::derive(findBootSector(), media()->sizeBytes());
    if (geometry_.endsEarly())
        addNote(VolumeNote::EndsEarly);
    openTable();
    findTables();
    if (!bitmap_.isKnown())
        addNote(VolumeNote::NoVolumeBitmap);
    return true;
}

std::optional<BootSector> ZExFatVolume::readBootSector(uint64 sector, uint32 sectorBytes,
                                                       bool& isWhole) {
    std::vector<uint8> region(std::size_t{sectorBytes} * BootSector::kRegionSectors);
    readSectors(sector, BootSector::kRegionSectors, sectorBytes, region.data());
    isWhole = exfat::isRegionWhole(region, sectorBytes);
    const std::optional<BootSector> boot =
        BootSector::decode(std::span(region).first<BootSector::kBytes>());
    return boot && boot->sectorBytes() == sectorBytes ? boot : std::nullopt;
}

/// The main boot sector or its backup, rather a whole one. The main one cannot be asked for the
/// sector's size, which tells where the backup is, when it is damaged.
BootSector ZExFatVolume::findBootSector() {
    std::optional<BootSector> best;
    bool bestIsBackup = false;
    for (const uint32 sector : {0U, BootSector::kRegionSectors}) {
        for (uint32 shift = BootSector::kSmallestSectorShift;
             shift <= BootSector::kLargestSectorShift; ++shift) {
            bool isWhole = false;
            const std::optional<BootSector> boot = readBootSector(sector, 1U << shift, isWhole);
            if (!boot || (best && !isWhole))
                continue;
            best = boot;
            bestIsBackup = sector != 0;
            if (isWhole) {
                if (bestIsBackup)
                    addNote(VolumeNote::BackupBootSector);
                return *best;
            }
        }
    }
    if (!best)
        fail();
    if (bestIsBackup)
        addNote(VolumeNote::BackupBootSector);
    return *best;
}

void ZExFatVolume::openTable() {
    const auto tableAt = [this](uint64 sector) {
        return ExFatTable(sector, geometry_.fatSectors, geometry_.sectorBytes,
                          [this](uint64 from, uint32 count, uint8* buffer) {
                              readSectors(from, count, geometry_.sectorBytes, buffer);
                          });
    };
    const uint64 second = geometry_.fatSector + geometry_.fatSectors;
    table_ = tableAt(geometry_.usesSecondFat ? second : geometry_.fatSector);
    if (geometry_.fatCount < 2 || table_.entry(0) == exfat::kFatMedia)
        return;
    ExFatTable other = tableAt(geometry_.usesSecondFat ? geometry_.fatSector : second);
    if (other.entry(0) == exfat::kFatMedia) {
        table_ = std::move(other);
        addNote(VolumeNote::SecondFat);
    }
}

void ZExFatVolume::findTables() {
    const std::vector<uint8> root = readChain(geometry_.rootCluster, kTableSearchBytes);
    for (std::size_t at = 0; at < root.size(); at += DirectoryEntry::kBytes) {
        const DirectoryEntry entry(root.data() + at);
        if (entry.type() == DirectoryEntry::kEnd)
            break;
        if (!entry.isInUse())
            continue;
        const TableEntry table = TableEntry::decode(entry);
        if (entry.kind() == DirectoryEntry::kUpcaseTable)
            loadUpcase(table);
        else if (entry.kind() == DirectoryEntry::kBitmap &&
                 table.isSecond == geometry_.usesSecondFat)
            loadBitmap(table);
    }
}

void ZExFatVolume::loadBitmap(const TableEntry& entry) {
    const uint64 needed = (uint64{geometry_.lastCluster} - exfat::kFirstCluster) / 8 + 1;
    ExFatBitmap bitmap(readChain(entry.firstCluster, std::min(entry.bytes, needed)));
    if (bitmap.isUsed(geometry_.rootCluster))
        bitmap_ = std::move(bitmap);
}

void ZExFatVolume::loadUpcase(const TableEntry& entry) {
    const std::vector<uint8> packed =
        readChain(entry.firstCluster, std::min(entry.bytes, kLargestUpcase));
    if (ExFatUpcase::checksum(packed) == entry.checksum)
        upcase_.unpack(packed);
}

/// The first `bytes` bytes of a chain, fewer when it ends before.
std::vector<uint8> ZExFatVolume::readChain(uint32 first, uint64 bytes) {
    std::vector<uint8> content;
    uint32 cluster = first;
    while (content.size() < bytes && geometry_.contains(cluster)) {
        const auto now = static_cast<std::size_t>(
            std::min<uint64>(geometry_.clusterBytes, bytes - content.size()));
        const std::size_t before = content.size();
        const std::size_t whole =
            (now + geometry_.sectorBytes - 1) / geometry_.sectorBytes * geometry_.sectorBytes;
        content.resize(before + whole);
        readCluster(cluster, 0, std::span(content).subspan(before));
        content.resize(before + now);
        cluster = table_.entry(cluster);
    }
    return content;
}

void ZExFatVolume::readCluster(uint32 cluster, uint64 offset, std::span<uint8> bytes) {
    readSectors(geometry_.sectorOf(cluster) + offset / geometry_.sectorBytes,
                static_cast<uint32>(bytes.size() / geometry_.sectorBytes), geometry_.sectorBytes,
                bytes.data());
}

void ZExFatVolume::requireInit() const {
    if (geometry_.sectorBytes == 0)
        fail();
}

void ZExFatVolume::scan(ZFileTree* tree) {
    requireInit();
    const ZCustomMedia::RefusalMemory memory(*media());
    ExFatDirectoryWalk(*this, *tree).run();

    ZFileTreeNode root;
    root.id = ExFatPlaces::kRootId;
    root.parentId = kNoParent;
    root.isDirectory = true;
    root.exists = true;
    tree->insert(root);

    collectOrphans(*tree, [](int64) { return false; });
    setProgress(1.0);
}

ExFatExtents ZExFatVolume::extentsOf(const ExFatPlace& place) {
    return {place, geometry_, table_, bitmap_, places_.claimed()};
}

/// Where all began that has been found, put together when it is first asked for.
FormerStarts& ZExFatVolume::starts() {
    for (; startedPlaces_ < places_.all().size(); ++startedPlaces_) {
        const ExFatPlace& place = places_.all()[startedPlaces_];
        if (place.kinds == nullptr || places_.knownClusters(place) == 0)
            continue;
        FormerStarts::Start start;
        start.cluster = place.firstCluster;
        start.clusters = static_cast<uint32>(geometry_.clustersFor(place.dataLength));
        start.created = place.creationTime;
        start.kinds = place.kinds;
        start.isInOnePiece = place.noFatChain;
        start.isScattered = !place.noFatChain && start.clusters > 1;
        starts_.add(start);
    }
    return starts_;
}

PieceFinder ZExFatVolume::pieceFinder() {
    return {*media(), clusterLayout(), starts(),
            [this](uint64 cluster) { return bitmap_.freeRunAt(cluster, geometry_.lastCluster); }};
}

/// Whether other deleted files may have been written over its clusters, or lie among them.
bool ZExFatVolume::isContested(const ExFatPlace& place, const ExFatExtents& extents) {
    return extents.isGuess() || place.takenLater != 0 || place.inDoubt ||
           starts().mayBeOverwritten(place.firstCluster, place.creationTime) ||
           std::any_of(extents.runs().begin(), extents.runs().end(), [this](const ClusterRun& run) {
               return starts().anyInside(run.first, run.count);
           });
}

/// As `extentsOf`, but where that may be wrong content is asked; `fit` is what it says.
ExFatExtents ZExFatVolume::weighedExtentsOf(const ExFatPlace& place, const std::wstring& name,
                                            Fit& fit) {
    fit = Fit::CannotTell;
    ExFatExtents extents = extentsOf(place);
    if (extents.taken() != 0 || !isContested(place, extents))
        return extents;
    PieceFinder finder = pieceFinder();
    fit = finder.ask(extents.runs(), place.validLength, name).fit;
    // Where a part of a chain is left, that is where the file lay.
    const bool hasChain = geometry_.isCluster(table_.entry(place.firstCluster));
    if (!extents.isGuess() || (hasChain && fit == Fit::Yes))
        return extents;
    PieceFinder::Found found = finder.find(place.firstCluster, place.validLength, name);
    if (found.answer.fit != Fit::Yes && (hasChain || found.answer.fit != fit))
        return extents;
    fit = found.answer.fit;
    return ExFatExtents(std::move(found.runs));
}

bool ZExFatVolume::extract(const ZFileTreeNode& node, ZStream* out) {
    requireInit();
    extractReport_ = {};
    const ExFatPlace* const place = places_.find(node.id);
    if (place == nullptr || node.isDirectory ||
        (place->dataLength != 0 && !geometry_.isCluster(place->firstCluster))) {
        setShortfall(ExtractReport::Reason::PlaceUnknown);
        return false;
    }
    places_.settleAges();
    Fit fit = Fit::CannotTell;
    const ExFatExtents extents = weighedExtentsOf(*place, node.name, fit);
    const uint64 taken = extents.taken() + place->takenLater;
    // Of two that were made at one moment and claim the same clusters, content tells the owner.
    const bool isAnothers = place->inDoubt && fit == Fit::No;
    if (isAnothers || (extents.clusters() != 0 && taken >= extents.clusters() && !place->isInUse)) {
        setShortfall(ExtractReport::Reason::Overwritten);
        return false;
    }
    if (extents.clusters() < geometry_.clustersFor(place->dataLength))
        setShortfall(ExtractReport::Reason::ExtentMissing);

    const int64 sizeBefore = out->size();
    const uint64 unreadableBefore = media()->unreadableSectors();
    const uint64 held = deliver(extents, place->validLength, *out);
    // What was never written is as long as it says, on clusters that are there.
    uint64 length = held;
    if (held == place->validLength)
        length = std::min(place->dataLength, std::max(held, heldBytes(extents)));
    out->resize(sizeBefore + static_cast<int64>(length));
    extractReport_.unreadableBytes =
        (media()->unreadableSectors() - unreadableBefore) * media()->sectorSize();
    extractReport_.unreadableBytes += place->dataLength - length;
    if (length < place->dataLength)
        setShortfall(ExtractReport::Reason::BeyondDevice);
    else if (fit == Fit::No)
        setShortfall(ExtractReport::Reason::NotAllItsOwn);
    return length == place->dataLength && fit != Fit::No;
}

/// Bytes of the clusters that the media holds, up to the first that it does not.
uint64 ZExFatVolume::heldBytes(const ExFatExtents& extents) const {
    uint64 held = 0;
    for (const ClusterRun& run : extents.runs()) {
        const uint64 bytes = run.count * geometry_.clusterBytes;
        const uint64 offset = geometry_.offsetOf(run.first);
        const uint64 media = geometry_.mediaBytes;
        const uint64 there = media == 0 ? bytes : std::min(bytes, media - std::min(media, offset));
        held += there;
        if (there < bytes)
            break;
    }
    return held;
}

/// Writes the first `bytes` bytes that lie in `extents`, as far as the media reaches; returns how
/// many those were.
uint64 ZExFatVolume::deliver(const ExFatExtents& extents, uint64 bytes, ZStream& out) {
    const uint64 wanted = std::min(bytes, heldBytes(extents));
    out.reserve(static_cast<int64>(std::min<uint64>(wanted, kRequestBytes)));
    std::vector<uint8> buffer;
    uint64 done = 0;
    for (const ClusterRun& run : extents.runs()) {
        const uint64 inRun = std::min(run.count * geometry_.clusterBytes, wanted - done);
        for (uint64 at = 0; at < inRun;) {
            const uint64 now = std::min<uint64>(inRun - at, kRequestBytes);
            const uint64 sectors = (now + geometry_.sectorBytes - 1) / geometry_.sectorBytes;
            buffer.resize(static_cast<std::size_t>(sectors * geometry_.sectorBytes));
            readCluster(run.first, at, buffer);
            out.write(buffer.data(), static_cast<uint32>(now));
            at += now;
        }
        done += inRun;
    }
    return done;
}

ClusterLayout ZExFatVolume::clusterLayout() const {
    if (geometry_.sectorBytes == 0)
        return {};
    return {geometry_.heapSector * geometry_.sectorBytes, geometry_.clusterBytes,
            uint64{geometry_.lastCluster} + 1 - exfat::kFirstCluster};
}

bool ZExFatVolume::isInUse(uint64 index) const {
    const uint64 cluster = index + exfat::kFirstCluster;
    return geometry_.contains(cluster) && bitmap_.isUsed(static_cast<uint32>(cluster));
}

std::vector<ByteRange> ZExFatVolume::placeOf(const ZFileTreeNode& node) {
    std::vector<ByteRange> ranges;
    const ExFatPlace* const place = places_.find(node.id);
    if (place == nullptr || node.isDirectory)
        return ranges;
    uint64 left = place->dataLength;
    Fit fit = Fit::CannotTell;
    places_.settleAges();
    const ExFatExtents extents = weighedExtentsOf(*place, node.name, fit);
    if (fit == Fit::No)
        return ranges;
    for (const ClusterRun& run : extents.runs()) {
        const uint64 bytes = std::min(left, run.count * geometry_.clusterBytes);
        ranges.push_back({geometry_.offsetOf(run.first), bytes});
        left -= bytes;
    }
    return ranges;
}

std::optional<uint64> ZExFatVolume::startOf(const ZFileTreeNode& node) {
    const ExFatPlace* const place = places_.find(node.id);
    if (place == nullptr || place->dataLength == 0 || !geometry_.isCluster(place->firstCluster))
        return std::nullopt;
    return geometry_.offsetOf(place->firstCluster);
}

FileState ZExFatVolume::assess(const ZFileTreeNode& node) {
    FileState state;
    const ExFatPlace* const place = places_.find(node.id);
    if (place == nullptr || node.isDirectory)
        return state;
    places_.settleAges();
    if (place->dataLength != 0 && !geometry_.isCluster(place->firstCluster)) {
        state.kind = FileState::Kind::Unreadable;
        return state;
    }
    const ExFatExtents extents = extentsOf(*place);
    state.clusters = extents.clusters();
    state.taken = std::min(state.clusters, extents.taken() + place->takenLater);
    const bool mayBeOwn = place->isInUse && state.taken == state.clusters;
    if (heldBytes(extents) < place->dataLength)
        state.kind = FileState::Kind::Unreadable; // Beyond the device.
    else if (state.taken != 0 && !mayBeOwn)
        state.kind =
            state.taken == state.clusters ? FileState::Kind::Overwritten : FileState::Kind::Partly;
    else if (extents.isGuess() || place->inDoubt || (mayBeOwn && state.taken != 0) ||
             (place->isForgotten && state.clusters != 0 &&
              FormerStarts::proveNothing(*place->kinds)))
        state.kind = FileState::Kind::Uncertain;
    else if (bitmap_.isKnown() || state.clusters == 0)
        state.kind = FileState::Kind::Whole;
    return state;
}

} // namespace kova
