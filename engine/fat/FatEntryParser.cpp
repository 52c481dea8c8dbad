#include "engine/fat/FatEntryParser.h"

#include "format/DosTime.h"
#include "format/WideText.h"
#include "platform/CodePage.h"

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
constexpr uint8 kLostByte = '?';

constexpr std::array<bool, 256> makeForbiddenBytes() {
    std::array<bool, 256> forbidden{};
    for (const char byte : std::string_view("\"*+,./:;<=>?[\\]|"))
        forbidden[static_cast<uint8>(byte)] = true;
    return forbidden;
}

constexpr std::array<bool, 256> kForbidden = makeForbiddenBytes();

constexpr uint8 kFirstPrintable = 0x20;
constexpr uint8 kFirstNonAscii = 0x80;

/// Whether a short name can begin with this byte.
bool mayBegin(uint8 byte) {
    return byte == FatDirectoryEntry::kEscapedE5 || (byte > kFirstPrintable && !kForbidden[byte]);
}

bool isNameAcceptable(std::span<const uint8> name) {
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (kForbidden[name[i]] && (name[i] != '.' || i >= kDotsAllowed))
            return false;
    }
    return true;
}

wchar_t lowered(wchar_t c) {
    constexpr wchar_t kToLower = L'a' - L'A';
    return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + kToLower) : c;
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

void FatEntryParser::begin(uint32 directoryCluster, const ScanOptions& options, FatType type) {
    reset();
    endOfDirectory_ = false;
    directoryCluster_ = directoryCluster;
    options_ = options;
    type_ = type;
}

void FatEntryParser::reset() {
    entryComplete_ = false;
    longNameValid_ = false;
    longNameEntries_ = 0;
    longNameFillsEntries_ = false;
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
    if (options_.lenientFat && !entryComplete_)
        reset();
}

void FatEntryParser::feedLongName(FatLongNameEntry entry) {
    if (options_.lenientFat && entry.nameChecksum() != longNameChecksum_) {
        reset(); // Another name begins; what there is has lost its short entry.
        longNameChecksum_ = entry.nameChecksum();
    }
    if (longNameValid_ || longNameEntries_ >= kLongNameGivenUp) {
        longNameValid_ = false;
        return;
    }
    if (entry.firstCluster() != 0) {
        longNameEntries_ = kLongNameGivenUp;
        return;
    }
    const char16_t last = entry.unit(FatLongNameEntry::kUnits - 1);
    if (longNameEntries_ == 0 && last != 0 && last != FatLongNameEntry::kPadding) {
        longName_.push_back(0); // A name that fills its entries has no closing 0 of its own.
        longNameFillsEntries_ = true;
    }
    for (std::size_t i = FatLongNameEntry::kUnits; i-- > 0;)
        longName_.push_back(entry.unit(i));
    ++longNameEntries_;
}

void FatEntryParser::finishLongName() {
    if (options_.lenientFat && !mayBelongToEntry()) {
        reset();
        return;
    }
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

/// Whether the checksum of the long name is that of the short entry, as far as its name is known.
bool FatEntryParser::mayBelongToEntry() const {
    if (entry_.exists())
        return FatLongNameEntry::checksum(entry_.name()) == longNameChecksum_;
    return mayBegin(FatLongNameEntry::firstByteFor(longNameChecksum_, entry_.name()));
}

bool FatEntryParser::isDateAcceptable(uint16 date, bool mayBeUnset) const {
    if (date == 0 && mayBeUnset && options_.unsetDates)
        return true;
    return date >= kFirstDate && date <= kLastDate;
}

bool FatEntryParser::isAcceptable() const {
    if (options_.lenientFat) {
        // Clocks may show any date. A file's name has no control characters.
        const auto name = entry_.name();
        return entry_.attributes() <= FatDirectoryEntry::kDefinedAttributes &&
               !entry_.isVolumeLabel() && isNameAcceptable(name) &&
               std::all_of(name.begin() + 1, name.end(),
                           [](uint8 byte) { return byte >= kFirstPrintable; }) &&
               (!entry_.exists() || mayBegin(name[0]) || name[0] == '.');
    }
    return entry_.attributes() <= FatDirectoryEntry::kDefinedAttributes &&
           isDateAcceptable(entry_.creationDate(), true) &&
           isDateAcceptable(entry_.accessDate(), true) &&
           isDateAcceptable(entry_.writeDate(), false) && isNameAcceptable(entry_.name());
}

bool FatEntryParser::hasLongName() const {
    return longNameValid_ && longNameEntries_ <= kMostLongNameEntries;
}

uint32 FatEntryParser::firstCluster() const {
    // FAT12 and FAT16 have other uses for the high word.
    const bool hasHighWord = type_ == FatType::Fat32 || !options_.lenientFat;
    return hasHighWord ? entry_.firstCluster() : entry_.lowClusterWord();
}

std::wstring FatEntryParser::name() const {
    if (!hasLongName() || longName_.empty())
        return shortName();
    std::wstring name = format::wideFromUtf16(longName_);
    if (options_.lenientFat && !entry_.exists() && longNameFillsEntries_)
        completeSuffix(name);
    return name;
}

/// A long name whose last pieces, which stand first, have been overwritten has lost its suffix;
/// the short name still has the first three characters of it.
void FatEntryParser::completeSuffix(std::wstring& name) const {
    const std::wstring extension = shortExtension();
    if (extension.empty())
        return;
    const auto isSame = [](wchar_t a, wchar_t b) {
        // What a short name cannot have stands in it as an underscore.
        return lowered(a) == lowered(b) || b == L'_' || a >= kFirstNonAscii;
    };
    const std::size_t dot = name.rfind(L'.');
    if (dot != std::wstring::npos) {
        std::wstring suffix = name.substr(dot + 1);
        suffix.erase(std::remove(suffix.begin(), suffix.end(), L' '), suffix.end());
        suffix.resize(std::min(suffix.size(), extension.size()));
        if (std::equal(suffix.begin(), suffix.end(), extension.begin(),
                       extension.begin() + static_cast<std::ptrdiff_t>(suffix.size()), isSame)) {
            name.append(extension, suffix.size());
            return;
        }
    }
    name.append(L".").append(extension);
}

std::wstring FatEntryParser::shortExtension() const {
    // The case bits belong to a name that had no need of a long one.
    const uint8 caseBits = hasLongName() ? 0 : entry_.caseBits();
    return textOf(withoutPadding(entry_.name().last<FatDirectoryEntry::kExtensionLength>()),
                  (caseBits & FatDirectoryEntry::kLowerExtension) != 0);
}

std::wstring FatEntryParser::shortName() const {
    const uint8 caseBits = hasLongName() ? 0 : entry_.caseBits();
    std::array<uint8, FatDirectoryEntry::kBaseLength> base{};
    const auto padded = entry_.name().first<FatDirectoryEntry::kBaseLength>();
    std::copy(padded.begin(), padded.end(), base.begin());
    const auto bytes = withoutPadding(base);
    if (!entry_.exists())
        base[0] = kLostByte;
    else if (base[0] == FatDirectoryEntry::kEscapedE5)
        base[0] = FatDirectoryEntry::kDeletedMark;
    std::wstring name = textOf(bytes, (caseBits & FatDirectoryEntry::kLowerBase) != 0);
    const std::wstring extension = shortExtension();
    if (!extension.empty())
        name.append(L".").append(extension);
    // A 0 byte ends the name.
    name.resize(std::min(name.find(L'\0'), name.size()));
    return name;
}

/// Bytes of a short name. The volume does not tell their code page: they are taken for characters
/// of the same numbers, by which none is lost, or for those of the system's code page.
std::wstring FatEntryParser::textOf(std::span<const uint8> bytes, bool lower) const {
    std::wstring text;
    const bool isAscii =
        std::all_of(bytes.begin(), bytes.end(), [](uint8 byte) { return byte < kFirstNonAscii; });
    if (options_.lenientFat && !isAscii) {
        text = platform::wideFromSystemCodePage(bytes, platform::CodePage::Oem)
                   .value_or(std::wstring(bytes.size(), L'\uFFFD'));
    } else {
        if (bytes.size() > FatDirectoryEntry::kExtensionLength)
            text.reserve(FatDirectoryEntry::kNameLength + 1); // What comes behind it fits too.
        for (const uint8 byte : bytes)
            text.push_back(byte);
    }
    if (lower)
        std::transform(text.begin(), text.end(), text.begin(), lowered);
    return text;
}

void FatEntryParser::buildNode(ZFileTreeNode& node) const {
    node = ZFileTreeNode();
    node.id = firstCluster();
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

bool FatEntryParser::isDots() const {
    const auto name = entry_.name();
    return name[0] == '.' && (name[1] == '.' || name[1] == ' ') &&
           std::all_of(name.begin() + 2, name.end(), [](uint8 byte) { return byte == ' '; });
}

void tellInUtc(ZFileTreeNode& node, platform::LocalTimes& localTimes) {
    for (int64* const time : {&node.creationTime, &node.modificationTime, &node.accessTime})
        *time = localTimes.toUtc(*time);
}

} // namespace kova
