#include "engine/content/kinds.h"

#include <algorithm>
#include <bit>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"TrueType font", L"ttf", ContentGroup::Other},
                                  {L"OpenType font", L"otf", ContentGroup::Other},
                                  {L"Web font", L"woff", ContentGroup::Other},
                                  {L"Web font", L"woff2", ContentGroup::Other}};

constexpr auto kTrueType = "\0\1\0\0"sv;
constexpr auto kOpenType = "OTTO"sv;
constexpr auto kWoff = "wOFF"sv;
constexpr auto kWoff2 = "wOF2"sv;

/// Header: number of tables at 4, and behind it (2) 16 times the greatest power of two in it. Then
/// a record for each: tag, checksum, offset and length of the table (4 bytes each).
constexpr std::size_t kTablesAt = 4;
constexpr std::size_t kSearchRangeAt = 6;
constexpr uint64 kHeaderBytes = 12;
constexpr uint64 kRecordBytes = 16;
constexpr uint16 kMostTables = 128;
/// A web font tells its length (4) behind the kind of font in it.
constexpr std::size_t kWoffLengthAt = 8;
constexpr uint32 kWoffHeaderBytes = 44;
/// Its checksum covers the whole font, of which it is a part itself.
constexpr auto kHead = "head"sv;

bool isTables(std::span<const uint8> first) {
    const auto tables = readBe<uint16>(first, kTablesAt);
    return tables > 0 && tables <= kMostTables &&
           readBe<uint16>(first, kSearchRangeAt) == kRecordBytes * std::bit_floor(tables);
}

/// The sum of a table's big-endian words, zeros behind its end.
uint32 checksum(ContentReader& reader, uint64 at, uint64 length) {
    uint32 sum = 0;
    constexpr uint64 kWord = 4;
    for (uint64 done = 0; done < length; done += kWord) {
        const auto bytes = reader.bytes(
            at + done, static_cast<std::size_t>(std::min<uint64>(kWord, length - done)));
        uint32 word = 0;
        for (std::size_t i = 0; i < kWord; ++i)
            word = word << 8 | (i < bytes.size() ? bytes[i] : 0U);
        sum += word;
    }
    return sum;
}

class FontKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "\0Ow"sv; }

    Certainty begins(std::span<const uint8> first) const override {
        if (first.size() < kHeaderBytes)
            return Certainty::No;
        if (startsWith(first, kWoff) || startsWith(first, kWoff2))
            return readBe<uint32>(first, kWoffLengthAt) > kWoffHeaderBytes ? Certainty::Structure
                                                                           : Certainty::No;
        const bool isFont = startsWith(first, kTrueType) || startsWith(first, kOpenType);
        return isFont && isTables(first) ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        if (reader.matches(0, kWoff) || reader.matches(0, kWoff2)) {
            found.type = &kTypes[reader.matches(0, kWoff) ? 2 : 3];
            return found.endsAt(reader.be<uint32>(kWoffLengthAt));
        }
        found.type = &kTypes[reader.matches(0, kOpenType) ? 1 : 0];
        found.verified = true;
        uint64 end = 0;
        const auto tables = reader.be<uint16>(kTablesAt);
        for (uint64 i = 0; i < tables; ++i) {
            const uint64 record = kHeaderBytes + i * kRecordBytes;
            const auto sum = reader.be<uint32>(record + 4);
            const uint64 at = reader.be<uint32>(record + 8);
            const uint64 length = reader.be<uint32>(record + 12);
            if (!reader.has(at, length))
                fail();
            const bool isSound =
                reader.matches(record, kHead) || checksum(reader, at, length) == sum;
            if (!isSound)
                return found.breaks(std::max(end, kHeaderBytes), at + length);
            end = std::max(end, (at + length + 3) / 4 * 4);
        }
        found.endsAt(end);
    }
};

} // namespace

const ContentKind& fontKind() {
    static const FontKind kind;
    return kind;
}

} // namespace kova
