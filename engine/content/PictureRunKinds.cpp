// Pictures of packed pixels: their number is known, and each packet tells how many it makes.
#include "engine/content/PlainKind.h"
#include "engine/content/kinds.h"

#include <algorithm>
#include <optional>

namespace kova {

namespace {

using namespace std::string_view_literals;

/// PCX: 10, version, packed 1, bits a pixel; first and last column and row from 4 to 10, a zero at
/// 64, planes at 65, bytes of a plane's row at 66; from 128 on packets: a byte from 0xC0 on says
/// how often the next one stands. 256 colours lie behind them, after a mark.
namespace pcx {

constexpr ContentType kTypes[] = {{L"PCX", L"pcx", ContentGroup::Pictures, Filling::Samples}};
constexpr std::size_t kHeader = 128;
constexpr uint8 kRun = 0xC0;
constexpr uint64 kColours = 769;

struct Size {
    uint64 width;
    uint64 height;
    uint64 row; ///< Bytes.

    explicit Size(std::span<const uint8> b)
        : width(readLe<uint16>(b, 8) - uint64{readLe<uint16>(b, 4)} + 1),
          height(readLe<uint16>(b, 10) - uint64{readLe<uint16>(b, 6)} + 1),
          row(uint64{readLe<uint16>(b, 66)} * b[65]) {}
};

Certainty begins(std::span<const uint8> first) {
    const Size size(first);
    const uint8 bits = first[3];
    return surely(first[1] <= 5 && (bits == 1 || bits == 2 || bits == 4 || bits == 8) &&
                  size.width <= 0xFFFF && size.height <= 0xFFFF && first[64] == 0 &&
                  first[65] >= 1 && first[65] <= 4 &&
                  uint64{readLe<uint16>(first, 66)} * 8 >= size.width * bits);
}

void follow(ContentReader& reader, MeasuredContent& found) {
    const auto header = reader.bytes(0, kHeader);
    const Size size(header);
    const bool hasColours = header[1] == 5 && header[3] == 8 && header[65] == 1;
    uint64 left = size.row * size.height;
    uint64 at = kHeader;
    while (left > 0) {
        const uint8 byte = reader.byte(at);
        const uint64 count = byte >= kRun ? byte - kRun : 1U;
        at += byte >= kRun ? 2 : 1;
        if (count > left)
            return found.breaks(kHeader, at);
        left -= count;
    }
    found.endsAt(hasColours && reader.matches(at, "\x0C") ? at + kColours : at);
}

constexpr PlainFormat kFormat{
    kTypes, "\x0A"sv,
    [](std::span<const uint8> first) { return first[2] == 1 ? begins(first) : Certainty::No; },
    follow, kHeader};

} // namespace pcx

/// Silicon Graphics' pictures: magic, packed or not, bytes of a value, dimensions (2), then three
/// sizes from 6 on (2 each, big-endian). From 512 on the values; of packed ones first where each
/// row begins and how long it is (4 each).
namespace sgi {

constexpr ContentType kTypes[] = {{L"SGI", L"sgi", ContentGroup::Pictures, Filling::Samples}};
constexpr uint64 kHeader = 512;

Certainty begins(std::span<const uint8> first) {
    const auto dimensions = readBe<uint16>(first, 4);
    const auto planes = readBe<uint16>(first, 10);
    return surely(first[2] <= 1 && (first[3] == 1 || first[3] == 2) && dimensions >= 1 &&
                  dimensions <= 3 && readBe<uint16>(first, 6) > 0 && readBe<uint16>(first, 8) > 0 &&
                  planes >= 1 && planes <= 16);
}

void follow(ContentReader& reader, MeasuredContent& found) {
    const auto header = reader.bytes(0, 16);
    const uint64 width = readBe<uint16>(header, 6);
    const uint64 rows = uint64{readBe<uint16>(header, 8)} * readBe<uint16>(header, 10);
    if (header[2] == 0)
        return found.endsAt(kHeader + width * rows * header[3]);
    uint64 end = kHeader + 8 * rows;
    for (uint64 row = 0; row < rows; ++row) {
        const uint64 at = reader.be<uint32>(kHeader + 4 * row);
        const uint64 length = reader.be<uint32>(kHeader + 4 * (rows + row));
        if (at < kHeader + 8 * rows || length > 4 * (width + 2))
            return found.breaks(kHeader, kHeader + 8 * rows);
        end = std::max(end, at + length);
    }
    found.endsAt(end);
}

constexpr PlainFormat kFormat{kTypes, "\x01\xDA"sv, begins, follow, 12};

} // namespace sgi

/// Radiance's pictures: lines of text to an empty one, "-Y height +X width", rows. A row begins
/// with 2, 2 and its width (2, big-endian), then has four planes of runs (from 129 on: so many of
/// the next byte) and stretches; or it is pixels of 4 bytes, where 1, 1, 1 repeats the last.
namespace radiance {

constexpr ContentType kTypes[] = {
    {L"Radiance HDR", L"hdr", ContentGroup::Pictures, Filling::Packed}};
constexpr uint64 kMostHeader = 16384;
constexpr uint64 kMostLine = 64;

Certainty begins(std::span<const uint8> first) {
    return surely(liesAt(first, 2, "RADIANCE\n") || liesAt(first, 2, "RGBE\n"));
}

std::optional<uint64> numberBehind(const std::string& line, std::string_view name) {
    const auto at = line.find(name);
    if (at == std::string::npos)
        return std::nullopt;
    uint64 value = 0;
    for (std::size_t i = at + name.size(); i < line.size() && line[i] >= '0' && line[i] <= '9'; ++i)
        value = std::min<uint64>(value * 10 + static_cast<uint64>(line[i] - '0'), 1 << 20);
    return value == 0 ? std::nullopt : std::optional(value);
}

/// Behind a row of four planes; 0 where it has too many values.
uint64 planesEnd(ContentReader& reader, uint64 at, uint64 width) {
    for (int plane = 0; plane < 4; ++plane) {
        for (uint64 left = width; left > 0;) {
            const uint8 count = reader.byte(at);
            const uint64 values = count > 128 ? count - 128U : count;
            if (values == 0 || values > left)
                return 0;
            left -= values;
            at += count > 128 ? 2 : 1 + uint64{count};
        }
    }
    return at;
}

uint64 pixelsEnd(ContentReader& reader, uint64 at, uint64 width) {
    unsigned shift = 0;
    for (uint64 left = width; left > 0; at += 4) {
        uint64 count = 1;
        const bool repeats = reader.matches(at, "\1\1\1");
        if (repeats)
            count = uint64{reader.byte(at + 3)} << std::min(shift, 24U);
        shift = repeats ? shift + 8 : 0;
        if (count > left)
            return 0;
        left -= count;
    }
    return at;
}

void follow(ContentReader& reader, MeasuredContent& found) {
    const auto blank = reader.find("\n\n", 0, kMostHeader);
    if (!blank)
        return;
    const auto lineEnd = reader.find("\n", *blank + 2, *blank + 2 + kMostLine);
    if (!lineEnd)
        return;
    const std::string line = reader.text(*blank + 2, *lineEnd - *blank - 2);
    auto rows = numberBehind(line, "Y ");
    auto width = numberBehind(line, "X ");
    if (!rows || !width)
        return;
    if (line.find('X') < line.find('Y'))
        std::swap(rows, width);
    uint64 at = *lineEnd + 1;
    for (uint64 row = 0; row < *rows; ++row) {
        const bool hasPlanes = reader.matches(at, "\2\2") && reader.be<uint16>(at + 2) == *width;
        const uint64 end =
            hasPlanes ? planesEnd(reader, at + 4, *width) : pixelsEnd(reader, at, *width);
        if (end == 0)
            return found.breaks(at, at);
        at = end;
    }
    found.endsAt(at);
}

constexpr PlainFormat kFormat{kTypes, "#?R"sv, begins, follow};

} // namespace radiance

/// QOI: "qoif", width, height (4 each, big-endian), channels, colour space; packets; an end mark.
namespace qoi {

constexpr ContentType kTypes[] = {{L"QOI", L"qoi", ContentGroup::Pictures, Filling::Packed}};
constexpr std::size_t kHeader = 14;
constexpr auto kEnd = "\0\0\0\0\0\0\0\1"sv;

Certainty begins(std::span<const uint8> first) {
    return surely(readBe<uint32>(first, 4) > 0 && readBe<uint32>(first, 8) > 0 &&
                  (first[12] == 3 || first[12] == 4) && first[13] <= 1);
}

void follow(ContentReader& reader, MeasuredContent& found) {
    uint64 left = uint64{reader.be<uint32>(4)} * reader.be<uint32>(8);
    uint64 at = kHeader;
    while (left > 0) {
        const uint8 tag = reader.byte(at);
        const bool isRun = tag >= 0xC0 && tag < 0xFE;
        const uint64 count = isRun ? (tag & 0x3FU) + 1 : 1;
        at += tag == 0xFF ? 5 : tag == 0xFE ? 4 : (tag >> 6) == 2 ? 2 : 1;
        if (count > left)
            return found.breaks(kHeader, at);
        left -= count;
    }
    if (!reader.matches(at, kEnd))
        return found.breaks(kHeader, at);
    found.endsAt(at + kEnd.size());
}

constexpr PlainFormat kFormat{kTypes, "qoif"sv, begins, follow, kHeader};

} // namespace qoi

/// Targa: bytes of a text, colours or not, what it is at 2 (1 to 3; packed from 9 on), colours at 3
/// (first, count, bits: 2, 2, 1), origin at 8 (2, 2), width at 12, height at 14, bits at 16, flags.
/// Nothing tells it from other bytes but its footer: where more of it lies (4, 4) and a mark.
class TgaKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return {}; }

    std::span<const Mark> marks() const override { return kMarks; }

    std::size_t bytesNeeded() const override { return kHeader; }

    Certainty begins(std::span<const uint8> first) const override {
        if (first.size() < kHeader || first[1] > 1)
            return Certainty::No;
        const uint8 kind = first[2] & 7;
        const bool isKind = (first[2] == kind || first[2] == kind + 8) && kind >= 1 && kind <= 3;
        const bool hasColours = first[1] == 1;
        const bool colours = hasColours ? readLe<uint16>(first, 5) <= 256 && first[7] >= 15
                                        : readLe<uint32>(first, 3) == 0 && first[7] == 0;
        const uint8 bits = first[16];
        const bool fits = bits % 8 == 0 && bits >= 8 && bits <= 32 && (kind == 2) == (bits > 8);
        return isKind && colours && fits && hasColours == (kind == 1) &&
                       readLe<uint16>(first, 12) > 0 && readLe<uint16>(first, 14) > 0 &&
                       (first[17] & 0xC0) == 0
                   ? Certainty::Magic
                   : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        const auto header = reader.bytes(0, kHeader);
        const uint64 colours =
            header[1] == 1 ? uint64{readLe<uint16>(header, 5)} * ((header[7] + 7U) / 8) : 0;
        const uint64 pixel = header[16] / 8U;
        const uint64 pixels = uint64{readLe<uint16>(header, 12)} * readLe<uint16>(header, 14);
        const bool isPacked = header[2] >= 9;
        const uint64 first = kHeader + header[0] + colours;
        const uint64 end =
            isPacked ? packetsEnd(reader, first, pixels, pixel) : first + pixels * pixel;
        if (end == 0 || !reader.has(end, kFooter))
            return;
        const auto mark = reader.find(kMark, end + 8, std::min(reader.size(), end + kMostBehind));
        if (!mark)
            return;
        const uint64 footer = *mark - 8;
        for (const uint64 place : {reader.le<uint32>(footer), reader.le<uint32>(footer + 4)})
            if (place != 0 && (place < end || place >= footer))
                return;
        found.endsAt(*mark + kMark.size());
    }

private:
    static constexpr Mark kMarks[] = {{2, "\1\2\3\x09\x0A\x0B"sv}};
    static constexpr ContentType kTypes[] = {
        {L"Targa", L"tga", ContentGroup::Pictures, Filling::Samples}};
    static constexpr std::size_t kHeader = 18;
    static constexpr uint64 kFooter = 26;
    static constexpr auto kMark = "TRUEVISION-XFILE.\0"sv;
    static constexpr uint64 kMostBehind = uint64{64} << 10;

    static uint64 packetsEnd(ContentReader& reader, uint64 at, uint64 pixels, uint64 pixel) {
        while (pixels > 0) {
            const uint8 tag = reader.byte(at);
            const uint64 count = (tag & 0x7FU) + 1;
            if (count > pixels)
                return 0;
            pixels -= count;
            at += 1 + pixel * (tag >= 0x80 ? 1 : count);
        }
        return at;
    }
};

} // namespace

const ContentKind& tgaKind() {
    static const TgaKind kind;
    return kind;
}

const ContentKind& pcxKind() {
    static const PlainKind kind(pcx::kFormat);
    return kind;
}

const ContentKind& sgiKind() {
    static const PlainKind kind(sgi::kFormat);
    return kind;
}

const ContentKind& radianceKind() {
    static const PlainKind kind(radiance::kFormat);
    return kind;
}

const ContentKind& qoiKind() {
    static const PlainKind kind(qoi::kFormat);
    return kind;
}

} // namespace kova
