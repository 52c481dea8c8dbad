#include "tests/support/NtfsBuilder.h"

#include "engine/LittleEndian.h"
#include "engine/ntfs/NtfsLayout.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string_view>

namespace kova::test {

namespace {

constexpr std::size_t kFirstFixup = 0x30;
constexpr std::size_t kResidentHeader = 0x18;
constexpr std::size_t kNonResidentHeader = 0x40;

std::size_t align8(std::size_t value) {
    return (value + 7) & ~std::size_t{7};
}

std::vector<uint8> utf16Bytes(const std::u16string& text) {
    std::vector<uint8> bytes(2 * text.size());
    if (!bytes.empty())
        std::memcpy(bytes.data(), text.data(), bytes.size());
    return bytes;
}

std::size_t bytesFor(int64 value) {
    std::size_t count = 1;
    while (count < 8 &&
           (value < -(int64{1} << (8 * count - 1)) || value >= (int64{1} << (8 * count - 1))))
        ++count;
    return count;
}

} // namespace

RecordBuilder::RecordBuilder(uint32 recordSize)
    : record_(recordSize), end_(align8(kFirstFixup + 2 * (recordSize / 512 + 1))) {
    std::memcpy(record_.data(), "FILE", 4);
    storeLe<uint16>(&record_[0x04], kFirstFixup);
    storeLe<uint16>(&record_[0x06], static_cast<uint16>(recordSize / 512 + 1));
    storeLe<uint16>(&record_[0x10], 1);
    storeLe<uint16>(&record_[0x14], static_cast<uint16>(end_));
    storeLe<uint32>(&record_[0x1C], recordSize);
}

RecordBuilder& RecordBuilder::flags(uint16 value) {
    storeLe<uint16>(&record_[0x16], value);
    return *this;
}

RecordBuilder& RecordBuilder::base(uint64 reference) {
    storeLe<uint64>(&record_[0x20], reference);
    return *this;
}

void RecordBuilder::append(uint32 type, std::vector<uint8> header,
                           const std::vector<uint8>& content, const std::u16string& name) {
    const std::size_t nameOffset = header.size();
    const auto nameBytes = utf16Bytes(name);
    const std::size_t contentOffset = align8(nameOffset + nameBytes.size());
    std::vector<uint8> attribute = std::move(header);
    attribute.resize(align8(contentOffset + content.size()));
    std::copy(nameBytes.begin(), nameBytes.end(),
              attribute.begin() + static_cast<std::ptrdiff_t>(nameOffset));
    std::copy(content.begin(), content.end(),
              attribute.begin() + static_cast<std::ptrdiff_t>(contentOffset));
    storeLe<uint32>(&attribute[0x00], type);
    storeLe<uint32>(&attribute[0x04], static_cast<uint32>(attribute.size()));
    attribute[0x09] = static_cast<uint8>(name.size());
    storeLe<uint16>(&attribute[0x0A], static_cast<uint16>(nameOffset));
    storeLe<uint16>(&attribute[0x0E], nextId_++);
    const std::size_t placeOfOffset = attribute[0x08] == 0 ? 0x14 : 0x20;
    storeLe<uint16>(&attribute[placeOfOffset], static_cast<uint16>(contentOffset));
    if (end_ + attribute.size() + 8 > record_.size())
        throw std::length_error("the record is full");
    std::copy(attribute.begin(), attribute.end(),
              record_.begin() + static_cast<std::ptrdiff_t>(end_));
    last_ = end_;
    end_ += attribute.size();
    storeLe<uint32>(&record_[end_], ntfs::kEndOfAttributes);
    storeLe<uint32>(&record_[0x18], static_cast<uint32>(end_ + 8));
}

RecordBuilder& RecordBuilder::standardInformation(int64 time, uint32 fileAttributes) {
    std::vector<uint8> value(ntfs::StandardInformation::kSize);
    for (const unsigned i : {0U, 1U, 2U, 3U})
        storeLe<int64>(&value[8 * i], time == 0 ? 0 : time + i);
    storeLe<uint32>(&value[0x20], fileAttributes);
    return resident(ntfs::kStandardInformation, value);
}

RecordBuilder& RecordBuilder::fileName(int64 parent, const std::u16string& name, uint8 nameSpace) {
    std::vector<uint8> value(0x42);
    storeLe<int64>(&value[0x00], parent | (int64{1} << 48));
    value[0x40] = static_cast<uint8>(name.size());
    value[0x41] = nameSpace;
    const auto nameBytes = utf16Bytes(name);
    value.insert(value.end(), nameBytes.begin(), nameBytes.end());
    return resident(ntfs::kFileName, value);
}

RecordBuilder& RecordBuilder::resident(uint32 type, const std::vector<uint8>& value,
                                       const std::u16string& name) {
    std::vector<uint8> header(kResidentHeader);
    storeLe<uint32>(&header[0x10], static_cast<uint32>(value.size()));
    append(type, std::move(header), value, name);
    return *this;
}

RecordBuilder& RecordBuilder::nonResident(uint32 type, const std::vector<ZDatarun>& runs,
                                          const Extent& extent) {
    int64 clusters = 0;
    for (const ZDatarun& run : runs)
        clusters += run.length;
    std::vector<uint8> header(kNonResidentHeader);
    header[0x08] = 1;
    storeLe<uint16>(&header[0x0C], extent.flags);
    storeLe<int64>(&header[0x10], extent.firstVcn);
    storeLe<int64>(&header[0x18],
                   extent.lastVcn == -2 ? extent.firstVcn + clusters - 1 : extent.lastVcn);
    header[0x22] = extent.compressionUnit;
    storeLe<int64>(&header[0x28], extent.allocatedSize);
    storeLe<int64>(&header[0x30], extent.dataSize);
    storeLe<int64>(&header[0x38],
                   extent.initializedSize < 0 ? extent.dataSize : extent.initializedSize);
    append(type, std::move(header), mappingPairs(runs), extent.name);
    return *this;
}

RecordBuilder& RecordBuilder::data(const std::vector<ZDatarun>& runs, int64 size,
                                   uint32 bytesPerCluster) {
    Extent extent;
    extent.dataSize = size;
    extent.allocatedSize = 0;
    for (const ZDatarun& run : runs)
        extent.allocatedSize += run.length * bytesPerCluster;
    return nonResident(ntfs::kData, runs, extent);
}

std::vector<uint8> RecordBuilder::mappingPairs(const std::vector<ZDatarun>& runs) {
    std::vector<uint8> pairs;
    int64 lcn = 0;
    const auto put = [&pairs](int64 value, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i)
            pairs.push_back(static_cast<uint8>(static_cast<uint64>(value) >> (8 * i)));
    };
    for (const ZDatarun& run : runs) {
        const std::size_t lengthBytes = bytesFor(run.length);
        const bool hole = run.lcn == ZDatarun::Hole;
        const std::size_t offsetBytes = hole ? 0 : bytesFor(run.lcn - lcn);
        pairs.push_back(static_cast<uint8>(lengthBytes | (offsetBytes << 4)));
        put(run.length, lengthBytes);
        if (!hole)
            put(run.lcn - lcn, offsetBytes);
        if (!hole)
            lcn = run.lcn;
    }
    pairs.push_back(0);
    return pairs;
}

std::vector<uint8> RecordBuilder::bytes() const {
    std::vector<uint8> bytes = record_;
    constexpr uint16 kSequence = 0x5A5A;
    const std::size_t fixups = loadLe<uint16>(&bytes[0x04]);
    storeLe<uint16>(&bytes[fixups], kSequence);
    for (std::size_t i = 0; i < bytes.size() / 512; ++i) {
        uint8* word = &bytes[512 * (i + 1) - 2];
        std::memcpy(&bytes[fixups + 2 * (i + 1)], word, 2);
        storeLe<uint16>(word, kSequence);
    }
    return bytes;
}

std::vector<uint8> attributeListEntry(uint32 type, uint64 record, int64 firstVcn, uint16 id) {
    std::vector<uint8> entry(0x20);
    storeLe<uint32>(&entry[0x00], type);
    storeLe<uint16>(&entry[0x04], static_cast<uint16>(entry.size()));
    entry[0x07] = 0x1A;
    storeLe<int64>(&entry[0x08], firstVcn);
    storeLe<uint64>(&entry[0x10], record | (uint64{1} << 48));
    storeLe<uint16>(&entry[0x18], id);
    return entry;
}

NtfsBuilder::NtfsBuilder(Geometry geometry)
    : geometry_(std::move(geometry)), mftExtents_(geometry_.mftExtents),
      bitmap_(geometry_.recordCount / 8 + 8),
      volumeBitmap_(std::min(geometry_.clusters / 8 + 8, geometry_.recordSize / 2)) {
    const int64 mftClusters =
        (int64{geometry_.recordCount} * geometry_.recordSize + bytesPerCluster() - 1) /
        bytesPerCluster();
    if (mftExtents_.empty())
        mftExtents_ = {{4, mftClusters}};
    for (const auto& [lcn, clusters] : mftExtents_)
        firstFreeLcn_ = std::max(firstFreeLcn_, lcn + clusters);
    image_.resize(std::size_t{geometry_.clusters} * bytesPerCluster());
}

std::size_t NtfsBuilder::mftOffset(std::size_t offset) const {
    for (const auto& [lcn, clusters] : mftExtents_) {
        const std::size_t extent = static_cast<std::size_t>(clusters) * bytesPerCluster();
        if (offset < extent)
            return static_cast<std::size_t>(lcn) * bytesPerCluster() + offset;
        offset -= extent;
    }
    throw std::out_of_range("the MFT is too short");
}

NtfsBuilder& NtfsBuilder::put(uint32 number, const std::vector<uint8>& record, bool allocated) {
    records_[number] = record;
    if (allocated)
        bitmap_[number / 8] |= static_cast<uint8>(1 << (number % 8));
    return *this;
}

NtfsBuilder& NtfsBuilder::deletedFile(uint32 number, int64 parent, const std::u16string& name,
                                      const std::string& content) {
    return put(number, newRecord()
                           .standardInformation(1000 + number)
                           .fileName(parent, name)
                           .resident(ntfs::kData, {content.begin(), content.end()}));
}

NtfsBuilder& NtfsBuilder::directory(uint32 number, int64 parent, const std::u16string& name,
                                    bool live) {
    return put(
        number,
        newRecord().flags(live ? 3 : 2).standardInformation(1000 + number).fileName(parent, name),
        live);
}

NtfsBuilder& NtfsBuilder::takeClusters(int64 lcn, int64 count) {
    for (; count > 0; ++lcn, --count) {
        if (const auto byte = static_cast<std::size_t>(lcn / 8); byte < volumeBitmap_.size())
            volumeBitmap_[byte] |= static_cast<uint8>(1 << (lcn % 8));
    }
    return *this;
}

NtfsBuilder& NtfsBuilder::putClusters(int64 lcn, const std::vector<uint8>& bytes) {
    std::copy(bytes.begin(), bytes.end(),
              image_.begin() + static_cast<std::ptrdiff_t>(lcn * bytesPerCluster()));
    return *this;
}

std::vector<uint8> NtfsBuilder::build() {
    uint8* boot = image_.data();
    constexpr std::string_view kOemName = "NTFS    ";
    std::copy(kOemName.begin(), kOemName.end(), boot + 3);
    storeLe<uint16>(boot + 0x0B, static_cast<uint16>(geometry_.bytesPerSector));
    uint32 power = 0;
    while ((1U << power) < geometry_.sectorsPerCluster)
        ++power;
    boot[0x0D] = static_cast<uint8>(geometry_.sectorsPerCluster <= 128 ? geometry_.sectorsPerCluster
                                                                       : 256 - power);
    storeLe<uint64>(boot + 0x28, uint64{geometry_.clusters} * geometry_.sectorsPerCluster);
    storeLe<int64>(boot + 0x30, mftExtents_.front().first);
    power = 0;
    while ((1U << power) < geometry_.recordSize)
        ++power;
    boot[0x40] = static_cast<uint8>(-static_cast<int>(power));
    storeLe<uint16>(boot + 510, 0xAA55);

    if (!records_.contains(5))
        directory(5, 5, u".", true);
    if (!records_.contains(6)) {
        takeClusters(0, 2);
        for (const auto& [lcn, clusters] : mftExtents_)
            takeClusters(lcn, clusters);
        put(6,
            newRecord()
                .flags(1)
                .standardInformation(6)
                .fileName(5, u"$Bitmap", 3)
                .resident(ntfs::kData, volumeBitmap_),
            true);
    }
    for (uint32 number = 0; number < 16; ++number)
        bitmap_[number / 8] |= static_cast<uint8>(1 << (number % 8));
    if (!records_.contains(0)) {
        std::vector<ZDatarun> runs;
        for (const auto& [lcn, clusters] : mftExtents_)
            runs.push_back({0, lcn, clusters});
        put(0,
            newRecord()
                .flags(1)
                .standardInformation(1)
                .fileName(5, u"$MFT", 3)
                .data(runs, int64{geometry_.recordCount} * geometry_.recordSize, bytesPerCluster())
                .resident(ntfs::kBitmap,
                          std::vector<uint8>(bitmap_.begin(),
                                             bitmap_.begin() + geometry_.recordCount / 8)),
            true);
    }
    for (const auto& [number, record] : records_) {
        const std::size_t piece = std::min<std::size_t>(record.size(), bytesPerCluster());
        for (std::size_t at = 0; at < record.size(); at += piece)
            std::copy_n(record.begin() + static_cast<std::ptrdiff_t>(at), piece,
                        image_.begin() + static_cast<std::ptrdiff_t>(mftOffset(
                                             std::size_t{number} * geometry_.recordSize + at)));
    }
    return image_;
}

} // namespace kova::test
