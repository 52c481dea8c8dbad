#include "engine/ntfs/ZMftRecord.h"

#include "engine/ZMemoryStream.h"
#include "engine/ntfs/NtfsContentReader.h"
#include "engine/ntfs/ZNtfsVolume.h"
#include "format/WideText.h"

#include <algorithm>
#include <utility>

namespace kova {

namespace {

using ntfs::AttributeHeader;
using ntfs::AttributeListEntry;
using ntfs::RecordHeader;

/// Of one file, more are not told apart.
constexpr std::size_t kMostStreams = 1000;
/// The longest $ATTRIBUTE_LIST there is.
constexpr int64 kLongestAttributeList = 0x40000;

/// Calls `visit(header)` for the attributes of a record, as far as they make sense, until it
/// answers true.
template <typename Visit>
void visitAttributes(const ntfs::RecordBuffer& record, Visit visit) {
    std::size_t at = readLe<uint16>(record, RecordHeader::kFirstAttribute);
    while (at < record.size() && record.size() - at >= AttributeHeader::kShortest) {
        const AttributeHeader header(record, at);
        const std::size_t length = header.length();
        if (header.type() == ntfs::kEndOfAttributes || length < AttributeHeader::kShortest ||
            length > record.size() - at || visit(header))
            return;
        at += length;
    }
}

/// Gives the value of a resident attribute; false for another, or one that leaves itself.
bool residentValue(const AttributeHeader& header, std::span<const uint8>& value) {
    constexpr std::size_t kHeaderBytes = 0x18;
    if (!header.isResident() || header.length() < kHeaderBytes ||
        uint64{header.valueOffset()} + header.valueLength() > header.length())
        return false;
    value = header.bytes(header.valueOffset(), header.valueLength());
    return true;
}

bool hasName(const AttributeHeader& header, const std::wstring& name) {
    if (header.nameLength() == 0 || name.empty())
        return header.nameLength() == 0 && name.empty();
    const std::size_t offset = header.nameOffset();
    const std::size_t bytes = std::size_t{2} * header.nameLength();
    return offset + bytes <= header.length() &&
           format::wideFromUtf16Le(header.bytes(offset, bytes)) == name;
}

bool isNonResident(const AttributeHeader& header) {
    constexpr std::size_t kHeaderBytes = 0x40;
    return header.nonResidentFlag() == 1 && header.length() >= kHeaderBytes &&
           header.firstVcn() >= 0;
}

/// Takes from a stream's first extent, or only attribute, what it says of the whole.
bool describe(const AttributeHeader& header, NtfsStream& stream) {
    if (residentValue(header, stream.value)) {
        stream.isResident = true;
        stream.isKnown = true;
        stream.size = static_cast<int64>(stream.value.size());
        stream.initializedSize = stream.size;
        return true;
    }
    if (!isNonResident(header) || header.firstVcn() != 0 || header.dataSize() < 0 ||
        header.initializedSize() < 0)
        return false;
    stream.isKnown = true;
    stream.size = header.dataSize();
    stream.initializedSize = header.initializedSize();
    stream.flags = header.flags();
    stream.compressionUnit = header.compressionUnit();
    return true;
}

} // namespace

ZMftRecord::ZMftRecord(ZNtfsVolume* volume, int64 number) : volume_(volume), number_(number) {
    ntfs::RecordBuffer& base = buffers_.emplace_back();
    // A record whose fixups do not fit its size is used as read.
    static_cast<void>(volume_->readMftRecord(number, base, volume_->usesRunList(number)));
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
    ZAttribute* result = nullptr;
    int64 lastRecord = -1;
    uint32 sameRecord = 0;
    AttributeListEntry entry;
    for (std::size_t at = 0; at < attributeList_.size(); at += entry.length) {
        entry = AttributeListEntry::decode(attributeList_, at);
        if (entry.length == 0)
            return result;
        const auto record = static_cast<int64>(entry.record);
        const bool isFirstExtent = entry.firstVcn == 0;
        if (isFirstExtent) {
            if (result != nullptr)
                return result;
            if (entry.type != type || (name != nullptr && format::wideFromUtf16Le(entry.name(
                                                              attributeList_, at)) != *name))
                continue;
            sameRecord = record == lastRecord ? sameRecord + 1 : 0;
            lastRecord = record;
            if (index != 0) {
                --index;
                continue;
            }
        }
        const ntfs::RecordBuffer& buffer = readExtension(record);
        ZAttribute::Part part;
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

uint16 ZMftRecord::flags() const {
    return readLe<uint16>(buffers_.front(), RecordHeader::kFlags);
}

bool ZMftRecord::isInUse() const {
    return (flags() & RecordHeader::kInUse) != 0;
}

bool ZMftRecord::isViewIndex() const {
    return (flags() & RecordHeader::kViewIndex) != 0;
}

bool ZMftRecord::isDirectory() {
    ntfs::StandardInformation info;
    if (!readStandardInformation(info))
        return false;
    return (flags() & RecordHeader::kDirectory) != 0 ||
           (info.fileAttributes & ntfs::StandardInformation::kDirectory) != 0;
}

bool ZMftRecord::readStandardInformation(ntfs::StandardInformation& out) {
    if (isToday()) {
        std::span<const uint8> value;
        visitAttributes(buffers_.front(), [&](const AttributeHeader& header) {
            return header.type() == ntfs::kStandardInformation && residentValue(header, value);
        });
        out = ntfs::StandardInformation::decode(value);
        return !value.empty();
    }
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
    if (isToday()) {
        if (!nameIsChosen_)
            chooseNameToday();
        return name_;
    }
    if (!name_.empty() || chooseName(false) || !volume_->scanOptions().posixNames)
        return name_;
    chooseName(true);
    return name_;
}

std::wstring ZMftRecord::takeFileName() {
    static_cast<void>(fileName());
    return std::move(name_);
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

/// Today's rules.

bool ZMftRecord::isToday() const {
    return volume_->scanOptions().wholeFiles;
}

uint16 ZMftRecord::sequence() const {
    return readLe<uint16>(buffers_.front(), RecordHeader::kSequence);
}

bool ZMftRecord::loadListToday() {
    if (std::exchange(listIsLoaded_, true))
        return !attributeList_.empty();
    NtfsStream list;
    list.type = ntfs::kAttributeList;
    visitAttributes(buffers_.front(), [&](const AttributeHeader& header) {
        return header.type() == ntfs::kAttributeList && describe(header, list);
    });
    if (!list.isKnown)
        return false;
    if (!list.isResident)
        list.extents = {{0, number_}};
    ZMemoryStream content;
    // What is missing of it is zeros, which end the list.
    NtfsContentReader(*volume_, *this, list).read(content, kLongestAttributeList);
    attributeList_ = std::move(content.bytes());
    return !attributeList_.empty();
}

/// Calls `visit(entry, offset)` for the list's entries of one type that may lead somewhere, until
/// it answers true.
template <typename Visit>
void ZMftRecord::visitListed(uint32 type, Visit visit) {
    if (!loadListToday() || !volume_->trySpend(attributeList_.size()))
        return;
    std::size_t at = 0;
    while (attributeList_.size() - at >= AttributeListEntry::kShortest) {
        const auto entry = AttributeListEntry::decode(attributeList_, at);
        if (entry.length < AttributeListEntry::kShortest ||
            entry.length > attributeList_.size() - at)
            return;
        const bool isSane = entry.firstVcn >= 0 && entry.record <= volume_->recordCount() &&
                            entry.nameOffset + 2U * entry.nameLength <= entry.length;
        if (entry.type == type && isSane && visit(entry, at))
            return;
        at += entry.length;
    }
}

/// An extension record; null when it is damaged, or belongs to another file.
const ntfs::RecordBuffer* ZMftRecord::extensionToday(int64 number) {
    if (number == extensionNumber_)
        return extensionIsOurs_ ? &extension_ : nullptr;
    extensionNumber_ = number;
    extensionIsOurs_ = false;
    if (!volume_->trySpend(volume_->recordSize()))
        return nullptr;
    try {
        static_cast<void>(volume_->readMftRecord(number, extension_, true));
        const auto base = readLe<uint64>(extension_, RecordHeader::kBaseRecord);
        extensionIsOurs_ = (base & ntfs::kRecordNumberMask) == static_cast<uint64>(number_) &&
                           ntfs::isSameRecord(ntfs::sequenceOf(base), sequence(), isInUse());
    } catch (int) { // NOLINT(bugprone-empty-catch): it costs what it describes
    }
    return extensionIsOurs_ ? &extension_ : nullptr;
}

AttributeHeader ZMftRecord::extentHeader(int64 record, uint32 type, const std::wstring& name,
                                         int64 firstVcn) {
    AttributeHeader found;
    const ntfs::RecordBuffer* buffer =
        record == number_ ? &buffers_.front() : extensionToday(record);
    if (buffer == nullptr)
        return found;
    visitAttributes(*buffer, [&](const AttributeHeader& header) {
        if (header.type() != type || !hasName(header, name) ||
            (header.isResident() ? firstVcn != 0
                                 : !isNonResident(header) || header.firstVcn() != firstVcn))
            return false;
        found = header;
        return true;
    });
    return found;
}

bool ZMftRecord::findStream(uint32 type, const std::wstring& name, NtfsStream& out) {
    out = {};
    out.type = type;
    out.name = name;
    bool isMentioned = false;
    visitAttributes(buffers_.front(), [&](const AttributeHeader& header) {
        if (header.type() != type || !hasName(header, name))
            return false;
        isMentioned = true;
        if (!out.isKnown)
            describe(header, out);
        if (!out.isResident && isNonResident(header))
            out.extents.push_back({header.firstVcn(), number_});
        return out.isResident;
    });
    if (out.isResident)
        return true;
    visitListed(type, [&](const AttributeListEntry& entry, std::size_t at) {
        if (format::wideFromUtf16Le(entry.name(attributeList_, at)) != name)
            return false;
        isMentioned = true;
        if (static_cast<int64>(entry.record) != number_)
            out.extents.push_back({entry.firstVcn, static_cast<int64>(entry.record)});
        return false;
    });
    // Of two that begin alike, the one in the base record comes first.
    std::stable_sort(out.extents.begin(), out.extents.end(),
                     [](const auto& a, const auto& b) { return a.firstVcn < b.firstVcn; });
    if (!out.isKnown && !out.extents.empty() && out.extents.front().firstVcn == 0) {
        const auto header = extentHeader(out.extents.front().record, type, name, 0);
        if (!header.isMissing())
            describe(header, out);
    }
    if (!out.isKnown && !out.extents.empty() && type == ntfs::kData && name.empty()) {
        // Its first extent is lost: as long as the name says, the others stand where they were.
        static_cast<void>(fileName());
        out.size = out.initializedSize = std::max<int64>(sizeByName_, 0);
        out.isKnown = out.size > 0;
    }
    return isMentioned;
}

std::vector<std::wstring> ZMftRecord::streamNames() {
    std::vector<std::wstring> names;
    const auto add = [&](std::span<const uint8> utf16) {
        std::wstring name = format::wideFromUtf16Le(utf16);
        if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end())
            names.push_back(std::move(name));
        return names.size() >= kMostStreams;
    };
    visitAttributes(buffers_.front(), [&](const AttributeHeader& header) {
        const std::size_t bytes = std::size_t{2} * header.nameLength();
        return header.type() == ntfs::kData && header.nameOffset() + bytes <= header.length() &&
               add(header.bytes(header.nameOffset(), bytes));
    });
    visitListed(ntfs::kData, [&](const AttributeListEntry& entry, std::size_t at) {
        return entry.firstVcn == 0 && add(entry.name(attributeList_, at));
    });
    return names;
}

ntfs::ReparsePoint ZMftRecord::reparsePoint() {
    NtfsStream point;
    if (!findStream(ntfs::kReparsePoint, {}, point) || point.value.size() < sizeof(uint32))
        return {};
    return ntfs::ReparsePoint::decode(point.value);
}

/// The first name that Windows shows, else the first POSIX one, in the base record before those
/// that the attribute list leads to.
void ZMftRecord::chooseNameToday() {
    nameIsChosen_ = true;
    bool isFinal = false;
    const auto consider = [&](const AttributeHeader& header) {
        std::span<const uint8> value;
        isFinal =
            header.type() == ntfs::kFileName && residentValue(header, value) && considerName(value);
        return isFinal;
    };
    visitAttributes(buffers_.front(), consider);
    if (isFinal)
        return;
    int64 last = number_;
    visitListed(ntfs::kFileName, [&](const AttributeListEntry& entry, std::size_t /*at*/) {
        const auto record = static_cast<int64>(entry.record);
        if (record == number_ || record == std::exchange(last, record))
            return false;
        if (const ntfs::RecordBuffer* buffer = extensionToday(record))
            visitAttributes(*buffer, consider);
        return isFinal; // cppcheck-suppress identicalConditionAfterEarlyExit
    });
}

/// Takes a name if it is better than the one so far; true when there can be no better one.
bool ZMftRecord::considerName(std::span<const uint8> bytes) {
    try {
        const auto value = ntfs::FileNameValue::decode(bytes);
        const bool isWindows = value.nameSpace == ntfs::FileNameValue::Win32 ||
                               value.nameSpace == ntfs::FileNameValue::Win32AndDos;
        const bool isPosix = value.nameSpace == ntfs::FileNameValue::Posix && name_.empty() &&
                             volume_->scanOptions().posixNames;
        if (value.name.empty() || (!isWindows && !isPosix))
            return false;
        name_ = format::wideFromUtf16Le(value.name);
        parentRef_ = value.parent;
        parentSequence_ = value.parentSequence;
        sizeByName_ = value.dataSize;
        return isWindows;
    } catch (int) {
        return false; // Too short for what it says.
    }
}

} // namespace kova
