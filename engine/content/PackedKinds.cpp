// Packed data and archives whose structure is a chain of lengths.
#include "engine/content/PlainKind.h"
#include "engine/content/kinds.h"

#include <algorithm>
#include <array>
#include <bit>
#include <optional>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr uint64 kSector = 512;

/// Behind one frame or member at an offset; nothing, and said in `found`, where it breaks.
using PartEnd = std::optional<uint64> (*)(ContentReader& reader, uint64 at, MeasuredContent& found);

/// Parts may follow each other; one that begins a sector is another file.
template <PartEnd End>
void followParts(ContentReader& reader, MeasuredContent& found, std::string_view magic) {
    uint64 at = 0;
    do {
        found.breaks(at, reader.size());
        const auto end = End(reader, at, found);
        if (!end)
            return;
        at = *end;
    } while (at % kSector != 0 && reader.matches(at, magic));
    found.endsAt(at);
}

/// Zstandard: magic; a descriptor: bytes of the length (bits 6-7), one segment (bit 5), checksum
/// (bit 2), bytes of a dictionary's number (bits 0-1); a window unless it is one segment; these
/// numbers; blocks of 3 bytes: last (bit 0), kind (2), length (21), and data.
namespace zstd {

constexpr ContentType kTypes[] = {{L"Zstandard", L"zst", ContentGroup::Archives}};
constexpr auto kMagic = "\x28\xB5\x2F\xFD"sv;
constexpr uint32 kMostBlock = 128 << 10;
constexpr unsigned kRepeated = 1;
constexpr unsigned kReserved = 3;

Certainty begins(std::span<const uint8> first) {
    return (first[4] & 0x08) == 0 ? Certainty::Magic : Certainty::No;
}

std::optional<uint64> frameEnd(ContentReader& reader, uint64 at, MeasuredContent& found) {
    constexpr std::array<uint8, 4> kLengthBytes = {0, 2, 4, 8};
    constexpr std::array<uint8, 4> kNumberBytes = {0, 1, 2, 4};
    const uint8 descriptor = reader.byte(at + kMagic.size());
    const bool isOne = (descriptor & 0x20) != 0;
    const uint8 length = kLengthBytes[descriptor >> 6];
    at += kMagic.size() + 1 + (isOne ? 0 : 1) + kNumberBytes[descriptor & 3] +
          (isOne && length == 0 ? 1U : length);
    while (true) {
        const uint32 block = reader.le<uint16>(at) | uint32{reader.byte(at + 2)} << 16;
        const unsigned kind = (block >> 1) & 3;
        const uint32 bytes = block >> 3;
        if (kind == kReserved || bytes > kMostBlock) {
            found.breaks(at, at);
            return std::nullopt;
        }
        const uint64 end = at + 3 + (kind == kRepeated ? 1 : bytes);
        if (!reader.has(end, 0)) {
            found.breaks(at, reader.size());
            return std::nullopt;
        }
        at = end;
        if ((block & 1) != 0)
            return at + ((descriptor & 4) != 0 ? 4 : 0);
    }
}

void follow(ContentReader& reader, MeasuredContent& found) {
    followParts<frameEnd>(reader, found, kMagic);
}

constexpr PlainFormat kFormat{kTypes, kMagic, begins, follow};

} // namespace zstd

/// LZ4: magic; flags: version 1 (bits 6-7), a checksum of each block (bit 4), length of all (bit
/// 3), of the whole (bit 2), a dictionary's number (bit 0); largest block (bits 4-6); these
/// numbers; a check of the header; blocks of a length (4; bit 31: not packed) and data, to a length
/// of 0.
namespace lz4 {

constexpr ContentType kTypes[] = {{L"LZ4", L"lz4", ContentGroup::Archives}};
constexpr auto kMagic = "\x04\x22\x4D\x18"sv;
constexpr uint32 kNotPacked = 0x80000000;

Certainty begins(std::span<const uint8> first) {
    const uint8 size = (first[5] >> 4) & 7;
    return surely((first[4] >> 6) == 1 && (first[4] & 2) == 0 && (first[5] & 0x8F) == 0 &&
                  size >= 4);
}

std::optional<uint64> frameEnd(ContentReader& reader, uint64 at, MeasuredContent& found) {
    const uint8 flags = reader.byte(at + 4);
    const uint64 mostBlock = uint64{1} << (8 + 2 * ((reader.byte(at + 5) >> 4) & 7));
    const uint64 check = (flags & 0x10) != 0 ? 4 : 0;
    at += kMagic.size() + 2 + ((flags & 8) != 0 ? 8 : 0) + ((flags & 1) != 0 ? 4 : 0) + 1;
    while (const auto length = reader.le<uint32>(at)) {
        const uint64 bytes = length & ~kNotPacked;
        if (bytes > mostBlock) {
            found.breaks(at, at);
            return std::nullopt;
        }
        if (!reader.has(at, 4 + bytes + check)) {
            found.breaks(at, reader.size());
            return std::nullopt;
        }
        at += 4 + bytes + check;
    }
    return at + 4 + ((flags & 4) != 0 ? 4 : 0);
}

void follow(ContentReader& reader, MeasuredContent& found) {
    followParts<frameEnd>(reader, found, kMagic);
}

constexpr PlainFormat kFormat{kTypes, kMagic, begins, follow};

} // namespace lz4

/// lzip: "LZIP", version 1, size of the dictionary; packed data; CRC-32, real length (8), length of
/// the member with all this (8).
namespace lzip {

constexpr ContentType kTypes[] = {{L"lzip", L"lz", ContentGroup::Archives, Filling::Packed}};
constexpr auto kMagic = "LZIP\1"sv;
constexpr uint64 kLeastMember = 36;
constexpr uint64 kMostMember = uint64{4} << 30;

Certainty begins(std::span<const uint8> first) {
    const unsigned size = first[5] & 0x1F;
    return surely(size >= 12 && size <= 29);
}

std::optional<uint64> memberEnd(ContentReader& reader, uint64 at, MeasuredContent&) {
    // Where a number is its own distance from the beginning.
    uint64 window = 0;
    uint64 next = at;
    const uint64 last = std::min(reader.size(), at + kMostMember);
    while (next < last) {
        const auto piece = reader.some(next, last - next);
        if (piece.empty())
            break;
        for (const uint8 byte : piece) {
            window = (window >> 8) | uint64{byte} << 56;
            ++next;
            if (window == next - at && window >= kLeastMember)
                return next;
        }
    }
    return std::nullopt;
}

void follow(ContentReader& reader, MeasuredContent& found) {
    followParts<memberEnd>(reader, found, kMagic);
}

constexpr PlainFormat kFormat{kTypes, kMagic, begins, follow};

} // namespace lzip

/// cpio in text: a header of fields in hexadecimal or octal, the name with its zero, the file; the
/// newer format fills up name and file to multiples of 4. A member of a certain name ends it, and
/// zeros fill up the last block.
namespace cpio {

constexpr ContentType kTypes[] = {{L"cpio", L"cpio", ContentGroup::Archives}};
constexpr auto kLast = "TRAILER!!!\0"sv;
constexpr uint64 kMostName = 4096;

struct Layout {
    std::string_view magic;
    uint64 header;
    uint64 lengthAt;
    uint64 lengthDigits;
    uint64 nameBytesAt;
    uint64 nameDigits;
    unsigned base;
    uint64 unit;
};

constexpr Layout kLayouts[] = {{"070701", 110, 54, 8, 94, 8, 16, 4},
                               {"070702", 110, 54, 8, 94, 8, 16, 4},
                               {"070707", 76, 65, 11, 59, 6, 8, 1}};

std::optional<uint64> number(ContentReader& reader, uint64 at, uint64 digits, unsigned base) {
    uint64 value = 0;
    for (const char c : reader.text(at, digits)) {
        const char lower = static_cast<char>(c | 0x20);
        const int digit = c >= '0' && c <= '9'           ? c - '0'
                          : lower >= 'a' && lower <= 'f' ? lower - 'a' + 10
                                                         : 16;
        if (static_cast<unsigned>(digit) >= base)
            return std::nullopt;
        value = value * base + static_cast<unsigned>(digit);
    }
    return value;
}

Certainty begins(std::span<const uint8> first) {
    const bool known = std::ranges::any_of(
        kLayouts, [first](const Layout& layout) { return startsWith(first, layout.magic); });
    return surely(known && std::ranges::all_of(first.subspan(6, 50), [](uint8 c) {
                      return (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'f');
                  }));
}

void follow(ContentReader& reader, MeasuredContent& found) {
    const auto* layout = std::ranges::find_if(
        kLayouts, [&reader](const Layout& one) { return reader.matches(0, one.magic); });
    if (layout == std::end(kLayouts))
        return;
    const auto up = [layout](uint64 at) {
        return (at + layout->unit - 1) / layout->unit * layout->unit;
    };
    uint64 at = 0;
    while (reader.matches(at, layout->magic)) {
        const auto length =
            number(reader, at + layout->lengthAt, layout->lengthDigits, layout->base);
        const auto name =
            number(reader, at + layout->nameBytesAt, layout->nameDigits, layout->base);
        if (!length || !name || *name == 0 || *name > kMostName)
            return found.breaks(at, at);
        const uint64 data = up(at + layout->header + *name);
        if (reader.matches(at + layout->header, kLast)) {
            const uint64 block = (data + kSector - 1) / kSector * kSector;
            return found.endsAt(reader.zerosEnd(data, block) == block ? block : data);
        }
        if (!reader.has(data, *length))
            return found.breaks(at, reader.size());
        at = up(data + *length);
    }
    found.breaks(at, at);
}

constexpr PlainFormat kFormat{kTypes, "0707"sv, begins, follow, 110};

} // namespace cpio

/// SquashFS: magic, block size at 12, bytes that are used at 40 (8); writers fill up to 4 KiB.
namespace squashFs {

constexpr ContentType kTypes[] = {{L"SquashFS", L"squashfs", ContentGroup::Archives}};
constexpr uint64 kFilled = 4096;

Certainty begins(std::span<const uint8> first) {
    const auto block = readLe<uint32>(first, 12);
    return surely(block >= 4096 && block <= (1 << 20) && std::has_single_bit(block) &&
                  readLe<uint16>(first, 28) == 4);
}

void follow(ContentReader& reader, MeasuredContent& found) {
    const auto used = reader.le<uint64>(40);
    if (!reader.has(0, used))
        return found.breaks(96, reader.size());
    const uint64 filled = (used + kFilled - 1) / kFilled * kFilled;
    found.endsAt(reader.zerosEnd(used, filled) == filled ? filled : used);
}

constexpr PlainFormat kFormat{kTypes, "hsqs"sv, begins, follow, 96};

} // namespace squashFs

/// Cabinets: "MSCF", zeros, length at 8, offset of the first file at 16, version at 24, folders and
/// files at 26 and 28 (2 each).
namespace cabinet {

constexpr ContentType kTypes[] = {{L"Cabinet", L"cab", ContentGroup::Archives}};
constexpr std::size_t kHeader = 36;

Certainty begins(std::span<const uint8> first) {
    const auto length = readLe<uint32>(first, 8);
    return surely(length > kHeader && readLe<uint32>(first, 16) < length && first[24] == 3 &&
                  first[25] == 1 && readLe<uint16>(first, 26) > 0);
}

void follow(ContentReader& reader, MeasuredContent& found) {
    found.endsAt(reader.le<uint32>(8));
}

constexpr PlainFormat kFormat{kTypes, "MSCF\0\0\0\0"sv, begins, follow, kHeader};

} // namespace cabinet

/// RPM: a lead of 96 bytes, the signature: magic, entries at 8, bytes at 12 (4 each, big-endian),
/// entries of 16 (tag, type, offset, count), values; filled up to 8. A value is the length of all
/// behind it.
namespace rpm {

constexpr ContentType kTypes[] = {{L"RPM package", L"rpm", ContentGroup::Programs}};
constexpr uint64 kLead = 96;
constexpr auto kSection = "\x8E\xAD\xE8\x01"sv;
constexpr uint64 kSectionHeader = 16;
constexpr uint64 kEntry = 16;
constexpr uint32 kLength = 1000;
constexpr uint32 kLongLength = 270;
constexpr uint32 kMostEntries = 1024;
constexpr uint32 kMostBytes = uint32{64} << 20;

Certainty begins(std::span<const uint8> first) {
    return surely(liesAt(first, kLead, kSection));
}

void follow(ContentReader& reader, MeasuredContent& found) {
    const auto entries = reader.be<uint32>(kLead + 8);
    const auto bytes = reader.be<uint32>(kLead + 12);
    if (entries > kMostEntries || bytes > kMostBytes)
        return;
    const uint64 values = kLead + kSectionHeader + entries * kEntry;
    const uint64 header = (values + bytes + 7) / 8 * 8;
    for (uint32 i = 0; i < entries; ++i) {
        const uint64 entry = kLead + kSectionHeader + i * kEntry;
        const auto tag = reader.be<uint32>(entry);
        const uint64 value = values + reader.be<uint32>(entry + 8);
        if (tag == kLength || tag == kLongLength) {
            if (!reader.matches(header, kSection))
                return found.breaks(header, header);
            return found.endsAt(
                header + (tag == kLength ? reader.be<uint32>(value) : reader.be<uint64>(value)));
        }
    }
    found.breaks(header, header);
}

constexpr PlainFormat kFormat{kTypes, "\xED\xAB\xEE\xDB"sv, begins, follow, kLead + 4};

} // namespace rpm

} // namespace

const ContentKind& zstdKind() {
    static const PlainKind kind(zstd::kFormat);
    return kind;
}

const ContentKind& lz4Kind() {
    static const PlainKind kind(lz4::kFormat);
    return kind;
}

const ContentKind& lzipKind() {
    static const PlainKind kind(lzip::kFormat);
    return kind;
}

const ContentKind& cpioKind() {
    static const PlainKind kind(cpio::kFormat);
    return kind;
}

const ContentKind& squashFsKind() {
    static const PlainKind kind(squashFs::kFormat);
    return kind;
}

const ContentKind& cabinetKind() {
    static const PlainKind kind(cabinet::kFormat);
    return kind;
}

const ContentKind& rpmKind() {
    static const PlainKind kind(rpm::kFormat);
    return kind;
}

} // namespace kova
