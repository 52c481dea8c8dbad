#include "engine/exfat/ExFatTable.h"

#include "engine/LittleEndian.h"

#include <algorithm>
#include <utility>

namespace kova {

ExFatTable::ExFatTable(uint64 firstSector, uint32 sectors, uint32 sectorBytes, ReadSectors read)
    : firstSector_(firstSector), sectors_(sectors), sectorBytes_(sectorBytes),
      read_(std::move(read)) {}

uint32 ExFatTable::entry(uint32 cluster) {
    const std::size_t offset = std::size_t{cluster % kPageEntries} * sizeof(uint32);
    if (uint64{cluster} * sizeof(uint32) / std::max(sectorBytes_, 1U) >= sectors_)
        return 0;
    return loadLe<uint32>(page(cluster / kPageEntries).data() + offset);
}

const std::vector<uint8>& ExFatTable::page(uint32 number) {
    const auto known = pages_.find(number);
    if (known != pages_.end())
        return known->second;
    if (pages_.size() >= kMostPages)
        pages_.clear();
    std::vector<uint8>& bytes = pages_[number];
    bytes.resize(kPageBytes);
    const uint32 pageSectors = kPageBytes / sectorBytes_;
    const uint64 first = uint64{number} * pageSectors;
    read_(firstSector_ + first,
          static_cast<uint32>(std::min<uint64>(pageSectors, sectors_ - first)), bytes.data());
    return bytes;
}

} // namespace kova
