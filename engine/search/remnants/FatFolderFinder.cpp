#include "engine/search/remnants/FatFolderFinder.h"

#include <algorithm>
#include <string_view>

namespace kova {

namespace {

constexpr std::size_t kEntries = BlockFinder::kStep / FatDirectoryEntry::kBytes;
constexpr std::string_view kSelf = ".          ";
constexpr std::string_view kAbove = "..         ";

bool isNamed(const FatDirectoryEntry& entry, std::string_view name) {
    const auto bytes = entry.name();
    return std::equal(bytes.begin(), bytes.end(), name.begin(),
                      [](uint8 byte, char c) { return byte == static_cast<uint8>(c); });
}

bool isShortNameByte(uint8 byte) {
    constexpr std::string_view kForbidden = "\"*+,./:;<=>?[\\]|";
    return byte >= ' ' && byte != 0x7F && !(byte >= 'a' && byte <= 'z') &&
           kForbidden.find(static_cast<char>(byte)) == std::string_view::npos;
}

bool isPlausibleShort(const FatDirectoryEntry& entry) {
    const auto name = entry.name();
    const bool nameFits = std::all_of(name.begin() + 1, name.end(), isShortNameByte) &&
                          (isShortNameByte(entry.firstByte()) || !entry.exists() ||
                           entry.firstByte() == FatDirectoryEntry::kEscapedE5);
    const bool sizeFits = !entry.isDirectory() || entry.size() == 0;
    return nameFits && sizeFits && name[0] != ' ' &&
           entry.attributes() <= FatDirectoryEntry::kDefinedAttributes && entry.hasClusterOfFat();
}

bool isPlausibleLong(const uint8* bytes) {
    constexpr uint8 kHighestOrder = 0x40 | 20;
    const uint8 order = bytes[0];
    const bool orderFits =
        order == FatDirectoryEntry::kDeletedMark || (order <= kHighestOrder && (order & 0x3F) != 0);
    return orderFits && FatLongNameEntry(bytes).firstCluster() == 0 && bytes[12] == 0;
}

/// Whether a sector holds entries up to its end, or up to the mark of a folder's end with zeros
/// behind it; one at least.
bool holdsEntries(std::span<const uint8> sector) {
    std::size_t shorts = 0;
    std::size_t i = 0;
    for (; i < kEntries; ++i) {
        const uint8* const bytes = sector.data() + i * FatDirectoryEntry::kBytes;
        const FatDirectoryEntry entry(bytes);
        if (entry.firstByte() == FatDirectoryEntry::kEndMark)
            break;
        if (entry.isLongName() ? !isPlausibleLong(bytes) : !isPlausibleShort(entry))
            return false;
        shorts += entry.isLongName() ? 0U : 1U;
    }
    const auto rest = sector.subspan(i * FatDirectoryEntry::kBytes);
    return shorts > 0 &&
           std::all_of(rest.begin(), rest.end(), [](uint8 byte) { return byte == 0; });
}

} // namespace

void FatFolderFinder::look(uint64 position, std::span<const uint8> bytes, std::size_t fresh) {
    for (std::size_t at = 0; at + kStep <= fresh; at += kStep) {
        const auto sector = bytes.subspan(at, kStep);
        if (!mayHold(sector))
            continue;
        const FatDirectoryEntry first(sector.data());
        const FatDirectoryEntry second(sector.data() + FatDirectoryEntry::kBytes);
        if (isNamed(first, kSelf) && first.isDirectory() && isNamed(second, kAbove) &&
            second.isDirectory()) {
            keepPlace(position + at, kStep);
            folders_.push_back({position + at, first.firstCluster(), second.firstCluster()});
        } else if (holdsEntries(sector)) {
            addEntries(position + at);
        }
    }
}

void FatFolderFinder::addEntries(uint64 position) {
    keepPlace(position, kStep);
    if (!entries_.empty() && entries_.back().end == position)
        entries_.back().end += kStep;
    else
        entries_.push_back({position, position + kStep});
}

} // namespace kova
