#include "engine/content/TiffDirectory.h"

#include <algorithm>
#include <array>

namespace kova {

namespace {

/// Bytes of a value by its type: bytes, text, 16 and 32 bits, fractions, and the signed ones.
constexpr std::array<uint8, 19> kTypeBytes{0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 0, 0, 8, 8, 8};
/// A directory: count of entries (2), these, offset of the next one (4). An entry: tag (2), type
/// (2), count (4), the value or where it lies (4). In BigTIFF all but tag and type have 8 bytes.
constexpr uint64 kEntryHead = 4;
constexpr uint16 kBigMagic = 43;
constexpr uint16 kMostEntries = 4096;
constexpr uint64 kMostText = 256;

} // namespace

uint64 TiffStructure::Entry::bytes() const {
    const bool isKnown = type < kTypeBytes.size();
    return isKnown ? uint64{count} * kTypeBytes[type] : 0;
}

const TiffStructure::Entry* TiffStructure::Directory::find(uint16 tag) const {
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [tag](const Entry& entry) { return entry.tag == tag; });
    return found == entries.end() ? nullptr : &*found;
}

TiffStructure::TiffStructure(ContentReader& reader, uint64 base)
    : reader_(reader), base_(base), isBigEndian_(reader.byte(base) == 'M'), isBig_(false) {
    isBig_ = number(2, 2) == kBigMagic;
}

uint64 TiffStructure::number(uint64 at, std::size_t bytes) {
    const uint64 offset = base_ + at;
    switch (bytes) {
    case 1:
        return reader_.byte(offset);
    case 2:
        return isBigEndian_ ? reader_.be<uint16>(offset) : reader_.le<uint16>(offset);
    case 8:
        return isBigEndian_ ? reader_.be<uint64>(offset) : reader_.le<uint64>(offset);
    default:
        return isBigEndian_ ? reader_.be<uint32>(offset) : reader_.le<uint32>(offset);
    }
}

std::optional<TiffStructure::Directory> TiffStructure::directory(uint64 at) {
    const std::size_t width = isBig_ ? 8 : 4;
    const std::size_t countBytes = isBig_ ? 8 : 2;
    const uint64 count = number(at, countBytes);
    if (count == 0 || count > kMostEntries)
        return std::nullopt;
    Directory directory;
    uint64 entryAt = at + countBytes;
    for (uint64 i = 0; i < count; ++i, entryAt += kEntryHead + 2 * width) {
        Entry entry{static_cast<uint16>(number(entryAt, 2)),
                    static_cast<uint16>(number(entryAt + 2, 2)),
                    static_cast<uint32>(std::min<uint64>(number(entryAt + 4, width), UINT32_MAX)),
                    entryAt + kEntryHead + width};
        entry.isInside = entry.bytes() <= width;
        if (!entry.isInside)
            entry.at = number(entry.at, width);
        directory.entries.push_back(entry);
    }
    directory.end = entryAt + width;
    directory.next = number(entryAt, width);
    return directory;
}

uint64 TiffStructure::value(const Entry& entry, uint32 index) {
    const std::size_t bytes = entry.type < kTypeBytes.size() ? kTypeBytes[entry.type] : 0;
    if (index >= entry.count || bytes == 0)
        fail();
    return number(entry.at + uint64{index} * bytes, bytes);
}

std::string TiffStructure::text(const Entry& entry) {
    std::string text = reader_.text(base_ + entry.at, std::min<uint64>(entry.bytes(), kMostText));
    text.resize(std::min(text.find('\0'), text.size()));
    return text;
}

} // namespace kova
