#include "engine/search/remnants/ExFatSetFinder.h"

#include <utility>

namespace kova {

namespace {

using exfat::DirectoryEntry;

/// A set has a stream entry and up to 17 of the name behind its first.
constexpr uint8 kFewestSecondary = 2;
constexpr uint8 kMostSecondary = 18;

} // namespace

void ExFatSetFinder::look(uint64 position, std::span<const uint8> bytes, std::size_t fresh) {
    for (std::size_t at = 0; at + kStep <= fresh; at += kStep) {
        const auto block = bytes.subspan(at);
        if (!mayHold(block))
            continue;
        for (std::size_t entry = 0; entry < kStep; entry += DirectoryEntry::kBytes) {
            if (beginsAt(block, entry))
                lookAtSet(position + at + entry, block.subspan(entry));
        }
    }
}

void ExFatSetFinder::lookAtSet(uint64 position, std::span<const uint8> bytes) {
    constexpr std::size_t kEntry = DirectoryEntry::kBytes;
    Set set;
    set.position = position;
    set.file = exfat::FileEntry::decode(DirectoryEntry(bytes.data()));
    const uint8 secondary = set.file.secondaryCount;
    set.bytes = static_cast<uint32>((1 + std::size_t{secondary}) * kEntry);
    if (secondary < kFewestSecondary || secondary > kMostSecondary || set.bytes > bytes.size() ||
        exfat::setChecksum(bytes.first(set.bytes)) != set.file.checksum)
        return;
    set.file.tellInUtc(localTimes_);
    set.inUse = DirectoryEntry(bytes.data()).isInUse();
    set.stream = exfat::StreamEntry::decode(DirectoryEntry(bytes.data() + kEntry));
    for (std::size_t at = 2 * kEntry; at < set.bytes; at += kEntry) {
        const DirectoryEntry entry(bytes.data() + at);
        if (entry.kind() != DirectoryEntry::kName)
            continue; // A kind that is not known belongs to the set all the same.
        exfat::appendUnits(entry, set.stream.nameLength, set.name);
    }
    if (set.name.size() != set.stream.nameLength || set.name.empty())
        return;
    keepPlace(position, set.bytes);
    sets_.push_back(std::move(set));
}

} // namespace kova
