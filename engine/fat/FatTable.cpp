#include "engine/fat/FatTable.h"

#include <algorithm>
#include <utility>

namespace kova {

namespace {

constexpr uint32 kBad12 = 0xFF7;
constexpr uint32 kBad16 = 0xFFF7;
constexpr uint32 kMask12 = 0xFFF;
/// The upper four bits of a FAT32 entry are reserved.
constexpr uint32 kMask32 = 0x0FFFFFFF;

/// Byte at which the 12-bit entry of a cluster begins, or (odd clusters) half of it does.
constexpr uint64 offset12(uint64 cluster) {
    return cluster + cluster / 2;
}

} // namespace

FatTable::FatTable(FatType type, std::vector<uint8> bytes) : type_(type), bytes_(std::move(bytes)) {
    uint64 count = 0;
    switch (type) {
    case FatType::Fat12:
        count = static_cast<uint64>(bytes_.size()) * 2 / 3;
        bad_ = kBad12;
        break;
    case FatType::Fat16:
        count = bytes_.size() / sizeof(uint16);
        bad_ = kBad16;
        break;
    case FatType::Fat32:
        count = bytes_.size() / sizeof(uint32);
        break;
    case FatType::Unknown:
        break;
    }
    clusters_ = static_cast<uint32>(std::min<uint64>(count, kMask32));
}

uint64 FatTable::bytesFor(FatType type, uint32 lastCluster) {
    const uint64 last = std::min(lastCluster, kMask32);
    switch (type) {
    case FatType::Fat12:
        return offset12(last) + sizeof(uint16);
    case FatType::Fat16:
        return (last + 1) * sizeof(uint16);
    case FatType::Fat32:
        return (last + 1) * sizeof(uint32);
    case FatType::Unknown:
        break;
    }
    return 0;
}

uint32 FatTable::entry(uint32 cluster) const {
    if (cluster >= clusters_)
        return bad_;
    switch (type_) {
    case FatType::Fat12: {
        const uint32 word = loadLe<uint16>(bytes_.data() + offset12(cluster));
        return cluster % 2 == 0 ? word & kMask12 : word >> 4;
    }
    case FatType::Fat16:
        return loadLe<uint16>(bytes_.data() + cluster * sizeof(uint16));
    case FatType::Fat32:
        return loadLe<uint32>(bytes_.data() + cluster * sizeof(uint32)) & kMask32;
    case FatType::Unknown:
        break;
    }
    return bad_;
}

} // namespace kova
