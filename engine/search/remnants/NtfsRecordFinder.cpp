#include "engine/search/remnants/NtfsRecordFinder.h"

#include "engine/ntfs/RunList.h"

#include <algorithm>
#include <bit>

namespace kova {

namespace {

using ntfs::AttributeHeader;
using ntfs::RecordHeader;

constexpr uint32 kSmallestRecord = 512;
constexpr uint32 kLargestRecord = BlockFinder::kLookAhead;
constexpr uint32 kSmallestCluster = 512;
constexpr uint32 kLargestCluster = 2 * 1024 * 1024;

/// Calls `take` for each attribute of a record whose fixups have been applied, until it answers
/// false.
template <typename Take>
void forEachAttribute(std::span<const uint8> record, Take take) {
    std::size_t at = readLe<uint16>(record, RecordHeader::kFirstAttribute);
    const std::size_t end =
        std::min<std::size_t>(record.size(), readLe<uint32>(record, RecordHeader::kBytesInUse));
    while (at + AttributeHeader::kShortest <= end) {
        const AttributeHeader header(record, at);
        if (header.type() == ntfs::kEndOfAttributes || header.length() < AttributeHeader::kShortest)
            return;
        if (!take(header))
            return;
        at += header.length();
    }
}

/// The cluster size that makes an attribute's runs take its allocated size, 0 when none does.
uint32 clusterBytesOf(const AttributeHeader& header) {
    if (header.isResident() || header.firstVcn() != 0 || header.compressionUnit() != 0)
        return 0;
    const int64 clusters = header.lastVcn() + 1;
    const int64 allocated = header.allocatedSize();
    if (clusters <= 0 || allocated <= 0 || allocated % clusters != 0)
        return 0;
    const auto bytes = static_cast<uint64>(allocated / clusters);
    const bool plausible =
        std::has_single_bit(bytes) && bytes >= kSmallestCluster && bytes <= kLargestCluster;
    return plausible ? static_cast<uint32>(bytes) : 0;
}

} // namespace

void NtfsRecordFinder::look(uint64 position, std::span<const uint8> bytes, std::size_t fresh) {
    for (std::size_t at = 0; at + kStep <= fresh; at += kStep) {
        if (!mayHold(bytes.subspan(at)))
            continue;
        if (bytes[at] == 'F')
            lookAtRecord(position + at, bytes.subspan(at));
        else
            lookAtIndex(position + at, bytes.subspan(at));
    }
}

void NtfsRecordFinder::lookAtRecord(uint64 position, std::span<const uint8> bytes) {
    const auto size = loadLe<uint32>(bytes.data() + RecordHeader::kBytesAllocated);
    if (!std::has_single_bit(size) || size < kSmallestRecord || size > kLargestRecord ||
        size > bytes.size())
        return;
    record_.assign(bytes.begin(), bytes.begin() + size);
    try {
        if (!ntfs::applyTrueFixups(record_))
            return;
        // Records made before Windows XP do not know their number; what stood there was a fixup.
        if (readLe<uint16>(record_, RecordHeader::kFixupOffset) <= RecordHeader::kNumber)
            return;
        Sighting sighting{position, readLe<uint32>(record_, RecordHeader::kNumber), size, 0};
        forEachAttribute(record_, [&](const AttributeHeader& header) {
            sighting.clusterBytes = clusterBytesOf(header);
            return sighting.clusterBytes == 0;
        });
        sightings_.push_back(sighting);
        keepPlace(position, size);
        keepIndexRuns(position, record_);
    } catch (...) { // NOLINT(bugprone-empty-catch): what only looks like a record is none
    }
}

void NtfsRecordFinder::keepIndexRuns(uint64 position, std::span<const uint8> record) {
    const auto flags = readLe<uint16>(record, RecordHeader::kFlags);
    if ((flags & RecordHeader::kDirectory) == 0 || indexRuns_.size() >= kMostIndexes)
        return;
    forEachAttribute(record, [&](const AttributeHeader& header) {
        const uint32 clusterBytes =
            header.type() == ntfs::kIndexAllocation ? clusterBytesOf(header) : 0;
        if (clusterBytes == 0)
            return true;
        RunList runs;
        if (runs.decode(clusterBytes, header) && runs.front().lcn > 0)
            indexRuns_.push_back({position, static_cast<uint64>(runs.front().lcn)});
        return false;
    });
}

void NtfsRecordFinder::lookAtIndex(uint64 position, std::span<const uint8> bytes) {
    if (bytes.size() < ntfs::IndexBlock::kHeaderBytes || indexBlocks_.size() >= kMostIndexes)
        return;
    if (loadLe<uint64>(bytes.data() + ntfs::IndexBlock::kVcn) != 0)
        return;
    keepPlace(position, kStep);
    indexBlocks_.push_back(position);
}

} // namespace kova
