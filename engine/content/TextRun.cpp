#include "engine/content/TextRun.h"

#include "engine/LittleEndian.h"

#include <algorithm>
#include <optional>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr auto kMark = "\xEF\xBB\xBF"sv;

/// Bytes that end up in texts though they are no characters: tab, line feed, vertical tab, form
/// feed, carriage return, and what terminals take.
bool isTextControl(uint8 byte) {
    return (byte >= 9 && byte <= 13) || byte == 0x1B;
}

bool isAscii(uint8 byte) {
    return byte < 0x80 && byte != 0x7F && (byte >= 0x20 || isTextControl(byte));
}

/// Eight bytes at once: sets the highest bit of most that neither a text nor the zeros behind it
/// have: of the controls before tab and before escape.
uint64 noText(uint64 bytes) {
    constexpr uint64 kEach = 0x0101010101010101;
    constexpr uint64 kHighest = 0x80 * kEach;
    // The highest bit of what is at least so much, of bytes below 0x80.
    const auto from = [low = bytes & ~kHighest](uint64 least) {
        return low + (0x80 - least) * kEach;
    };
    const uint64 controls = (from(0x01) & ~from('\t')) | (from('\r' + 1) & ~from(0x1B));
    return controls & ~bytes & kHighest;
}

/// Whether the beginning of a block shows that it is no text, as that of most does. Without a
/// branch for each byte, as it is asked of every block of a drive.
bool showsNoText(std::span<const uint8> block) {
    constexpr std::size_t kGlance = 32;
    constexpr std::size_t kGlances = 2;
    for (std::size_t i = 0; i < kGlances && block.size() >= (i + 1) * kGlance; ++i) {
        const uint8* const bytes = block.data() + i * kGlance;
        uint64 found = 0;
        for (std::size_t at = 0; at < kGlance; at += sizeof(uint64))
            found |= noText(loadLe<uint64>(bytes + at));
        if (found != 0)
            return true;
    }
    return false;
}

/// Tells text from other bytes, one at a time.
class TextChecker {
public:
    /// Takes the next byte; false when it is no text in any encoding that is left.
    bool take(uint8 byte) {
        if (expected_ > 0) {
            if (byte >= least_ && byte <= most_) {
                least_ = 0x80;
                most_ = 0xBF;
                usesUtf8_ |= --expected_ == 0;
                return true;
            }
            expected_ = 0;
            if (usesUtf8_)
                return false;
            bytewise_ = true;
        }
        if (byte < 0x80)
            return isAscii(byte);
        return bytewise_ || beginsCharacter(byte);
    }

    /// Bytes since the last whole character began.
    [[nodiscard]] bool inCharacter() const { return expected_ > 0; }

    /// What was taken is no UTF-8: characters have a byte each, and may be any from 0x80 on.
    [[nodiscard]] bool isBytewise() const { return bytewise_; }

private:
    bool beginsCharacter(uint8 byte) {
        least_ = 0x80;
        most_ = 0xBF;
        if (byte >= 0xC2 && byte <= 0xDF) {
            expected_ = 1;
        } else if (byte >= 0xE0 && byte <= 0xEF) {
            expected_ = 2;
            least_ = byte == 0xE0 ? 0xA0 : 0x80;
            most_ = byte == 0xED ? 0x9F : 0xBF;
        } else if (byte >= 0xF0 && byte <= 0xF4) {
            expected_ = 3;
            least_ = byte == 0xF0 ? 0x90 : 0x80;
            most_ = byte == 0xF4 ? 0x8F : 0xBF;
        } else {
            bytewise_ = !usesUtf8_;
            return bytewise_;
        }
        return true;
    }

    int expected_ = 0; ///< Bytes that the character still has.
    uint8 least_ = 0;  ///< What the next of them can be.
    uint8 most_ = 0;
    bool usesUtf8_ = false;
    bool bytewise_ = false;
};

/// The byte that holds the high halves of UTF-16 units: 1 or 0, behind a byte-order mark.
std::optional<std::size_t> highByte(std::span<const uint8> first) {
    if (startsWith(first, "\xFF\xFE"sv) && !startsWith(first, "\xFF\xFE\0\0"sv))
        return 1;
    if (startsWith(first, "\xFE\xFF"sv))
        return 0;
    return std::nullopt;
}

/// What hardly any block gets past.
bool mayBeWide(std::span<const uint8> first) {
    return !first.empty() && first[0] >= 0xFE;
}

bool isTextUnit(uint16 unit) {
    return unit >= 0x80 ? unit < 0xFFFE : isAscii(static_cast<uint8>(unit));
}

/// The smallest sector, and the least that a file is padded to.
constexpr uint64 kSector = 512;

/// Whether nothing but zeros lies between `end` and the end of its sector.
bool isPaddedAt(ContentReader& reader, uint64 end) {
    const uint64 border = (end + kSector - 1) / kSector * kSector;
    // A text may fill its last sector.
    const uint64 to = std::min(border == end ? end + kSector : border, reader.size());
    return reader.zerosEnd(end, to) == to;
}

TextRun wideRun(ContentReader& reader, std::size_t high) {
    constexpr uint64 kUnit = 2;
    uint64 at = kUnit;
    for (; reader.has(at, kUnit); at += kUnit) {
        const auto unit = reader.bytes(at, kUnit);
        if (!isTextUnit(static_cast<uint16>((unit[high] << 8) | unit[1 - high])))
            break;
    }
    return {at, isPaddedAt(reader, at)};
}

} // namespace

std::size_t markBytes(std::span<const uint8> first) {
    return startsWith(first, kMark) ? kMark.size() : 0;
}

TextRun textRun(ContentReader& reader) {
    if (const auto high = highByte(reader.some(0)))
        return wideRun(reader, *high);
    TextChecker checker;
    CharacterReader characters(reader, 0);
    uint64 end = 0;  // Behind the last whole character.
    uint64 line = 0; // Behind the last line break.
    while (true) {
        const int byte = characters.next();
        if (byte <= 0)
            return {end, isPaddedAt(reader, end)};
        if (!checker.take(static_cast<uint8>(byte)))
            return {line > 0 ? line : end, false};
        if (!checker.inCharacter())
            end = characters.at();
        if (byte == '\n')
            line = end;
    }
}

bool isText(std::span<const uint8> block, bool inside) {
    std::size_t at = 0;
    if (inside) {
        while (at < 3 && at < block.size() && (block[at] & 0xC0) == 0x80)
            ++at;
    } else if (const auto high = mayBeWide(block) ? highByte(block) : std::nullopt) {
        for (at = 2; at + 1 < block.size(); at += 2) {
            const auto unit = static_cast<uint16>((block[at + *high] << 8) | block[at + 1 - *high]);
            if (!isTextUnit(unit))
                break;
        }
        return at > 2 && std::all_of(block.begin() + static_cast<std::ptrdiff_t>(at), block.end(),
                                     [](uint8 b) { return b == 0; });
    }
    if (showsNoText(block))
        return false;
    TextChecker checker;
    const std::size_t first = at;
    while (at < block.size() && block[at] != 0 && checker.take(block[at]))
        ++at;
    if (at == first)
        return false;
    // Any bytes above 0x7F would do; in a text of people most are letters, blanks and digits.
    const auto text = block.subspan(first, at - first);
    const auto plain = static_cast<std::size_t>(std::count_if(text.begin(), text.end(), isAscii));
    if (checker.isBytewise() && 2 * plain < text.size())
        return false;
    return std::all_of(block.begin() + static_cast<std::ptrdiff_t>(at), block.end(),
                       [](uint8 b) { return b == 0; });
}

} // namespace kova
