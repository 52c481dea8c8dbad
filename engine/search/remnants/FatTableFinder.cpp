#include "engine/search/remnants/FatTableFinder.h"

#include <algorithm>
#include <limits>

namespace kova {

namespace {

/// Entries have 4 bytes, of which FAT32 uses 28 bits. The first two stand for no clusters: the
/// media's kind with all other bits set, and marks that are mostly set too.
constexpr uint32 kEntryMask = 0x0FFFFFFF;
constexpr uint32 kFirstEntry32 = 0x0FFFFFF8;
constexpr uint32 kSecondEntry = 0x03FFFFFF;
/// The same of FAT16, with 2 bytes an entry.
constexpr uint16 kSecondEntry16 = 0x3FFF;
constexpr uint32 kFirstCluster = 2;
/// Longer chains are not followed.
constexpr uint64 kMostClusters = uint64{1} << 22;

/// Reads a table's entries, a stretch at a time.
template <typename Entry>
class TableReader {
public:
    static constexpr uint32 kMask = kEntryMask & std::numeric_limits<Entry>::max();
    static constexpr uint32 kEndOfChain = kMask & ~uint32{7}; ///< And above.

    TableReader(ZCustomMedia& media, uint64 table) : media_(media), table_(table) {}

    /// 0 where the media ends.
    uint32 entry(uint32 cluster) {
        const uint64 at = table_ + cluster * sizeof(Entry);
        if (held_.empty() || at < start_ || at + sizeof(Entry) > start_ + held_.size())
            read(at);
        return at - start_ + sizeof(Entry) > held_.size()
                   ? 0
                   : loadLe<Entry>(held_.data() + (at - start_)) & kMask;
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

/// The clusters of a chain of just this length; empty when no table has one.
template <typename Entry>
std::vector<uint32> chainIn(ZCustomMedia& media, const std::vector<uint64>& tables, uint32 first,
                            uint64 count) {
    using Reader = TableReader<Entry>;
    for (const uint64 table : tables) {
        Reader reader(media, table);
        std::vector<uint32> clusters;
        uint32 cluster = first;
        while (cluster >= kFirstCluster && cluster < Reader::kEndOfChain &&
               clusters.size() < count) {
            clusters.push_back(cluster);
            cluster = reader.entry(cluster);
        }
        if (clusters.size() == count && cluster >= Reader::kEndOfChain)
            return clusters;
    }
    return {};
}

} // namespace

void FatTableFinder::look(uint64 position, std::span<const uint8> bytes, std::size_t fresh) {
    for (std::size_t at = 0; at + kStep <= fresh; at += kStep) {
        const uint8* const block = bytes.data() + at;
        if (!mayHold(bytes.subspan(at)))
            continue;
        const bool isTable = (loadLe<uint32>(block) & kEntryMask) == kFirstEntry32 &&
                             (loadLe<uint32>(block + 4) & kSecondEntry) == kSecondEntry;
        const bool isFat16 = (loadLe<uint16>(block + 2) & kSecondEntry16) == kSecondEntry16;
        if (isTable)
            keepTable(tables_, position + at);
        if (isFat16)
            keepTable(fat16Tables_, position + at);
    }
}

void FatTableFinder::keepTable(std::vector<uint64>& tables, uint64 position) {
    if (tables.size() == kMostTables)
        return;
    keepPlace(position, kStep);
    tables.push_back(position);
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
    std::vector<uint32> clusters = chainIn<uint32>(media, tables_, first, count);
    return clusters.empty() ? chainIn<uint16>(media, fat16Tables_, first, count) : clusters;
}

} // namespace kova
