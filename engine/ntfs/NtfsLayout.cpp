#include "engine/ntfs/NtfsLayout.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace kova::ntfs {

bool isSameRecord(uint16 referred, uint16 sequence, bool inUse) {
    if (referred == 0 || referred == sequence)
        return true;
    // 0 is no sequence number: after the highest comes 1.
    const auto next = static_cast<uint16>(referred + 1);
    return !inUse && sequence == (next == 0 ? 1 : next);
}

bool applyTrueFixups(std::span<uint8> record) {
    constexpr std::size_t kStride = RecordHeader::kFixupStride;
    const std::size_t offset = readLe<uint16>(record, RecordHeader::kFixupOffset);
    const std::size_t count = readLe<uint16>(record, RecordHeader::kFixupCount);
    const std::size_t strides = record.size() / kStride;
    if (count != strides + 1 || offset + 2 * count > kStride - 2)
        return false;
    const auto number = readLe<uint16>(record, offset);
    for (std::size_t i = 1; i <= strides; ++i) {
        uint8* const word = record.data() + i * kStride - sizeof(uint16);
        if (loadLe<uint16>(word) != number)
            return false;
        storeLe(word, readLe<uint16>(record, offset + 2 * i));
    }
    return true;
}

std::optional<IndexEntry> IndexEntry::decode(std::span<const uint8> bytes) {
    constexpr std::size_t kValue = 0x10;
    constexpr std::size_t kName = 0x52;
    constexpr uint32 kDirectory = 0x10000000;
    constexpr std::size_t kSubnodeBytes = 8;
    if (bytes.size() < kShortest)
        return std::nullopt;
    IndexEntry entry;
    entry.length = readLe<uint16>(bytes, 0x08);
    const std::size_t nameBytes = std::size_t{2} * readLe<uint8>(bytes, 0x50);
    const std::size_t valueBytes = kName - kValue + nameBytes;
    const std::size_t wanted = (kValue + valueBytes + kStep - 1) / kStep * kStep;
    const bool hasSubnode = (readLe<uint16>(bytes, 0x0C) & 1) != 0;
    if (nameBytes == 0 || readLe<uint16>(bytes, 0x0A) != valueBytes ||
        entry.length != wanted + (hasSubnode ? kSubnodeBytes : 0) || entry.length > bytes.size())
        return std::nullopt;
    entry.reference = readLe<uint64>(bytes, 0x00);
    entry.parent = readLe<uint64>(bytes, kValue);
    entry.creationTime = readLe<int64>(bytes, 0x18);
    entry.modificationTime = readLe<int64>(bytes, 0x20);
    entry.size = readLe<int64>(bytes, 0x40);
    entry.isDirectory = (readLe<uint32>(bytes, 0x48) & kDirectory) != 0;
    entry.nameSpace = readLe<uint8>(bytes, 0x51);
    entry.name = bytes.subspan(kName, nameBytes);
    const bool isPlausible = entry.nameSpace <= FileNameValue::Win32AndDos && entry.size >= 0 &&
                             sequenceOf(entry.reference) != 0 && sequenceOf(entry.parent) != 0;
    return isPlausible ? std::optional(entry) : std::nullopt;
}

AttributeHeader::AttributeHeader(std::span<const uint8> record, std::size_t offset) {
    if (offset >= record.size())
        fail();
    bytes_ = record.subspan(offset);
}

std::span<const uint8> AttributeHeader::bytes() const {
    return bytes(0, length());
}

std::span<const uint8> AttributeHeader::bytes(std::size_t offset, std::size_t count) const {
    if (offset > bytes_.size() || bytes_.size() - offset < count)
        fail();
    return bytes_.subspan(offset, count);
}

StandardInformation StandardInformation::decode(std::span<const uint8> value) {
    std::array<uint8, kSize> block{};
    std::copy_n(value.begin(), std::min(value.size(), kSize), block.begin());
    StandardInformation info;
    info.creationTime = readLe<int64>(block, 0x00);
    info.modificationTime = readLe<int64>(block, 0x08);
    info.accessTime = readLe<int64>(block, 0x18);
    info.fileAttributes = readLe<uint32>(block, 0x20);
    return info;
}

FileNameValue FileNameValue::decode(std::span<const uint8> value) {
    constexpr std::size_t kNameLength = 0x40;
    constexpr std::size_t kName = 0x42;
    FileNameValue fileName;
    const auto reference = readLe<uint64>(value, 0x00);
    fileName.parent = static_cast<int64>(reference & kRecordNumberMask);
    fileName.parentSequence = sequenceOf(reference);
    fileName.dataSize = readLe<int64>(value, 0x38);
    fileName.nameSpace = readLe<uint8>(value, 0x41);
    const std::size_t nameBytes = std::size_t{2} * readLe<uint8>(value, kNameLength);
    if (value.size() - kName < nameBytes)
        fail();
    fileName.name = value.subspan(kName, nameBytes);
    return fileName;
}

ReparsePoint ReparsePoint::decode(std::span<const uint8> value) {
    ReparsePoint point;
    point.tag = readLe<uint32>(value, 0x00);
    constexpr std::size_t kProvider = 0x0C; // u32, behind a version
    constexpr std::size_t kPacking = 0x14;  // u32, behind another one
    constexpr uint32 kBesideTheFile = 2;    // The other provider keeps content in system images.
    if (point.tag != kPackedSystemFile || value.size() < kPacking + sizeof(uint32) ||
        readLe<uint32>(value, kProvider) != kBesideTheFile)
        return point;
    constexpr ReparsePoint::Packing kPackings[] = {Packing::Xpress4K, Packing::Lzx,
                                                   Packing::Xpress8K, Packing::Xpress16K};
    const auto packing = readLe<uint32>(value, kPacking);
    if (packing < std::size(kPackings))
        point.packing = kPackings[packing];
    return point;
}

AttributeListEntry AttributeListEntry::decode(std::span<const uint8> list, std::size_t offset) {
    if (offset > list.size())
        fail();
    const auto bytes = list.subspan(offset);
    AttributeListEntry entry;
    entry.length = readLe<uint16>(bytes, 0x04);
    if (entry.length == 0)
        return entry;
    entry.type = readLe<uint32>(bytes, 0x00);
    entry.nameLength = readLe<uint8>(bytes, 0x06);
    entry.nameOffset = readLe<uint8>(bytes, 0x07);
    entry.firstVcn = readLe<int64>(bytes, 0x08);
    entry.record = readLe<uint64>(bytes, 0x10) & kRecordNumberMask;
    entry.id = readLe<uint16>(bytes, 0x18);
    return entry;
}

std::span<const uint8> AttributeListEntry::name(std::span<const uint8> list,
                                                std::size_t offset) const {
    const std::size_t start = offset + nameOffset;
    const std::size_t bytes = std::size_t{2} * nameLength;
    if (start > list.size() || list.size() - start < bytes)
        fail();
    return list.subspan(start, bytes);
}

} // namespace kova::ntfs
