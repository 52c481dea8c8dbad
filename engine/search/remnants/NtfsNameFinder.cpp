#include "engine/search/remnants/NtfsNameFinder.h"

#include "engine/ntfs/NtfsLayout.h"
#include "engine/search/remnants/NtfsRecordFinder.h"
#include "format/WideText.h"

namespace kova {

namespace {

constexpr std::size_t kSmallest = 512;
constexpr std::size_t kLargest = BlockFinder::kLookAhead;

} // namespace

void NtfsNameFinder::look(uint64 position, std::span<const uint8> bytes, std::size_t fresh) {
    for (std::size_t at = 0; at + kStep <= fresh; at += kStep) {
        if (NtfsRecordFinder::mayHold(bytes.subspan(at)))
            lookAt(position + at, bytes.subspan(at));
    }
}

void NtfsNameFinder::lookAt(uint64 position, std::span<const uint8> bytes) {
    // Blocks and records tell their size by their fixups, which lie at the same offsets in both.
    const std::size_t fixups = readLe<uint16>(bytes, ntfs::RecordHeader::kFixupCount);
    const std::size_t size = (fixups - 1) * ntfs::RecordHeader::kFixupStride;
    if (fixups == 0 || size < kSmallest || size > kLargest || size > bytes.size())
        return;
    block_.assign(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
    if (!ntfs::applyTrueFixups(block_))
        return;
    const std::span<const uint8> block(block_);
    for (std::size_t at = ntfs::IndexBlock::kHeaderBytes;
         at + ntfs::IndexEntry::kShortest <= size;) {
        const auto entry = ntfs::IndexEntry::decode(block.subspan(at));
        at += entry ? entry->length : ntfs::IndexEntry::kStep;
        if (!entry || entry->nameSpace == ntfs::FileNameValue::Dos)
            continue;
        std::wstring text = format::wideFromUtf16Le(entry->name);
        if (!seen_.emplace(entry->parent, text).second)
            continue;
        keepPlace(position, size);
        names_.push_back({entry->reference, entry->parent, entry->size, entry->creationTime,
                          entry->modificationTime, entry->isDirectory, std::move(text)});
    }
}

} // namespace kova
