#include "engine/search/remnants/ZFormerNtfsVolume.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace kova {

namespace {

constexpr uint32 kSectorBytes = 512;

/// The boot sector that the volume must have had, as far as it is asked.
ntfs::BootSector bootSectorOf(const ZFormerNtfsVolume::Geometry& geometry, uint64 mediaBytes) {
    ntfs::BootSector boot;
    boot.bytesPerSector = kSectorBytes;
    boot.setClusterSectors(geometry.clusterBytes / kSectorBytes);
    boot.clustersPerRecord = static_cast<int8_t>(-std::countr_zero(geometry.recordBytes));
    boot.totalSectors = mediaBytes / kSectorBytes;
    return boot;
}

} // namespace

ZFormerNtfsVolume::ZFormerNtfsVolume(ZCustomMedia* media, Geometry geometry)
    : ZNtfsVolume(&shifted_), whole_(*media), geometry_(std::move(geometry)),
      shifted_(*media, geometry_.start / static_cast<int64>(media->sectorSize())) {
    setScanOptions(ScanOptions::today());
}

bool ZFormerNtfsVolume::init() {
    useGeometry(bootSectorOf(geometry_, shifted_.sizeBytes()));
    int64 last = 0;
    for (const auto& [number, position] : geometry_.records)
        last = std::max(last, number);
    setRecordCount(
        static_cast<uint32>(std::min<int64>(last + 1, std::numeric_limits<uint32>::max())));
    startSpending();
    return true;
}

bool ZFormerNtfsVolume::readMftRecord(int64 number, ntfs::RecordBuffer& buffer,
                                      bool /*viaRunList*/) {
    const auto found = geometry_.records.find(number & static_cast<int64>(ntfs::kRecordNumberMask));
    if (found == geometry_.records.end())
        fail();
    const uint32 sectorBytes = whole_.sectorSize();
    const uint64 first = found->second / sectorBytes;
    const auto skipped = static_cast<std::size_t>(found->second % sectorBytes);
    const std::size_t size = geometry_.recordBytes;
    const auto sectors = static_cast<uint32>((skipped + size + sectorBytes - 1) / sectorBytes);
    buffer.resize(static_cast<std::size_t>(sectors) * sectorBytes);
    whole_.seek(first);
    whole_.read(buffer.data(), sectors);
    buffer.erase(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(skipped));
    buffer.resize(size);
    return applyFixups(buffer);
}

void ZFormerNtfsVolume::scan(ZFileTree* tree) {
    tree->rootId = ntfs::kRootRecord;
    std::vector<int64> numbers;
    numbers.reserve(geometry_.records.size());
    for (const auto& [number, position] : geometry_.records)
        numbers.push_back(number);
    std::sort(numbers.begin(), numbers.end());

    const ZCustomMedia::ReadWindow window(whole_);
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        if (numbers[i] >= ntfs::kFirstUserRecord) {
            startSpending();
            processRecord(*tree, numbers[i], false);
        }
        if (!setProgress(static_cast<double>(i) / static_cast<double>(numbers.size())))
            return;
    }
    ZFileTreeNode root;
    root.id = ntfs::kRootRecord;
    root.parentId = ntfs::kRootRecord;
    root.isDirectory = true;
    tree->insert(root);
    collectOrphans(*tree, [](int64) { return false; });
    setProgress(1.0);
}

std::vector<ByteRange> ZFormerNtfsVolume::placeOf(const ZFileTreeNode& node) {
    std::vector<ByteRange> place = ZNtfsVolume::placeOf(node);
    const int64 sectorBytes = whole_.sectorSize();
    const int64 start = geometry_.start / sectorBytes * sectorBytes;
    for (ByteRange& range : place) {
        if (start < 0 && range.start < static_cast<uint64>(-start))
            return {};
        range.start += static_cast<uint64>(start);
    }
    return place;
}

} // namespace kova
