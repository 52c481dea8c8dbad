// JPEG 2000 and JPEG XL: boxes, or the code that lies in them.
#include "engine/content/PlainKind.h"
#include "engine/content/kinds.h"

#include <algorithm>
#include <optional>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kJpeg2000Types[] = {
    {L"JPEG 2000", L"jp2", ContentGroup::Pictures, Filling::Packed}};
constexpr ContentType kCodeTypes[] = {
    {L"JPEG 2000", L"j2k", ContentGroup::Pictures, Filling::Packed}};
constexpr ContentType kJpegXlTypes[] = {
    {L"JPEG XL", L"jxl", ContentGroup::Pictures, Filling::Packed}};

/// A box: length with this header (4, big-endian; 1: it follows in 8 bytes, 0: to the end of the
/// file), name (4), data.
constexpr uint64 kBoxHeader = 8;
constexpr uint64 kSignatureBox = 12;

constexpr std::string_view kJpeg2000Boxes[] = {
    "ftyp", "jp2h", "jp2c", "jp2i", "xml ", "uuid", "uinf", "rreq", "asoc", "res ", "jpch",
    "jplh", "ftbl", "nlst", "lbl ", "comp", "copt", "free", "mdat", "moov", "dtbl"};
constexpr std::string_view kJpegXlBoxes[] = {"ftyp", "jxll", "jxlc", "jxlp", "jbrd", "jxli",
                                             "Exif", "xml ", "jumb", "brob", "jhgm", "free"};

/// Code of JPEG 2000: markers with lengths (2) to the first tile (0x90), which tells its length
/// from its marker on at 6 (4; 0: to the end mark); tiles to the end mark.
constexpr auto kCodeBegin = "\xFF\x4F\xFF\x51"sv;
constexpr auto kCodeEnd = "\xFF\xD9"sv;
constexpr auto kTile = "\xFF\x90"sv;
constexpr uint64 kTileBytesAt = 6;
constexpr uint64 kLeastTile = 14;

/// Behind the code at `at`; nothing, and said in `found`, where it breaks.
std::optional<uint64> codeEnd(ContentReader& reader, uint64 at, MeasuredContent& found) {
    at += 2;
    while (!reader.matches(at, kTile)) {
        const uint64 length = reader.be<uint16>(at + 2);
        if (reader.byte(at) != 0xFF || reader.byte(at + 1) < 0x50 || length < 2) {
            found.breaks(at, at);
            return std::nullopt;
        }
        at += 2 + length;
    }
    while (reader.matches(at, kTile)) {
        const uint64 length = reader.be<uint32>(at + kTileBytesAt);
        if (length == 0) {
            const auto end = reader.find(kCodeEnd, at + kLeastTile, reader.size());
            return end ? std::optional(*end + kCodeEnd.size()) : std::nullopt;
        }
        if (length < kLeastTile || !reader.has(at, length)) {
            found.breaks(at, reader.size());
            return std::nullopt;
        }
        at += length;
    }
    if (reader.matches(at, kCodeEnd))
        return at + kCodeEnd.size();
    found.breaks(at, at);
    return std::nullopt;
}

Certainty beginsCode(std::span<const uint8> first) {
    const auto width = readBe<uint32>(first, 8);
    const auto height = readBe<uint32>(first, 12);
    return surely(readBe<uint16>(first, 4) >= 41 && width > 0 && height > 0);
}

void followCode(ContentReader& reader, MeasuredContent& found) {
    found.breaks(0, reader.size());
    if (const auto end = codeEnd(reader, 0, found))
        found.endsAt(*end);
}

Certainty beginsBoxes(std::span<const uint8> first) {
    return surely(liesAt(first, kSignatureBox + 4, "ftyp"));
}

/// Goes from box to box; `code` is the name of the boxes with the picture, the first letters.
void followBoxes(ContentReader& reader, MeasuredContent& found,
                 std::span<const std::string_view> names, std::string_view code) {
    uint64 at = kSignatureBox;
    bool hasCode = false;
    while (reader.has(at, kBoxHeader)) {
        const std::string name = reader.text(at + 4, 4);
        if (std::ranges::find(names, name) == names.end() || (name == "ftyp" && at > kSignatureBox))
            break;
        hasCode = hasCode || name.starts_with(code);
        uint64 length = reader.be<uint32>(at);
        if (length == 0 && reader.matches(at + kBoxHeader, kCodeBegin)) {
            found.breaks(at, reader.size());
            if (const auto end = codeEnd(reader, at + kBoxHeader, found))
                found.endsAt(*end);
            return;
        }
        if (length == 1)
            length = reader.be<uint64>(at + kBoxHeader);
        if (length < kBoxHeader || !reader.has(at, length))
            return found.breaks(at, reader.size());
        at += length;
    }
    if (!hasCode)
        return found.breaks(at, at);
    found.endsAt(at);
}

constexpr PlainFormat kJpeg2000{kJpeg2000Types, "\0\0\0\x0CjP  \r\n\x87\n"sv, beginsBoxes,
                                [](ContentReader& reader, MeasuredContent& found) {
                                    followBoxes(reader, found, kJpeg2000Boxes, "jp2c");
                                },
                                kSignatureBox + kBoxHeader};
constexpr PlainFormat kJpegXl{kJpegXlTypes, "\0\0\0\x0CJXL \r\n\x87\n"sv, beginsBoxes,
                              [](ContentReader& reader, MeasuredContent& found) {
                                  followBoxes(reader, found, kJpegXlBoxes, "jxl");
                              },
                              kSignatureBox + kBoxHeader};
constexpr PlainFormat kCode{kCodeTypes, kCodeBegin, beginsCode, followCode};

} // namespace

const ContentKind& jpeg2000Kind() {
    static const PlainKind kind(kJpeg2000);
    return kind;
}

const ContentKind& jpeg2000CodeKind() {
    static const PlainKind kind(kCode);
    return kind;
}

const ContentKind& jpegXlKind() {
    static const PlainKind kind(kJpegXl);
    return kind;
}

} // namespace kova
