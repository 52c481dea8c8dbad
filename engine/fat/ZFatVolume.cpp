#include "engine/fat/ZFatVolume.h"

#include "engine/fat/FatDirectoryWalk.h"

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
    geometry_ =
        FatGeometry::derive(format::BiosParameterBlock::decode(sector), media()->sizeBytes());
    loadTable();
    return true;
}

void ZFatVolume::loadTable() {
    const uint32 bytesPerSector = geometry_.bytesPerSector;
    // What lies beyond the last cluster that is ever looked up, or beyond the media, is left out.
    const uint64 needed = FatTable::bytesFor(geometry_.type, geometry_.clusterCount);
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
        readSectors(geometry_.fatSector + done, count, bytesPerSector,
                    bytes.data() + done * bytesPerSector);
        done += count;
    }
    table_ = FatTable(geometry_.type, std::move(bytes));
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
    setProgress(kWalkProgress);
    FatDirectoryWalk(*this, *tree).run();

    ZFileTreeNode root;
    root.parentId = kNoParent;
    root.isDirectory = true;
    root.exists = true;
    tree->insert(root);

    collectOrphans(*tree, [](int64) { return false; });
    setProgress(1.0);
}

bool ZFatVolume::extract(const ZFileTreeNode& node, ZStream* out) {
    requireInit();
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

} // namespace kova
