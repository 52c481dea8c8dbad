#include "engine/search/remnants/FatTableFinder.h"

#include "engine/LittleEndian.h"

#include <algorithm>

namespace kova {

namespace {

/// Entries have 4 bytes, of which FAT32 uses 28 bits. The first two stand for no clusters: the
/// media's kind with all other bits set, and marks that are mostly set too.
constexpr uint64 kEntryBytes = 4;
constexpr uint32 kEntryMask = 0x0FFFFFFF;
constexpr uint32 kFirstEntry = 0x0FFFFFF8;
constexpr uint32 kSecondEntry = 0x03FFFFFF;
constexpr uint32 kFirstCluster = 2;
constexpr uint32 kEndOfChain = 0x0FFFFFF8; ///< And above.
/// Longer chains are not followed.
constexpr uint64 kMostClusters = uint64{1} << 22;

/// Reads a table's entries, a stretch at a time.
class TableReader {
public:
    TableReader(ZCustomMedia& media, uint64 table) : media_(media), table_(table) {}

    /// 0 where the media ends.
    uint32 entry(uint32 cluster) {
        const uint64 at = table_ + cluster * kEntryBytes;
        if (held_.empty() || at < start_ || at + kEntryBytes > start_ + held_.size())
            read(at);
        return at - start_ + kEntryBytes > held_.size()
                   ? 0
                   : loadLe<uint32>(held_.data() + (at - start_)) & kEntryMask;
    }

private:
    static constexpr uint64 kStretch = uint64{16} << 10;

    void read(uint64 at) {
        const uint32 sectorBytes = media_.sectorSize();
        start_ = at / sectorBytes * sectorBytes;
        const uint64 end = std::min(media_.sizeBytes(), start_ + kStretch);
        held_.assign(start_ < end ? static_cast<std::size_t>(end - start_) : 0, 0);
        media_.seek(start_ / sectorBytes);
        media_.read(held_.data(), static_cast<uint32>(held_.size() / sectorBytes));
    }

    ZCustomMedia& media_;
    uint64 table_;
    uint64 start_ = 0;
    std::vector<uint8> held_;
};

} // namespace

void FatTableFinder::look(uint64 position, std::span<const uint8> bytes, std::size_t fresh) {
    for (std::size_t at = 0; at + kStep <= fresh && tables_.size() < kMostTables; at += kStep) {
        const uint8* const block = bytes.data() + at;
        const bool isTable = (loadLe<uint32>(block) & kEntryMask) == kFirstEntry &&
                             (loadLe<uint32>(block + kEntryBytes) & kSecondEntry) == kSecondEntry;
        if (!isTable)
            continue;
        keepPlace(position + at, kStep);
        tables_.push_back(position + at);
    }
}

std::vector<ByteRange> FatTableFinder::placeOf(ZCustomMedia& media, uint32 first, uint64 size,
                                               uint64 start, uint32 clusterBytes) const {
    std::vector<ByteRange> place;
    const uint64 mediaBytes = media.sizeBytes();
    for (const uint32 cluster : chain(media, first, (size + clusterBytes - 1) / clusterBytes)) {
        const uint64 position = start + uint64{cluster - kFirstCluster} * clusterBytes;
        const uint64 bytes = std::min<uint64>(size, clusterBytes);
        if (position >= mediaBytes || mediaBytes - position < bytes)
            return {};
        if (!place.empty() && place.back().end() == position)
            place.back().length += bytes;
        else
            place.push_back({position, bytes});
        size -= bytes;
    }
    return place;
}

/// The clusters of a chain of just this length; empty when no table has one.
std::vector<uint32> FatTableFinder::chain(ZCustomMedia& media, uint32 first, uint64 count) const {
    if (count == 0 || count > kMostClusters)
        return {};
    for (const uint64 table : tables_) {
        TableReader reader(media, table);
        std::vector<uint32> clusters;
        uint32 cluster = first;
        while (cluster >= kFirstCluster && cluster < kEndOfChain && clusters.size() < count) {
            clusters.push_back(cluster);
            cluster = reader.entry(cluster);
        }
        if (clusters.size() == count && cluster >= kEndOfChain)
            return clusters;
    }
    return {};
}

} // namespace kova
