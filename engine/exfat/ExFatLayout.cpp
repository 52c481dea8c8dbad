#include "engine/exfat/ExFatLayout.h"

#include "format/DosTime.h"
#include "format/FileTime.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace kova::exfat {

namespace {

constexpr std::size_t kPercentInUse = 112; // u8

constexpr std::size_t kSetChecksum = 2; // u16, in the file entry

/// Whether an entry does not say how far its clock was ahead of UTC.
bool isLocal(uint8 utcOffset) {
    constexpr uint8 kOffsetIsValid = 0x80;
    return (utcOffset & kOffsetIsValid) == 0;
}

/// A time as an entry holds it: a DOS time (low half) and date, up to two seconds more in steps
/// of 10 ms, and, in steps of a quarter of an hour, how far its clock was ahead of UTC.
int64 fileTime(uint32 stamp, uint8 tenMilliseconds, uint8 utcOffset) {
    constexpr uint8 kMostTenMilliseconds = 199;
    constexpr int64 kOffsetStep = int64{15} * 60 * format::kFileTimeTicksPerSecond;
    constexpr int kOffsetValues = 0x80;
    int64 time =
        format::fileTimeFromDos(static_cast<uint16>(stamp >> 16U), static_cast<uint16>(stamp));
    if (time == 0)
        return 0;
    if (tenMilliseconds <= kMostTenMilliseconds)
        time += 10 * format::kFileTimeTicksPerMillisecond * tenMilliseconds;
    if (!isLocal(utcOffset)) {
        int quarters = utcOffset & (kOffsetValues - 1);
        if (quarters >= kOffsetValues / 2)
            quarters -= kOffsetValues;
        time -= kOffsetStep * quarters;
    }
    return time;
}

} // namespace

bool isRegionWhole(std::span<const uint8> region, uint32 sectorBytes) {
    if (region.size() != std::size_t{sectorBytes} * BootSector::kRegionSectors)
        return false;
    const std::size_t summed = region.size() - sectorBytes;
    uint32 sum = 0;
    for (std::size_t i = 0; i < summed; ++i) {
        if (i != BootSector::kVolumeFlags && i != BootSector::kVolumeFlags + 1 &&
            i != kPercentInUse)
            sum = (sum >> 1 | sum << 31) + region[i];
    }
    for (std::size_t at = summed; at < region.size(); at += sizeof sum) {
        if (loadLe<uint32>(region.data() + at) != sum)
            return false;
    }
    return true;
}

bool DirectoryEntry::isDefined() const {
    if (type() == kEnd)
        return true;
    switch (kind()) {
    case kBitmap:
    case kUpcaseTable:
    case kLabel:
    case kFile:
    case 0x20: // the volume's GUID
    case 0x21: // padding of TexFAT
    case kStream:
    case kName:
    case 0x60: // vendors' own
    case 0x61:
    case 0x62: // access control of Windows CE
        return true;
    default:
        return false;
    }
}

FileEntry FileEntry::decode(DirectoryEntry entry) {
    const uint8* const bytes = entry.bytes();
    FileEntry file;
    file.secondaryCount = bytes[1];
    file.checksum = loadLe<uint16>(bytes + kSetChecksum);
    file.attributes = loadLe<uint16>(bytes + 4);
    file.creationTime = fileTime(loadLe<uint32>(bytes + 8), bytes[20], bytes[22]);
    file.modificationTime = fileTime(loadLe<uint32>(bytes + 12), bytes[21], bytes[23]);
    file.accessTime = fileTime(loadLe<uint32>(bytes + 16), 0, bytes[24]);
    file.isCreationLocal = isLocal(bytes[22]);
    file.isModificationLocal = isLocal(bytes[23]);
    file.isAccessLocal = isLocal(bytes[24]);
    return file;
}

void FileEntry::tellInUtc(platform::LocalTimes& localTimes) {
    const std::pair<bool*, int64*> times[] = {{&isCreationLocal, &creationTime},
                                              {&isModificationLocal, &modificationTime},
                                              {&isAccessLocal, &accessTime}};
    for (const auto& [isLocal, time] : times) {
        if (std::exchange(*isLocal, false))
            *time = localTimes.toUtc(*time);
    }
}

StreamEntry StreamEntry::decode(DirectoryEntry entry) {
    const uint8* const bytes = entry.bytes();
    StreamEntry stream;
    stream.flags = bytes[1];
    stream.nameLength = bytes[3];
    stream.nameHash = loadLe<uint16>(bytes + 4);
    stream.validLength = loadLe<uint64>(bytes + 8);
    stream.firstCluster = loadLe<uint32>(bytes + 20);
    stream.dataLength = loadLe<uint64>(bytes + 24);
    stream.reservedIsZero =
        bytes[2] == 0 && loadLe<uint16>(bytes + 6) == 0 && loadLe<uint32>(bytes + 16) == 0;
    return stream;
}

void appendUnits(DirectoryEntry entry, std::size_t length, std::u16string& name) {
    std::array<char16_t, kNameUnits> units{};
    for (std::size_t i = 0; i < units.size(); ++i)
        units[i] = loadLe<char16_t>(entry.bytes() + 2 + 2 * i);
    name.append(units.data(), std::min(units.size(), length - std::min(length, name.size())));
}

std::optional<std::u16string> labelIn(DirectoryEntry entry) {
    constexpr std::size_t kMostUnits = 11;
    const std::size_t units = entry.bytes()[1];
    if (entry.kind() != DirectoryEntry::kLabel || units == 0 || units > kMostUnits)
        return std::nullopt;
    std::u16string label;
    appendUnits(entry, units, label);
    return label;
}

uint16 setChecksum(std::span<const uint8> set) {
    uint16 sum = 0;
    const auto add = [&sum](uint8 byte) { sum = static_cast<uint16>(std::rotr(sum, 1) + byte); };
    for (std::size_t at = 0; at < set.size(); at += DirectoryEntry::kBytes) {
        const auto entry = set.subspan(at, std::min(DirectoryEntry::kBytes, set.size() - at));
        add(entry[0] | DirectoryEntry::kInUse);
        std::size_t from = 1;
        if (at == 0) {
            add(entry[1]);
            from = kSetChecksum + sizeof(uint16);
        }
        for (const uint8 byte : entry.subspan(from))
            add(byte);
    }
    return sum;
}

TableEntry TableEntry::decode(DirectoryEntry entry) {
    const uint8* const bytes = entry.bytes();
    TableEntry table;
    table.isSecond = (bytes[1] & 1U) != 0;
    table.checksum = loadLe<uint32>(bytes + 4);
    table.firstCluster = loadLe<uint32>(bytes + 20);
    table.bytes = loadLe<uint64>(bytes + 24);
    return table;
}

} // namespace kova::exfat
