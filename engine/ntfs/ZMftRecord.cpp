#include "engine/ntfs/ZMftRecord.h"

#include "engine/ZMemoryStream.h"
#include "engine/ntfs/ZNtfsVolume.h"
#include "format/WideText.h"

#include <cstring>

namespace kova {

namespace {

using ntfs::AttributeHeader;
using ntfs::AttributeListEntry;
using ntfs::RecordHeader;

/// The longest $ATTRIBUTE_LIST there is.
constexpr int64 kLongestAttributeList = 0x40000;

} // namespace

ZMftRecord::ZMftRecord(ZNtfsVolume* volume, int64 number) : volume_(volume), number_(number) {
    ntfs::RecordBuffer& base = buffers_.emplace_back();
    // A record whose fixups do not fit its size is used as read.
    static_cast<void>(volume_->readMftRecord(number, base, ZNtfsVolume::needsRunList(number)));
    if (readLe<uint64>(base, RecordHeader::kBaseRecord) != 0)
        fail();
}

ntfs::RecordBuffer& ZMftRecord::readExtension(int64 number) {
    volume_->spend(volume_->recordSize());
    const auto known = extensions_.find(number);
    if (known != extensions_.end())
        return *known->second;
    ntfs::RecordBuffer& buffer = buffers_.emplace_back();
    static_cast<void>(volume_->readMftRecord(number, buffer, true));
    extensions_.emplace(number, &buffer);
    return buffer;
}

void ZMftRecord::parseAttributes() {
    const ntfs::RecordBuffer& base = buffers_.front();
    ZAttribute* list = nullptr;
    bool hasList = false;
    std::size_t at = readLe<uint16>(base, RecordHeader::kFirstAttribute);
    while (true) {
        const AttributeHeader header(base, at);
        const uint32 type = header.type();
        if (type == ntfs::kEndOfAttributes)
            break;
        ZAttribute attribute(volume_, {header, &base});
        if (attribute.isValid())
            attributes_.push_back(std::move(attribute));
        if (type == ntfs::kAttributeList) {
            if (hasList)
                fail();
            hasList = true;
            list = attributes_.empty() ? nullptr : &attributes_.back();
        }
        const uint32 length = header.length();
        if (length == 0 || length >= base.size() - at)
            fail();
        at += length;
    }
    if (list == nullptr)
        return;

    if (list->dataSize() > kLongestAttributeList)
        fail();
    ZMemoryStream content;
    list->readTo(content);
    attributeList_ = std::move(content.bytes());
    volume_->spend(attributeList_.size());
    if (!isAttributeListValid())
        attributeList_.clear();
}

bool ZMftRecord::isAttributeListValid() const {
    std::size_t at = 0;
    while (at < attributeList_.size()) {
        const auto entry = AttributeListEntry::decode(attributeList_, at);
        if (entry.length == 0)
            break;
        const bool sane = entry.id <= ntfs::kHighestAttributeId && entry.firstVcn >= 0 &&
                          static_cast<uint64>(entry.firstVcn) <= volume_->totalClusters() &&
                          entry.type <= ntfs::kHighestListedType &&
                          entry.type % ntfs::kTypeStep == 0 &&
                          entry.nameOffset + entry.nameLength <= entry.length &&
                          entry.record <= volume_->recordCount();
        if (!sane)
            return false;
        at += entry.length;
    }
    return true;
}

ZAttribute* ZMftRecord::findAttribute(uint32 type, uint32 index, const std::wstring* name) {
    if (attributes_.empty())
        parseAttributes();
    uint32 left = index;
    for (ZAttribute& attribute : attributes_) {
        if (attribute.type() != type || (name != nullptr && attribute.getName() != *name))
            continue;
        if (left == 0)
            return &attribute;
        --left;
    }
    return findListed(type, index, name);
}

ZAttribute* ZMftRecord::findListed(uint32 type, uint32 index, const std::wstring* name) {
    if (attributeList_.empty())
        return nullptr;
    volume_->spend(attributeList_.size());
    const bool strict = volume_->scanOptions().wholeFiles;
    ZAttribute* result = nullptr;
    int64 lastRecord = -1;
    uint32 sameRecord = 0;
    AttributeListEntry entry;
    for (std::size_t at = 0; at < attributeList_.size(); at += entry.length) {
        entry = AttributeListEntry::decode(attributeList_, at);
        if (entry.length == 0)
            return result;
        const auto wanted = [&] {
            return entry.type == type &&
                   (name == nullptr ||
                    format::wideFromUtf16Le(entry.name(attributeList_, at)) == *name);
        };
        const auto record = static_cast<int64>(entry.record);
        const bool isFirstExtent = entry.firstVcn == 0;
        if (isFirstExtent) {
            if (result != nullptr)
                return result;
            if (!wanted())
                continue;
            sameRecord = record == lastRecord ? sameRecord + 1 : 0;
            lastRecord = record;
            if (index != 0) {
                --index;
                continue;
            }
        } else if (strict && (result == nullptr || !wanted())) {
            continue;
        }
        const ntfs::RecordBuffer& buffer = readExtension(record);
        ZAttribute::Part part;
        if (strict && record != number_ && !isExtensionOfThis(buffer))
            continue;
        if (!findInExtension(buffer, type, sameRecord, name, part))
            continue;
        if (isFirstExtent)
            result = &attributes_.emplace_back(volume_, part);
        else if (!attributes_.empty())
            attributes_.back().addPart(part);
    }
    return result;
}

bool ZMftRecord::findInExtension(const ntfs::RecordBuffer& record, uint32 type, uint32 index,
                                 const std::wstring* name, ZAttribute::Part& found) const {
    std::size_t at = readLe<uint16>(record, RecordHeader::kFirstAttribute);
    while (at < record.size()) {
        const AttributeHeader header(record, at);
        if (header.type() == ntfs::kEndOfAttributes)
            return false;
        if (header.type() == type) {
            found = {header, &record};
            // Further occurrences are not told apart: the first one stands for each of them.
            if (name == nullptr || ZAttribute(volume_, found).getName() == *name)
                return true;
        }
        if (header.length() == 0)
            fail();
        at += header.length();
    }
    static_cast<void>(index);
    throw EOutOfRange{};
}

bool ZMftRecord::isExtensionOfThis(const ntfs::RecordBuffer& record) const {
    const auto base = readLe<uint64>(record, RecordHeader::kBaseRecord) & ntfs::kRecordNumberMask;
    return base == static_cast<uint64>(number_);
}

ZAttribute* ZMftRecord::findData() {
    if (!volume_->scanOptions().wholeFiles)
        return findAttribute(ntfs::kData);
    static const std::wstring unnamed;
    ZAttribute* data = findAttribute(ntfs::kData, 0, &unnamed);
    if (data == nullptr)
        return findAttribute(ntfs::kData);
    completeExtents(*data);
    return data;
}

void ZMftRecord::completeExtents(ZAttribute& attribute,
                                 const std::function<void(const ZAttribute::Part&)>& found) {
    if (attributeList_.empty() || attribute.isResident() || attribute.partCount() > 1)
        return;
    volume_->spend(attributeList_.size());
    AttributeListEntry entry;
    for (std::size_t at = 0; at < attributeList_.size(); at += entry.length) {
        entry = AttributeListEntry::decode(attributeList_, at);
        if (entry.length == 0)
            return;
        if (entry.type != attribute.type() || entry.firstVcn == 0 ||
            format::wideFromUtf16Le(entry.name(attributeList_, at)) != attribute.getName())
            continue;
        const ntfs::RecordBuffer& buffer = readExtension(static_cast<int64>(entry.record));
        ZAttribute::Part part;
        if (!isExtensionOfThis(buffer) ||
            !findInExtension(buffer, entry.type, 0, &attribute.getName(), part) ||
            part.header.isResident() || part.header.firstVcn() != entry.firstVcn)
            continue;
        attribute.addPart(part);
        if (found)
            found(part);
    }
}

uint16 ZMftRecord::flags() const {
    return readLe<uint16>(buffers_.front(), RecordHeader::kFlags);
}

bool ZMftRecord::isInUse() const {
    return (flags() & RecordHeader::kInUse) != 0;
}

bool ZMftRecord::isDirectory() {
    ntfs::StandardInformation info;
    if (!readStandardInformation(info))
        return false;
    return (flags() & RecordHeader::kDirectory) != 0 ||
           (info.fileAttributes & ntfs::StandardInformation::kDirectory) != 0;
}

bool ZMftRecord::readStandardInformation(ntfs::StandardInformation& out) {
    const ZAttribute* attribute = findAttribute(ntfs::kStandardInformation);
    if (attribute == nullptr)
        return false;
    if (!attribute->isResident())
        throw ZAttribute::EInvalid{};
    const auto& header = attribute->part(0).header;
    out =
        ntfs::StandardInformation::decode(header.bytes(header.valueOffset(), header.valueLength()));
    return true;
}

const std::wstring& ZMftRecord::fileName() {
    if (!name_.empty() || chooseName(false) || !volume_->scanOptions().posixNames)
        return name_;
    chooseName(true);
    return name_;
}

int64 ZMftRecord::parentReference() {
    if (parentRef_ == -1)
        static_cast<void>(fileName());
    return parentRef_;
}

/// Takes the first fitting name: a POSIX one, or one that Windows shows. Those in the base record
/// come first, then those that the attribute list leads to.
bool ZMftRecord::chooseName(bool posix) {
    if (attributes_.empty())
        parseAttributes();
    uint32 index = 0;
    for (ZAttribute& attribute : attributes_) {
        if (attribute.type() != ntfs::kFileName)
            continue;
        if (takeName(attribute, posix))
            return true;
        ++index;
    }
    while (ZAttribute* attribute = findListed(ntfs::kFileName, index++, nullptr)) {
        if (takeName(*attribute, posix))
            return true;
    }
    return false;
}

bool ZMftRecord::takeName(ZAttribute& attribute, bool posix) {
    ZMemoryStream content;
    std::span<const uint8> bytes;
    if (attribute.isResident()) {
        bytes = attribute.residentValue();
    } else {
        attribute.readTo(content, ntfs::FileNameValue::kLongest);
        bytes = content.bytes();
    }
    const auto value = ntfs::FileNameValue::decode(bytes);
    const bool fits = posix ? value.nameSpace == ntfs::FileNameValue::Posix
                            : value.nameSpace == ntfs::FileNameValue::Win32 ||
                                  value.nameSpace == ntfs::FileNameValue::Win32AndDos;
    if (!fits)
        return false;
    name_ = format::wideFromUtf16Le(value.name);
    parentRef_ = value.parent;
    return true;
}

} // namespace kova
