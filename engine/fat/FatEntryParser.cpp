#include "engine/fat/FatEntryParser.h"

#include "format/DosTime.h"
#include "format/WideText.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace kova {

namespace {

/// Stands for `entry_` before anything is fed.
constexpr uint8 kNoEntry[FatDirectoryEntry::kBytes] = {};

/// A long name takes at most 20 entries; a count beyond that marks one that is given up.
constexpr uint32 kMostLongNameEntries = 20;
constexpr uint32 kLongNameGivenUp = kMostLongNameEntries + 1;
/// Units of a long name and its closing 0.
constexpr std::size_t kLongNameCapacity = 256;

/// Dates of a plausible entry: from the year 1982 up to the first value of 2035, which is no day.
constexpr uint16 kFirstDate = 1024;
constexpr uint16 kLastDate = 28160;

/// Name bytes in which a '.' is let through, for "." and ".." themselves.
constexpr std::size_t kDotsAllowed = 3;

/// Shown for the first byte of a deleted short name, which is lost.
constexpr wchar_t kLostByte = L'?';

constexpr std::array<bool, 256> makeForbiddenBytes() {
    std::array<bool, 256> forbidden{};
    for (const char byte : std::string_view("\"*+,./:;<=>?[\\]|"))
        forbidden[static_cast<uint8>(byte)] = true;
    return forbidden;
}

constexpr std::array<bool, 256> kForbidden = makeForbiddenBytes();

bool isNameAcceptable(std::span<const uint8> name) {
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (kForbidden[name[i]] && (name[i] != '.' || i >= kDotsAllowed))
            return false;
    }
    return true;
}

/// A byte of a short name, as the character of the same number. The volume does not tell its code
/// page; this way no byte is lost, and a name does not depend on where the program runs.
wchar_t widen(uint8 byte, bool lower) {
    constexpr uint8 kToLower = 'a' - 'A';
    const bool isUpper = byte >= 'A' && byte <= 'Z';
    return static_cast<wchar_t>(lower && isUpper ? byte + kToLower : byte);
}

/// A piece of a short name without the blanks that pad it.
std::span<const uint8> withoutPadding(std::span<const uint8> bytes) {
    while (!bytes.empty() && bytes.back() == ' ')
        bytes = bytes.first(bytes.size() - 1);
    return bytes;
}

} // namespace

FatEntryParser::FatEntryParser() : entry_(kNoEntry) {
    longName_.reserve(kLongNameCapacity);
}

void FatEntryParser::begin(uint32 directoryCluster, const ScanOptions& options) {
    reset();
    endOfDirectory_ = false;
    directoryCluster_ = directoryCluster;
    options_ = options;
}

void FatEntryParser::reset() {
    entryComplete_ = false;
    longNameValid_ = false;
    longNameEntries_ = 0;
    longName_.clear();
}

void FatEntryParser::feed(const uint8* bytes) {
    entry_ = FatDirectoryEntry(bytes);
    if (entry_.firstByte() == FatDirectoryEntry::kEndMark)
        endOfDirectory_ = true;
    if (entry_.isLongName()) {
        feedLongName(FatLongNameEntry(bytes));
        return;
    }
    if (longNameEntries_ > 0 && !longNameValid_)
        finishLongName();
    entryComplete_ = isAcceptable();
}

void FatEntryParser::feedLongName(FatLongNameEntry entry) {
    if (longNameValid_ || longNameEntries_ >= kLongNameGivenUp) {
        longNameValid_ = false;
        return;
    }
    if (entry.firstCluster() != 0) {
        longNameEntries_ = kLongNameGivenUp;
        return;
    }
    const char16_t last = entry.unit(FatLongNameEntry::kUnits - 1);
    if (longNameEntries_ == 0 && last != 0 && last != FatLongNameEntry::kPadding)
        longName_.push_back(0); // A name that fills its entries has no closing 0 of its own.
    for (std::size_t i = FatLongNameEntry::kUnits; i-- > 0;)
        longName_.push_back(entry.unit(i));
    ++longNameEntries_;
}

void FatEntryParser::finishLongName() {
    std::reverse(longName_.begin(), longName_.end());
    if (longName_.size() >= kLongNameCapacity) {
        longName_.resize(kLongNameCapacity - 1);
        longName_.push_back(0);
    }
    // What pads a name of 248 to 254 units stands before the last 0, the one added here.
    const std::size_t end =
        options_.lenientFat ? longName_.find(char16_t{0}) : longName_.rfind(char16_t{0});
    if (end != std::u16string::npos)
        longName_.resize(end);
    longNameValid_ = true;
}

bool FatEntryParser::isDateAcceptable(uint16 date, bool mayBeUnset) const {
    if (date == 0 && mayBeUnset && options_.unsetDates)
        return true;
    return date >= kFirstDate && date <= kLastDate;
}

bool FatEntryParser::isAcceptable() const {
    return entry_.attributes() <= FatDirectoryEntry::kDefinedAttributes &&
           isDateAcceptable(entry_.creationDate(), true) &&
           isDateAcceptable(entry_.accessDate(), true) &&
           isDateAcceptable(entry_.writeDate(), false) && isNameAcceptable(entry_.name());
}

bool FatEntryParser::hasLongName() const {
    return longNameValid_ && longNameEntries_ <= kMostLongNameEntries;
}

std::wstring FatEntryParser::name() const {
    if (hasLongName() && !longName_.empty())
        return format::wideFromUtf16(longName_);
    return shortName();
}

std::wstring FatEntryParser::shortName() const {
    // The case bits belong to a name that had no need of a long one.
    const uint8 caseBits = hasLongName() ? 0 : entry_.caseBits();
    const auto bytes = entry_.name();
    std::wstring name;
    name.reserve(FatDirectoryEntry::kNameLength + 1);
    for (const uint8 byte : withoutPadding(bytes.first<FatDirectoryEntry::kBaseLength>()))
        name.push_back(widen(byte, (caseBits & FatDirectoryEntry::kLowerBase) != 0));
    const auto extension = withoutPadding(bytes.last<FatDirectoryEntry::kExtensionLength>());
    if (!extension.empty())
        name.push_back(L'.');
    for (const uint8 byte : extension)
        name.push_back(widen(byte, (caseBits & FatDirectoryEntry::kLowerExtension) != 0));
    if (!name.empty()) {
        if (!entry_.exists())
            name.front() = kLostByte;
        else if (entry_.firstByte() == FatDirectoryEntry::kEscapedE5)
            name.front() = widen(FatDirectoryEntry::kDeletedMark, false);
    }
    // A 0 byte ends the name.
    name.resize(std::min(name.find(L'\0'), name.size()));
    return name;
}

void FatEntryParser::buildNode(ZFileTreeNode& node) const {
    node = ZFileTreeNode();
    node.id = entry_.firstCluster();
    node.parentId = directoryCluster_;
    node.name = name();
    node.isDirectory = entry_.isDirectory();
    node.exists = entry_.exists();
    node.attributes = entry_.attributes();
    node.size = entry_.size();
    // A date that does not exist, and so an unset one, gives 0.
    node.creationTime = format::fileTimeFromDos(entry_.creationDate(), entry_.creationTime());
    node.modificationTime = format::fileTimeFromDos(entry_.writeDate(), entry_.writeTime());
    node.accessTime = format::fileTimeFromDos(entry_.accessDate(), 0);
}

} // namespace kova
