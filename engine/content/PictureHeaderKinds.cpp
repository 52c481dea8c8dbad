// Pictures whose header tells how long they are.
#include "engine/content/PlainKind.h"
#include "engine/content/kinds.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <optional>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr uint32 kMostSide = 1 << 17;

bool isSide(uint32 side) {
    return side > 0 && side <= kMostSide;
}

/// Fuji's raw photos: a text of 16 bytes; from 84 on offset and length (4 each, big-endian) of a
/// JPEG, of what the sensor's header is called, and of the sensor's data.
namespace raf {

constexpr ContentType kTypes[] = {{L"RAF", L"raf", ContentGroup::Pictures}};
constexpr std::size_t kFirstPart = 84;
constexpr std::size_t kParts = 3;
constexpr std::size_t kPartBytes = 8;
constexpr std::size_t kHeader = kFirstPart + kParts * kPartBytes;

Certainty begins(std::span<const uint8> first) {
    return surely(readBe<uint32>(first, kFirstPart) >= kHeader);
}

void follow(ContentReader& reader, MeasuredContent& found) {
    uint64 end = kHeader;
    for (uint64 at = kFirstPart; at < kHeader; at += kPartBytes)
        end = std::max(end, uint64{reader.be<uint32>(at)} + reader.be<uint32>(at + 4));
    if (!reader.matches(reader.be<uint32>(kFirstPart), "\xFF\xD8\xFF"sv))
        return found.breaks(kHeader, end);
    found.endsAt(end);
}

constexpr PlainFormat kFormat{kTypes, "FUJIFILMCCD-RAW "sv, begins, follow, kHeader};

} // namespace raf

/// DirectDraw surfaces: "DDS ", length of the header 124; height at 12, width at 16, depth at 24,
/// levels at 28, format from 76 on: flags at 80, name at 84, bits a pixel at 88; at 112 whether it
/// is six faces of a cube or a volume. A format "DX10" has its number at 128, pictures at 140.
namespace dds {

constexpr ContentType kTypes[] = {{L"DDS", L"dds", ContentGroup::Pictures, Filling::Samples}};
constexpr std::size_t kHeader = 128;
constexpr std::size_t kLongHeader = 148;
constexpr uint32 kIsNamed = 4;
constexpr uint32 kIsCube = 0x200;
constexpr uint32 kFaces = 0xFC00;
constexpr uint32 kIsVolume = 0x200000;
constexpr uint32 kMostLevels = 17;
constexpr uint32 kMostPictures = 2048;

/// How pixels are stored: blocks of this side, and bits of one.
struct Blocks {
    uint32 side = 0;
    uint32 bits = 0;
};

struct Named {
    std::string_view name;
    Blocks blocks;
};

constexpr Named kNamed[] = {
    {"DXT1", {4, 64}},         {"DXT2", {4, 128}},        {"DXT3", {4, 128}},
    {"DXT4", {4, 128}},        {"DXT5", {4, 128}},        {"ATI1", {4, 64}},
    {"BC4U", {4, 64}},         {"BC4S", {4, 64}},         {"ATI2", {4, 128}},
    {"BC5U", {4, 128}},        {"BC5S", {4, 128}},        {"\x24\0\0\0"sv, {1, 64}},
    {"\x71\0\0\0"sv, {1, 64}}, {"\x74\0\0\0"sv, {1, 128}}};

/// By the numbers of newer formats: from, to, blocks.
struct Numbered {
    uint32 from;
    uint32 to;
    Blocks blocks;
};

constexpr Numbered kNumbered[] = {{1, 4, {1, 128}},   {5, 8, {1, 96}},    {9, 22, {1, 64}},
                                  {23, 47, {1, 32}},  {48, 59, {1, 16}},  {60, 65, {1, 8}},
                                  {70, 72, {4, 64}},  {73, 78, {4, 128}}, {79, 81, {4, 64}},
                                  {82, 84, {4, 128}}, {85, 86, {1, 16}},  {87, 93, {1, 32}},
                                  {94, 99, {4, 128}}, {115, 115, {1, 16}}};

Certainty begins(std::span<const uint8> first) {
    return surely(readLe<uint32>(first, 4) == 124 && readLe<uint32>(first, 76) == 32 &&
                  isSide(readLe<uint32>(first, 12)) && isSide(readLe<uint32>(first, 16)));
}

void follow(ContentReader& reader, MeasuredContent& found) {
    const bool isNamed = (reader.le<uint32>(80) & kIsNamed) != 0;
    const std::string name = reader.text(84, 4);
    const bool isLong = isNamed && name == "DX10";
    Blocks blocks;
    if (isLong) {
        const auto number = reader.le<uint32>(kHeader);
        for (const Numbered& one : kNumbered)
            if (number >= one.from && number <= one.to)
                blocks = one.blocks;
    } else if (isNamed) {
        for (const Named& one : kNamed)
            if (one.name == name)
                blocks = one.blocks;
    } else if (reader.le<uint32>(88) <= 128) {
        blocks = {1, reader.le<uint32>(88)};
    }
    const uint64 header = isLong ? kLongHeader : kHeader;
    const auto extent = reader.le<uint32>(112);
    uint64 pictures = isLong ? std::max<uint32>(1, reader.le<uint32>(140)) : 1;
    if ((extent & kIsCube) != 0)
        pictures *= isLong ? 6U : static_cast<uint32>(std::popcount(extent & kFaces));
    const uint32 levels = std::max<uint32>(1, reader.le<uint32>(28));
    uint64 depth = (extent & kIsVolume) != 0 ? std::max<uint32>(1, reader.le<uint32>(24)) : 1;
    if (blocks.bits == 0 || levels > kMostLevels || pictures > kMostPictures || depth > kMostSide)
        return found.breaks(header, header);
    uint64 height = reader.le<uint32>(12);
    uint64 width = reader.le<uint32>(16);
    uint64 bytes = 0;
    for (uint32 level = 0; level < levels; ++level) {
        const uint64 across = (width + blocks.side - 1) / blocks.side;
        const uint64 down = (height + blocks.side - 1) / blocks.side;
        bytes += (across * blocks.bits + 7) / 8 * down * depth;
        width = std::max<uint64>(1, width / 2);
        height = std::max<uint64>(1, height / 2);
        depth = std::max<uint64>(1, depth / 2);
    }
    if (bytes > UINT64_MAX / kMostPictures / 8)
        return found.breaks(header, header);
    found.endsAt(header + bytes * pictures);
}

constexpr PlainFormat kFormat{kTypes, "DDS "sv, begins, follow, kLongHeader};

} // namespace dds

/// Portable maps: "P4" to "P6", width, height, but in bit maps the largest value, as decimals with
/// white space or comments between, one character of white space; "P7" with lines of names and
/// values to "ENDHDR"; "PF" and "Pf" with width, height and a scale, of numbers with 4 bytes.
namespace pnm {

constexpr ContentType kTypes[] = {
    {L"Portable map", L"ppm", ContentGroup::Pictures, Filling::Samples},
    {L"Portable map", L"pgm", ContentGroup::Pictures, Filling::Samples},
    {L"Portable map", L"pbm", ContentGroup::Pictures, Filling::Samples},
    {L"Portable map", L"pam", ContentGroup::Pictures, Filling::Samples},
    {L"Portable map", L"pfm", ContentGroup::Pictures, Filling::Samples}};
constexpr std::size_t kMostHeader = 512;
constexpr std::size_t kLeastBytes = 8;
constexpr uint32 kMostValue = 65535;

struct Header {
    const ContentType* type = nullptr;
    uint64 end = 0; ///< Of the whole file.
};

/// The words of a header, comments left out.
class Words {
public:
    explicit Words(std::span<const uint8> bytes)
        : text_(reinterpret_cast<const char*>(bytes.data()), std::min(bytes.size(), kMostHeader)) {}

    std::string_view next() {
        while (at_ < text_.size() && (isSpace(text_[at_]) || text_[at_] == '#'))
            at_ = text_[at_] == '#' ? std::min(text_.find('\n', at_), text_.size()) : at_ + 1;
        const std::size_t from = at_;
        while (at_ < text_.size() && !isSpace(text_[at_]))
            ++at_;
        return text_.substr(from, at_ - from);
    }

    std::optional<uint32> number() {
        const std::string_view word = next();
        uint32 value = 0;
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
        const bool isWhole = error == std::errc() && end == word.data() + word.size();
        return isWhole ? std::optional(value) : std::nullopt;
    }

    /// Behind the white space that ends the last word.
    [[nodiscard]] uint64 behind() const { return at_ + 1; }

private:
    static bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

    std::string_view text_;
    std::size_t at_ = 0;
};

Header arbitraryMap(Words& words) {
    uint64 width = 0;
    uint64 height = 0;
    uint64 depth = 0;
    uint64 most = 0;
    constexpr int kMostWords = 32;
    for (int i = 0; i < kMostWords; ++i) {
        const std::string_view word = words.next();
        if (word == "ENDHDR")
            break;
        uint64* const field = word == "WIDTH"    ? &width
                              : word == "HEIGHT" ? &height
                              : word == "DEPTH"  ? &depth
                              : word == "MAXVAL" ? &most
                                                 : nullptr;
        if (field != nullptr)
            *field = words.number().value_or(0);
    }
    const bool fits = width > 0 && width <= kMostSide && height > 0 && height <= kMostSide &&
                      depth > 0 && depth <= 64 && most > 0 && most <= kMostValue;
    if (!fits)
        return {};
    return {&kTypes[3], words.behind() + width * height * depth * (most > 255 ? 2 : 1)};
}

Header headerOf(std::span<const uint8> first) {
    Words words(first);
    const std::string_view magic = words.next();
    if (magic == "P7")
        return arbitraryMap(words);
    const auto width = words.number();
    const auto height = words.number();
    if (!width || !height || !isSide(*width) || !isSide(*height))
        return {};
    const uint64 pixels = uint64{*width} * *height;
    if (magic == "P4")
        return {&kTypes[2], words.behind() + uint64{(*width + 7) / 8} * *height};
    if (magic == "PF" || magic == "Pf") {
        const std::string_view scale = words.next();
        const bool fits =
            !scale.empty() && scale.find_first_not_of("0123456789.-+eE") == std::string_view::npos;
        return fits ? Header{&kTypes[4], words.behind() + pixels * (magic == "PF" ? 12 : 4)}
                    : Header{};
    }
    const auto most = words.number();
    if ((magic != "P5" && magic != "P6") || !most || *most == 0 || *most > kMostValue)
        return {};
    const bool isColour = magic == "P6";
    return {&kTypes[isColour ? 0 : 1],
            words.behind() + pixels * (isColour ? 3 : 1) * (*most > 255 ? 2 : 1)};
}

Certainty begins(std::span<const uint8> first) {
    return surely(headerOf(first).type != nullptr);
}

void follow(ContentReader& reader, MeasuredContent& found) {
    const Header header = headerOf(reader.some(0, kMostHeader));
    if (header.type == nullptr)
        return;
    found.type = header.type;
    found.endsAt(header.end);
}

constexpr PlainFormat kFormat{kTypes, "P"sv, begins, follow, kLeastBytes};

} // namespace pnm

/// Sun rasters: magic; width, height, bits a pixel, bytes of the pixels, type, kind and bytes of
/// the colours (4 each, big-endian); colours, pixels in rows of an even number of bytes.
namespace sunRaster {

constexpr uint32 kPacked = 2;
constexpr ContentType kTypes[] = {
    {L"Sun raster", L"ras", ContentGroup::Pictures, Filling::Samples}};
constexpr std::size_t kHeader = 32;

Certainty begins(std::span<const uint8> first) {
    const auto bits = readBe<uint32>(first, 12);
    return surely(isSide(readBe<uint32>(first, 4)) && isSide(readBe<uint32>(first, 8)) &&
                  (bits == 1 || bits == 8 || bits == 24 || bits == 32) &&
                  readBe<uint32>(first, 20) <= 5 && readBe<uint32>(first, 28) <= 0x300);
}

void follow(ContentReader& reader, MeasuredContent& found) {
    uint64 pixels = reader.be<uint32>(16);
    // The oldest writers left it 0, others forget what makes rows even.
    if (reader.be<uint32>(20) != kPacked) {
        const uint64 row = (uint64{reader.be<uint32>(4)} * reader.be<uint32>(12) + 15) / 16 * 2;
        pixels = std::max(pixels, row * reader.be<uint32>(8));
    }
    found.endsAt(kHeader + reader.be<uint32>(28) + pixels);
}

constexpr PlainFormat kFormat{kTypes, "\x59\xA6\x6A\x95"sv, begins, follow, kHeader};

} // namespace sunRaster

/// DPX: magic in the file's byte order, offset of the picture at 4, version at 8, bytes of the file
/// at 16.
namespace dpx {

constexpr ContentType kTypes[] = {{L"DPX", L"dpx", ContentGroup::Pictures, Filling::Samples}};
constexpr std::size_t kHeader = 2048;

Certainty begins(std::span<const uint8> first) {
    return surely(liesAt(first, 8, "V1.0") || liesAt(first, 8, "V2.0"));
}

template <uint32 (ContentReader::*Read)(uint64)>
void follow(ContentReader& reader, MeasuredContent& found) {
    const uint64 end = (reader.*Read)(16);
    if (end < kHeader || end == UINT32_MAX)
        return found.breaks(kHeader, kHeader);
    found.endsAt(end);
}

constexpr PlainFormat kBig{kTypes, "SDPX"sv, begins, follow<&ContentReader::be<uint32>>, 20};
constexpr PlainFormat kLittle{kTypes, "XPDS"sv, begins, follow<&ContentReader::le<uint32>>, 20};

} // namespace dpx

/// FITS: units of a header and data, each filled up to blocks. The header's lines of 80 characters
/// are "NAME    = value": bits of a number, axes and how long they are, groups; "END" ends it.
namespace fits {

constexpr ContentType kTypes[] = {{L"FITS", L"fits", ContentGroup::Pictures, Filling::Samples}};
constexpr uint64 kBlock = 2880;
constexpr uint64 kLine = 80;
constexpr uint64 kValueAt = 10;
constexpr uint64 kMostLines = uint64{36} * 1024;
constexpr uint64 kMostBytes = uint64{1} << 50;

Certainty begins(std::span<const uint8> first) {
    return surely(liesAt(first, kLine, "BITPIX  ="));
}

uint64 blocks(uint64 bytes) {
    return (bytes + kBlock - 1) / kBlock * kBlock;
}

/// Behind the unit at `at`; nothing where it is none.
std::optional<uint64> unitEnd(ContentReader& reader, uint64 at) {
    uint64 bits = 0;
    uint64 points = 0;
    uint64 besides = 0;
    uint64 groups = 1;
    uint64 line = at;
    for (;; line += kLine) {
        const std::string text = reader.text(line, kLine);
        if (text.size() < kLine || line - at > kMostLines * kLine)
            return std::nullopt;
        if (text.starts_with("END     "))
            break;
        if (text[8] != '=')
            continue;
        const std::size_t from = std::min(text.find_first_not_of(" -", kValueAt), text.size());
        uint64 value = 0;
        std::from_chars(text.data() + from, text.data() + text.size(), value);
        if (text.starts_with("BITPIX  "))
            bits = value;
        else if (text.starts_with("NAXIS   "))
            points = value == 0 ? 0 : 1;
        else if (text.starts_with("NAXIS") && points <= kMostBytes && value <= kMostBytes)
            points = value == 0 || points > kMostBytes / value ? 0 : points * value;
        else if (text.starts_with("PCOUNT  "))
            besides = std::min(value, kMostBytes);
        else if (text.starts_with("GCOUNT  "))
            groups = std::min<uint64>(value, 1 << 10);
    }
    if (bits == 0 || bits > 64 || points > kMostBytes)
        return std::nullopt;
    return blocks(line + kLine) + blocks(bits / 8 * groups * (besides + points));
}

void follow(ContentReader& reader, MeasuredContent& found) {
    uint64 at = 0;
    do {
        const auto end = unitEnd(reader, at);
        if (!end)
            return found.breaks(at, at);
        if (!reader.has(*end, 0))
            return found.breaks(at, reader.size());
        at = *end;
    } while (reader.matches(at, "XTENSION= "));
    found.endsAt(at);
}

constexpr PlainFormat kFormat{kTypes, "SIMPLE  = "sv, begins, follow, kLine + 10};

} // namespace fits

/// Windows' metafiles. The newer: a record of type 1, "EMF" and a blank before it at 40, bytes of
/// the file at 48. The older with a header of 22 bytes: behind it type, words of the header 9,
/// version, words of the file at 6 (4).
namespace metafile {

constexpr ContentType kEmfTypes[] = {{L"EMF", L"emf", ContentGroup::Pictures}};
constexpr ContentType kWmfTypes[] = {{L"WMF", L"wmf", ContentGroup::Pictures}};
constexpr std::size_t kEmfHeader = 88;
constexpr std::size_t kPlaced = 22;

Certainty beginsEmf(std::span<const uint8> first) {
    return surely(liesAt(first, 40, " EMF") && readLe<uint32>(first, 4) >= kEmfHeader &&
                  readLe<uint32>(first, 48) % 4 == 0);
}

Certainty beginsWmf(std::span<const uint8> first) {
    return surely(readLe<uint16>(first, kPlaced) <= 2 && readLe<uint16>(first, kPlaced + 2) == 9);
}

void followEmf(ContentReader& reader, MeasuredContent& found) {
    // The last record ends with its own length.
    const uint64 end = reader.le<uint32>(48);
    if (end < kEmfHeader || !reader.has(0, end))
        return found.breaks(kEmfHeader, reader.size());
    const uint64 last = reader.le<uint32>(end - 4);
    if (last < 20 || last > end || reader.le<uint32>(end - last) != 14)
        return found.breaks(kEmfHeader, end);
    found.endsAt(end);
}

void followWmf(ContentReader& reader, MeasuredContent& found) {
    found.endsAt(kPlaced + 2 * uint64{reader.le<uint32>(kPlaced + 6)});
}

constexpr PlainFormat kEmf{kEmfTypes, "\1\0\0\0"sv, beginsEmf, followEmf, kEmfHeader};
constexpr PlainFormat kWmf{kWmfTypes, "\xD7\xCD\xC6\x9A"sv, beginsWmf, followWmf, kPlaced + 10};

} // namespace metafile

/// Apple's icons: "icns", bytes of the file (4, big-endian), the first icon's name.
namespace icns {

constexpr ContentType kTypes[] = {{L"Apple icon", L"icns", ContentGroup::Pictures}};

Certainty begins(std::span<const uint8> first) {
    const auto name = first.subspan(8, 4);
    return surely(readBe<uint32>(first, 4) > 16 &&
                  std::ranges::all_of(name, [](uint8 c) { return c >= ' ' && c < 0x7F; }));
}

void follow(ContentReader& reader, MeasuredContent& found) {
    const uint64 end = reader.be<uint32>(4);
    uint64 at = 8;
    while (at < end) {
        const uint64 length = reader.be<uint32>(at + 4);
        if (length < 8 || length > end - at)
            return found.breaks(at, at);
        at += length;
    }
    found.endsAt(end);
}

constexpr PlainFormat kFormat{kTypes, "icns"sv, begins, follow};

} // namespace icns

} // namespace

const ContentKind& rafKind() {
    static const PlainKind kind(raf::kFormat);
    return kind;
}

const ContentKind& ddsKind() {
    static const PlainKind kind(dds::kFormat);
    return kind;
}

const ContentKind& pnmKind() {
    static const PlainKind kind(pnm::kFormat);
    return kind;
}

const ContentKind& sunRasterKind() {
    static const PlainKind kind(sunRaster::kFormat);
    return kind;
}

const ContentKind& dpxKind() {
    static const PlainKind kind(dpx::kBig);
    return kind;
}

const ContentKind& dpxLittleKind() {
    static const PlainKind kind(dpx::kLittle);
    return kind;
}

const ContentKind& fitsKind() {
    static const PlainKind kind(fits::kFormat);
    return kind;
}

const ContentKind& emfKind() {
    static const PlainKind kind(metafile::kEmf);
    return kind;
}

const ContentKind& wmfKind() {
    static const PlainKind kind(metafile::kWmf);
    return kind;
}

const ContentKind& icnsKind() {
    static const PlainKind kind(icns::kFormat);
    return kind;
}

} // namespace kova
