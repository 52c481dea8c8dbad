#include "engine/exfat/ExFatSetParser.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace kova {

namespace {

using exfat::DirectoryEntry;
using exfat::FileEntry;
using exfat::StreamEntry;

constexpr std::size_t kEntryBytes = DirectoryEntry::kBytes;

DirectoryEntry entryAt(std::span<const uint8> entries, std::size_t index) {
    return DirectoryEntry(entries.data() + index * kEntryBytes);
}

/// Appends the units of the name entries from `first` on; what is missing of `length` is lost.
void readName(std::span<const uint8> set, std::size_t first, std::size_t length,
              std::u16string& name) {
    const std::size_t count = set.size() / kEntryBytes;
    name.reserve(length);
    for (std::size_t at = first; at < count && name.size() < length; ++at) {
        const DirectoryEntry entry = entryAt(set, at);
        if (entry.kind() != DirectoryEntry::kName)
            break;
        exfat::appendUnits(entry, length, name);
    }
    name.resize(length, ExFatFile::kLostUnit);
}

constexpr std::size_t kAsciiUnits = 128;
constexpr std::size_t kFirstPrintable = 0x20;

constexpr std::array<bool, kAsciiUnits> makeForbiddenUnits() {
    std::array<bool, kAsciiUnits> forbidden{};
    std::fill_n(forbidden.begin(), kFirstPrintable, true);
    for (const char16_t unit : std::u16string_view(u"\"*/:<>\\|"))
        forbidden[unit] = true;
    return forbidden;
}

constexpr std::array<bool, kAsciiUnits> kForbidden = makeForbiddenUnits();

bool isNameAllowed(std::u16string_view name) {
    return std::none_of(name.begin(), name.end(),
                        [](char16_t unit) { return unit < kForbidden.size() && kForbidden[unit]; });
}

} // namespace

ExFatSetParser::Result ExFatSetParser::parse(std::span<const uint8> entries, bool goesOn,
                                             Wanted wanted) const {
    const std::size_t given = entries.size() / kEntryBytes;
    const DirectoryEntry first = entryAt(entries, 0);
    const bool beginsWithFile = first.kind() == DirectoryEntry::kFile;
    if (!beginsWithFile && first.kind() != DirectoryEntry::kStream)
        return {1, std::nullopt};

    // A set whose first entry is gone says by its name's length how long it is.
    const std::size_t length =
        beginsWithFile ? std::size_t{first.bytes()[1]} + 1
                       : 1 + (StreamEntry::decode(first).nameLength + exfat::kNameUnits - 1) /
                                 exfat::kNameUnits;
    std::size_t count = 1;
    while (count < std::min(length, given) && entryAt(entries, count).isSecondary() &&
           entryAt(entries, count).isInUse() == first.isInUse())
        ++count;
    if (count == given && count < length && goesOn)
        return {};

    ExFatFile found;
    found.inUse = first.isInUse();
    std::size_t streamAt = 0;
    if (beginsWithFile) {
        found.hasFileEntry = true;
        found.file = FileEntry::decode(first);
        if (found.inUse && !wanted.liveFiles && !found.isFolder())
            return {count, std::nullopt};
        streamAt = 1;
    }
    if (streamAt >= count || entryAt(entries, streamAt).kind() != DirectoryEntry::kStream)
        return {1, std::nullopt};
    const auto set = entries.first(count * kEntryBytes);
    found.stream = StreamEntry::decode(entryAt(entries, streamAt));
    readName(set, streamAt + 1, found.stream.nameLength, found.name);
    // The checksum takes longest: it is left alone where nothing depends on it.
    const auto isIntact = [&] {
        return beginsWithFile && count == length && found.stream.nameLength != 0 &&
               exfat::setChecksum(set) == found.file.checksum;
    };
    if (!(wanted.damaged && isSane(found)) && !isIntact())
        return {1, std::nullopt};
    return {count, std::move(found)};
}

/// Whether what is left of a damaged set may be believed.
bool ExFatSetParser::isSane(const ExFatFile& file) const {
    const StreamEntry& stream = file.stream;
    if (stream.nameLength == 0 || !stream.reservedIsZero || !isNameAllowed(file.name) ||
        (stream.flags & ~(StreamEntry::kMayAllocate | StreamEntry::kNoFatChain)) != 0 ||
        stream.validLength > stream.dataLength || stream.dataLength > geometry_.heapBytes())
        return false;
    if (file.hasFileEntry && ((file.file.attributes & ~FileEntry::kDefinedAttributes) != 0 ||
                              file.file.modificationTime == 0))
        return false;
    if (stream.dataLength == 0)
        // Nothing in the content would be right or wrong; so its name has to be.
        return upcase_.nameHash(file.name) == stream.nameHash;
    return geometry_.isCluster(stream.firstCluster);
}

} // namespace kova
