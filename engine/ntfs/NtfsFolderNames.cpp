#include "engine/ntfs/NtfsFolderNames.h"

#include "engine/ntfs/NtfsLayout.h"
#include "format/WideText.h"

#include <cstring>

namespace kova {

using ntfs::IndexBlock;
using ntfs::IndexEntry;
using ntfs::RecordHeader;

namespace {

constexpr std::size_t kMostNames = std::size_t{1} << 20;

} // namespace

void NtfsFolderNames::lookInRecord(std::span<const uint8> record) {
    look(record, 0);
}

void NtfsFolderNames::lookInIndex(std::span<uint8> index) {
    constexpr std::size_t kStride = RecordHeader::kFixupStride;
    while (index.size() >= kStride) {
        std::size_t size = kStride;
        if (std::memcmp(index.data() + IndexBlock::kSignature, "INDX", 4) == 0) {
            // A block tells its size by its fixups.
            const std::size_t fixups = readLe<uint16>(index, RecordHeader::kFixupCount);
            const std::size_t told = fixups * kStride - kStride;
            if (fixups > 1 && told <= index.size() && ntfs::applyTrueFixups(index.first(told))) {
                look(index.first(told), IndexBlock::kHeaderBytes);
                size = told;
            }
        }
        index = index.subspan(size);
    }
}

void NtfsFolderNames::look(std::span<const uint8> block, std::size_t from) {
    for (std::size_t at = from; at + IndexEntry::kShortest <= block.size();) {
        const auto entry = IndexEntry::decode(block.subspan(at));
        at += entry ? entry->length : IndexEntry::kStep;
        if (!entry || !entry->isDirectory || entry->nameSpace == ntfs::FileNameValue::Dos)
            continue;
        if (names_.size() == kMostNames)
            return;
        names_.try_emplace(entry->reference,
                           Name{format::wideFromUtf16Le(entry->name), entry->parent,
                                entry->creationTime, entry->modificationTime});
    }
}

} // namespace kova
