#include "engine/fat/ZFatVolume.h"

#include "engine/fat/FatDirectoryWalk.h"
#include "engine/fat/FatSurvey.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace kova {

namespace {

/// Progress during the whole directory walk. It has no measure of what is still to come.
constexpr double kWalkProgress = 0.01;

/// Most bytes asked of the media at once.
constexpr uint32 kRequestBytes = 1024 * 1024;

/// Most clusters that the output is told to expect.
constexpr int64 kMostReservedClusters = 128;

} // namespace

bool ZFatVolume::init() {
    std::array<uint8, format::BiosParameterBlock::kBytes> sector{};
    readSectors(bootSectorByte_ / sector.size(), 1, format::BiosParameterBlock::kBytes,
                sector.data());
    if (bootSectorByte_ != 0)
        addNote(VolumeNote::BackupBootSector);
    geometry_ = FatGeometry::derive(format::BiosParameterBlock::decode(sector),
                                    media()->sizeBytes(), scanOptions().lenientFat);
    if (scanOptions().wholeFiles && geometry_.endsEarly)
        addNote(VolumeNote::EndsEarly);
    loadTable();
    use_ = FatClusterUse(table_, geometry_.lastMediaCluster);
    return true;
}

void ZFatVolume::loadTable() {
    table_ = readTable(0);
    if (!scanOptions().lenientFat || table_.hasStart())
        return;
    // The second one has begun alike, and who wipes the start of a volume seldom reaches it.
    FatTable second = geometry_.fatCount > 1 ? readTable(1) : FatTable();
    if (second.hasStart()) {
        table_ = std::move(second);
        addNote(VolumeNote::SecondFat);
    } else {
        tableIsEmpty_ = true;
        addNote(VolumeNote::NoFat);
    }
}

/// The FAT with this index; what cannot be read of the first one comes from the second.
FatTable ZFatVolume::readTable(uint32 index) {
    const uint32 bytesPerSector = geometry_.bytesPerSector;
    // What lies beyond the last cluster that is ever looked up, or beyond the media, is left out.
    const uint64 needed = FatTable::bytesFor(geometry_.type, geometry_.lastCluster);
    uint64 sectors = std::min<uint64>(geometry_.fatSectors, needed / bytesPerSector + 1);
    if (media()->sizeBytes() > 0) {
        const uint64 mediaSectors = media()->sizeBytes() / bytesPerSector;
        sectors =
            std::min(sectors, mediaSectors - std::min<uint64>(mediaSectors, geometry_.fatSector));
    }
    std::vector<uint8> bytes(static_cast<std::size_t>(sectors * bytesPerSector));
    const uint32 sectorsAtOnce = kRequestBytes / bytesPerSector;
    for (uint64 done = 0; done < sectors;) {
        const auto count = static_cast<uint32>(std::min<uint64>(sectorsAtOnce, sectors - done));
        uint8* const part = bytes.data() + done * bytesPerSector;
        const bool isRead = readTablePart(index, done, count, part);
        if (!isRead && scanOptions().lenientFat && index == 0 && geometry_.fatCount > 1) {
            std::vector<uint8> other(static_cast<std::size_t>(count) * bytesPerSector);
            if (readTablePart(1, done, count, other.data())) {
                std::copy(other.begin(), other.end(), part);
                addNote(VolumeNote::SecondFat);
            }
        }
        done += count;
    }
    return {geometry_.type, std::move(bytes)};
}

/// Whether all of it could be read.
bool ZFatVolume::readTablePart(uint32 index, uint64 sector, uint32 count, uint8* buffer) {
    const uint64 unreadable = media()->unreadableSectors();
    readSectors(geometry_.fatSector + uint64{index} * geometry_.fatSectors + sector, count,
                geometry_.bytesPerSector, buffer);
    return media()->unreadableSectors() == unreadable;
}

void ZFatVolume::readClusters(uint32 first, uint32 count, uint8* buffer) {
    while (count > 0 && geometry_.sectorOf(first) < 0) {
        std::memset(buffer, 0, geometry_.clusterBytes());
        buffer += geometry_.clusterBytes();
        ++first;
        --count;
    }
    if (count > 0)
        readSectors(static_cast<uint64>(geometry_.sectorOf(first)),
                    count * geometry_.sectorsPerCluster, geometry_.bytesPerSector, buffer);
}

void ZFatVolume::requireInit() const {
    if (geometry_.type == FatType::Unknown)
        fail();
}

ClusterLayout ZFatVolume::clusterLayout() const {
    const uint64 start = geometry_.firstDataSector * geometry_.bytesPerSector;
    return {start, geometry_.clusterBytes(), geometry_.clusterCount};
}

bool ZFatVolume::isInUse(uint64 index) const {
    constexpr uint64 kFirstCluster = 2;
    return index < geometry_.clusterCount &&
           !table_.isFree(static_cast<uint32>(index + kFirstCluster));
}

void ZFatVolume::scan(ZFileTree* tree) {
    requireInit();
    const ZCustomMedia::RefusalMemory memory(*media());
    setProgress(kWalkProgress);
    if (scanOptions().findPlaces)
        FatSurvey(*this, *tree).run();
    else
        FatDirectoryWalk(*this, *tree).run();

    ZFileTreeNode root;
    root.parentId = kNoParent;
    root.isDirectory = true;
    root.exists = true;
    tree->insert(root);

    collectOrphans(*tree, [](int64) { return false; });
    setProgress(1.0);
}

FatPlace ZFatVolume::fatPlaceOf(const ZFileTreeNode& node) const {
    if (const FatPlace* const place = places_.find(node.id))
        return *place;
    FatPlace place;
    if (node.id >= kFirstDataCluster && node.id <= geometry_.lastCluster) {
        place.first = static_cast<uint32>(node.id);
        place.certainty = FatPlace::Certainty::Known;
    }
    return place;
}

uint64 ZFatVolume::clustersOf(const ZFileTreeNode& node) const {
    const auto size = static_cast<uint64>(std::max<int64>(node.size, 0));
    return size / geometry_.clusterBytes() + (size % geometry_.clusterBytes() != 0 ? 1 : 0);
}

std::vector<FatRun> ZFatVolume::runsOf(const ZFileTreeNode& node) {
    const FatPlace place = fatPlaceOf(node);
    if (place.first == 0)
        return {};
    return use_.layOut(place, clustersOf(node),
                       scanOptions().findPlaces ? FatClusterUse::Step::LiveFiles
                                                : FatClusterUse::Step::Nothing);
}

/// As `runsOf`, but where other deleted files began among a file's clusters, or these are a guess,
/// content is asked; `fit` is what it says.
std::vector<FatRun> ZFatVolume::weighedRunsOf(const ZFileTreeNode& node, Fit& fit) {
    std::vector<FatRun> runs = runsOf(node);
    fit = Fit::CannotTell;
    if (!scanOptions().findPlaces || runs.empty() ||
        std::any_of(runs.begin(), runs.end(), [](const FatRun& run) { return run.isTaken; }))
        return runs;
    const FatPlace place = fatPlaceOf(node);
    if (runs.size() == 1 && place.certainty != FatPlace::Certainty::Doubted &&
        !starts_.anyInside(place.first, runs.front().count) &&
        !starts_.mayBeOverwritten(place.first, place.created))
        return runs;
    PieceFinder finder(*media(), clusterLayout(), starts_,
                       [this](uint64 cluster) { return use_.freeRunAt(cluster); });
    const PieceFinder::Found found =
        finder.find(place.first, static_cast<uint64>(node.size), node.name);
    fit = found.answer.fit;
    runs.clear();
    for (const ClusterRun& run : found.runs)
        runs.push_back({run.first, static_cast<uint32>(run.count), false});
    return runs;
}

FileState ZFatVolume::assess(const ZFileTreeNode& node) {
    FileState state;
    state.clusters = node.isDirectory ? 0 : clustersOf(node);
    const FatPlace place = fatPlaceOf(node);
    if (state.clusters == 0) {
        state.kind = FileState::Kind::Whole;
        return state;
    }
    if (place.first == 0) {
        state.kind = FileState::Kind::Unreadable;
        return state;
    }
    uint32 pieces = 0;
    uint32 end = 0;
    auto missing = static_cast<uint64>(node.size);
    for (const FatRun& run : runsOf(node)) {
        state.taken += run.isTaken ? run.count : 0;
        pieces += run.first == end ? 0 : 1;
        end = run.first + run.count;
        missing -= heldOf(run, missing);
    }
    if (missing > 0)
        state.kind = FileState::Kind::Unreadable; // Beyond the device.
    else if (state.taken == state.clusters)
        state.kind = FileState::Kind::Overwritten;
    else if (state.taken > 0)
        state.kind = FileState::Kind::Partly;
    else if (place.certainty == FatPlace::Certainty::Doubted || pieces > 1 ||
             isUnprovable(node, place))
        state.kind = FileState::Kind::Uncertain;
    else
        state.kind = FileState::Kind::Whole;
    return state;
}

/// Whether others may have been written over it, or lie among its clusters, and its content cannot
/// tell.
bool ZFatVolume::isUnprovable(const ZFileTreeNode& node, const FatPlace& place) {
    if (!scanOptions().findPlaces || (!starts_.anyInside(place.first, clustersOf(node)) &&
                                      !starts_.mayBeOverwritten(place.first, place.created)))
        return false;
    return FormerStarts::proveNothing(starts_.kindsOf(node.name));
}

std::vector<ByteRange> ZFatVolume::placeOf(const ZFileTreeNode& node) {
    requireInit();
    std::vector<ByteRange> ranges;
    auto left = static_cast<uint64>(std::max<int64>(node.size, 0));
    Fit fit = Fit::CannotTell;
    for (const FatRun& run : weighedRunsOf(node, fit)) {
        const uint64 length =
            std::min(left, static_cast<uint64>(run.count) * geometry_.clusterBytes());
        ranges.push_back({geometry_.byteOf(run.first), length});
        left -= length;
    }
    if (fit == Fit::No)
        ranges.clear();
    return ranges;
}

std::optional<uint64> ZFatVolume::startOf(const ZFileTreeNode& node) {
    const FatPlace place = fatPlaceOf(node);
    if (place.first == 0 || node.size <= 0)
        return std::nullopt;
    return geometry_.byteOf(place.first);
}

bool ZFatVolume::extract(const ZFileTreeNode& node, ZStream* out) {
    requireInit();
    extractReport_ = {};
    if (scanOptions().wholeFiles)
        return extractRuns(node, *out);
    const int64 clusterBytes = geometry_.clusterBytes();
    const int64 size = std::max<int64>(node.size, 0);
    const int64 sizeBefore = out->size();

    const auto first = static_cast<uint32>(node.id);
    const int64 available = std::max<int64>(
        static_cast<int64>(geometry_.lastMediaCluster) - static_cast<int64>(first) + 1, 0);
    const int64 wanted = size / clusterBytes + (size % clusterBytes != 0 ? 1 : 0);
    const int64 count = std::min(wanted, available);
    if (count > 0) {
        out->reserve(clusterBytes * std::min(count, kMostReservedClusters));
        const int64 atOnce = std::min<int64>(count, geometry_.clustersWithin(kRequestBytes));
        std::vector<uint8> buffer(static_cast<std::size_t>(atOnce * clusterBytes));
        for (int64 done = 0; done < count;) {
            const int64 now = std::min(atOnce, count - done);
            readClusters(static_cast<uint32>(first + done), static_cast<uint32>(now),
                         buffer.data());
            out->write(buffer.data(), static_cast<uint32>(now * clusterBytes));
            done += now;
        }
    }
    out->resize(sizeBefore + std::min(count * clusterBytes, size));
    return true;
}

/// Extracts as far as it is known where the file lay and others do not lie there now.
bool ZFatVolume::extractRuns(const ZFileTreeNode& node, ZStream& out) {
    if (node.size <= 0)
        return true;
    Fit fit = Fit::CannotTell;
    const std::vector<FatRun> runs = weighedRunsOf(node, fit);
    if (runs.empty()) {
        const bool isKnown = fatPlaceOf(node).first != 0;
        setShortfall(isKnown ? ExtractReport::Reason::BeyondDevice
                             : ExtractReport::Reason::PlaceUnknown);
        extractReport_.unreadableBytes = isKnown ? static_cast<uint64>(node.size) : 0;
        return false;
    }
    if (std::all_of(runs.begin(), runs.end(), [](const FatRun& run) { return run.isTaken; })) {
        setShortfall(ExtractReport::Reason::Overwritten);
        return false;
    }
    const int64 sizeBefore = out.size();
    const auto size = static_cast<uint64>(node.size);
    const uint64 unreadable = media()->unreadableSectors();
    out.reserve(static_cast<int64>(
        std::min(size, uint64{geometry_.clusterBytes()} * kMostReservedClusters)));
    uint64 done = 0;
    for (const FatRun& run : runs) {
        const uint64 length =
            std::min(size - done, static_cast<uint64>(run.count) * geometry_.clusterBytes());
        const uint64 given = writeRun(run, length, out);
        done += given;
        if (given < length)
            break;
    }
    out.resize(sizeBefore + static_cast<int64>(done));
    extractReport_.unreadableBytes =
        (media()->unreadableSectors() - unreadable) * media()->sectorSize();
    extractReport_.unreadableBytes += size - done;
    if (done < size)
        setShortfall(ExtractReport::Reason::BeyondDevice);
    else if (fit == Fit::No)
        setShortfall(ExtractReport::Reason::NotAllItsOwn);
    return extractReport_.reason == ExtractReport::Reason::None;
}

/// Of the first `length` bytes of a run those that the media has.
uint64 ZFatVolume::heldOf(const FatRun& run, uint64 length) const {
    const uint64 mediaBytes = media()->sizeBytes();
    const uint64 start = geometry_.byteOf(run.first);
    length = std::min(length, uint64{run.count} * geometry_.clusterBytes());
    return mediaBytes == 0 ? length : std::min(length, mediaBytes - std::min(mediaBytes, start));
}

/// Writes the first `length` bytes of a run, zeros where another file lies now. Returns the bytes
/// that the media has of it.
uint64 ZFatVolume::writeRun(const FatRun& run, uint64 length, ZStream& out) {
    length = heldOf(run, length);
    const uint32 clusterBytes = geometry_.clusterBytes();
    const uint32 atOnce = std::min<uint32>(run.count, geometry_.clustersWithin(kRequestBytes));
    std::vector<uint8> buffer(static_cast<std::size_t>(atOnce) * clusterBytes);
    for (uint64 done = 0; done < length;) {
        const auto cluster = run.first + static_cast<uint32>(done / clusterBytes);
        const uint64 now = std::min<uint64>(length - done, buffer.size());
        const auto count = static_cast<uint32>((now + clusterBytes - 1) / clusterBytes);
        if (!run.isTaken)
            readClusters(cluster, count, buffer.data());
        out.write(buffer.data(), static_cast<uint32>(now));
        done += now;
    }
    return length;
}

} // namespace kova
