// Sounds whose header, or the chunks behind it, tell how long they are.
#include "engine/content/Id3.h"
#include "engine/content/PlainKind.h"
#include "engine/content/kinds.h"

#include <algorithm>

namespace kova {

namespace {

using namespace std::string_view_literals;

/// AU: ".snd", length of the header at 4, of the data at 8, encoding at 12, samples a second at 16,
/// channels at 20 (all big-endian).
namespace au {

constexpr ContentType kTypes[] = {{L"AU", L"au", ContentGroup::Sounds, Filling::Samples}};
constexpr std::size_t kHeader = 24;
constexpr uint32 kMostHeader = 0x10000;
constexpr uint32 kMostEncoding = 27;
constexpr uint32 kUnknown = 0xFFFFFFFF;

Certainty begins(std::span<const uint8> first) {
    const auto header = readBe<uint32>(first, 4);
    const auto encoding = readBe<uint32>(first, 12);
    const auto channels = readBe<uint32>(first, 20);
    return surely(header >= kHeader && header <= kMostHeader && encoding >= 1 &&
                  encoding <= kMostEncoding && channels >= 1 && channels <= 64);
}

void follow(ContentReader& reader, MeasuredContent& found) {
    const uint64 header = reader.be<uint32>(4);
    const auto data = reader.be<uint32>(8);
    if (data == kUnknown)
        return found.breaks(header, header);
    found.endsAt(header + data);
}

constexpr PlainFormat kFormat{kTypes, ".snd"sv, begins, follow, kHeader};

} // namespace au

/// CAF: "caff", version 1, flags 0; chunks of a name (4), length (8, signed), data. The data may
/// have no length when it comes last.
namespace caf {

constexpr ContentType kTypes[] = {{L"CAF", L"caf", ContentGroup::Sounds, Filling::Packed}};
constexpr uint64 kFirstChunk = 8;
constexpr uint64 kChunkHeader = 12;
constexpr std::string_view kChunks[] = {"desc", "chan", "data", "pakt", "kuki", "info",
                                        "free", "mark", "regn", "inst", "midi", "ovvw",
                                        "peak", "edct", "umid", "uuid", "strg"};

Certainty begins(std::span<const uint8> first) {
    return surely(liesAt(first, kFirstChunk, "desc"));
}

void follow(ContentReader& reader, MeasuredContent& found) {
    bool hasData = false;
    uint64 at = kFirstChunk;
    while (reader.has(at, kChunkHeader)) {
        const std::string name = reader.text(at, 4);
        if (std::ranges::find(kChunks, name) == std::end(kChunks))
            break;
        const auto length = reader.be<uint64>(at + 4);
        hasData = hasData || name == "data";
        if (!reader.has(at + kChunkHeader, length))
            return found.breaks(at, reader.size());
        at += kChunkHeader + length;
    }
    if (!hasData)
        return found.breaks(at, at);
    found.endsAt(at);
}

constexpr PlainFormat kFormat{kTypes, "caff\0\1\0\0"sv, begins, follow};

} // namespace caf

/// Wave64: chunks of a GUID (16), length with this header (8), data, made a multiple of 8. The
/// file is one, whose data begins with the GUID of the form.
namespace wave64 {

constexpr ContentType kTypes[] = {{L"Wave64", L"w64", ContentGroup::Sounds, Filling::Samples}};
constexpr auto kRiff = "riff\x2E\x91\xCF\x11\xA5\xD6\x28\xDB\x04\xC1\0\0"sv;
constexpr auto kWave = "wave\xF3\xAC\xD3\x11\x8C\xD1\x00\xC0\x4F\x8E\xDB\x8A"sv;
constexpr uint64 kLengthAt = 16;
constexpr uint64 kChunkHeader = 24;
constexpr uint64 kFirstChunk = 40;

Certainty begins(std::span<const uint8> first) {
    return surely(liesAt(first, kChunkHeader, kWave));
}

void follow(ContentReader& reader, MeasuredContent& found) {
    const auto end = reader.le<uint64>(kLengthAt);
    uint64 at = kFirstChunk;
    while (at < end && end - at >= kChunkHeader) {
        const auto length = reader.le<uint64>(at + kLengthAt);
        if (length < kChunkHeader || length > end - at)
            return found.breaks(at, at);
        at += (length + 7) / 8 * 8;
    }
    found.endsAt(end);
}

constexpr PlainFormat kFormat{kTypes, kRiff, begins, follow, kFirstChunk};

} // namespace wave64

/// True Audio: "TTA1", format, channels, bits (2 each), samples a second at 10, samples at 14,
/// CRC-32 of these at 18 (4 each); the lengths of all frames (4 each) and their CRC-32; frames of
/// 256/245 of a second.
namespace tta {

constexpr ContentType kTypes[] = {{L"True Audio", L"tta", ContentGroup::Sounds, Filling::Packed}};
constexpr uint64 kRateAt = 10;
constexpr uint64 kSamplesAt = 14;
constexpr uint64 kCrcAt = 18;
constexpr uint64 kLengthsAt = 22;

Certainty begins(std::span<const uint8> first) {
    return surely(readLe<uint32>(first, kRateAt) > 0 && readLe<uint32>(first, kSamplesAt) > 0);
}

void follow(ContentReader& reader, MeasuredContent& found) {
    if (reader.crc32(0, kCrcAt) != reader.le<uint32>(kCrcAt))
        return;
    const uint64 frame = uint64{reader.le<uint32>(kRateAt)} * 256 / 245;
    if (frame == 0)
        return;
    const uint64 frames = (reader.le<uint32>(kSamplesAt) + frame - 1) / frame;
    const uint64 lengthsEnd = kLengthsAt + 4 * frames;
    if (!reader.has(kLengthsAt, 4 * frames + 4) ||
        reader.crc32(kLengthsAt, 4 * frames) != reader.le<uint32>(lengthsEnd))
        return found.breaks(kLengthsAt, lengthsEnd);
    uint64 at = lengthsEnd + 4;
    found.verified = true;
    for (uint64 length = kLengthsAt; length < lengthsEnd; length += 4) {
        // Each frame ends with its CRC-32.
        const uint64 bytes = reader.le<uint32>(length);
        if (bytes < 4 || !reader.has(at, bytes))
            return found.breaks(at, reader.size());
        if (reader.crc32(at, bytes - 4) != reader.le<uint32>(at + bytes - 4))
            return found.breaks(at, at + bytes);
        at += bytes;
    }
    found.endsAt(at + id3::trailerAt(reader, at));
}

constexpr PlainFormat kFormat{kTypes, "TTA1"sv, begins, follow, kLengthsAt};

} // namespace tta

/// Monkey's Audio from version 3.98 on: "MAC ", version at 4 (2), then the lengths of all parts
/// from 8 on (4 each): this descriptor, header, seek table, header and frames of the sound (its low
/// and high half), what comes behind.
namespace ape {

constexpr ContentType kTypes[] = {
    {L"Monkey's Audio", L"ape", ContentGroup::Sounds, Filling::Packed}};
constexpr std::size_t kVersionAt = 4;
constexpr uint64 kFirstLength = 8;
constexpr uint64 kHighHalf = 28;
constexpr uint64 kLastLength = 32;
constexpr std::size_t kDescriptor = 52;
constexpr uint16 kLeastVersion = 3980;
constexpr uint16 kMostVersion = 4100;

Certainty begins(std::span<const uint8> first) {
    const auto version = readLe<uint16>(first, kVersionAt);
    return surely(version >= kLeastVersion && version <= kMostVersion &&
                  readLe<uint32>(first, kFirstLength) == kDescriptor);
}

void follow(ContentReader& reader, MeasuredContent& found) {
    uint64 end = 0;
    for (uint64 at = kFirstLength; at <= kLastLength; at += 4)
        end += uint64{reader.le<uint32>(at)} << (at == kHighHalf ? 32 : 0);
    found.endsAt(end + id3::trailerAt(reader, end));
}

constexpr PlainFormat kFormat{kTypes, "MAC "sv, begins, follow, kDescriptor};

} // namespace ape

/// DSF: "DSD ", length of this chunk 28 (8), of the file at 12 (8).
namespace dsf {

constexpr ContentType kTypes[] = {{L"DSF", L"dsf", ContentGroup::Sounds, Filling::Samples}};
constexpr uint64 kChunk = 28;

Certainty begins(std::span<const uint8> first) {
    return surely(readLe<uint64>(first, 4) == kChunk && liesAt(first, kChunk, "fmt "));
}

void follow(ContentReader& reader, MeasuredContent& found) {
    found.endsAt(reader.le<uint64>(12));
}

constexpr PlainFormat kFormat{kTypes, "DSD "sv, begins, follow, kChunk + 4};

} // namespace dsf

/// DSDIFF: "FRM8", length of what follows (8), the form "DSD ".
namespace dff {

constexpr ContentType kTypes[] = {{L"DSDIFF", L"dff", ContentGroup::Sounds, Filling::Samples}};
constexpr uint64 kHeader = 12;

Certainty begins(std::span<const uint8> first) {
    return surely(liesAt(first, kHeader, "DSD FVER"));
}

void follow(ContentReader& reader, MeasuredContent& found) {
    found.endsAt(kHeader + reader.be<uint64>(4));
}

constexpr PlainFormat kFormat{kTypes, "FRM8"sv, begins, follow, 20};

} // namespace dff

/// Creative Voice: a text, the header's length at 20, version and its check; blocks of a type,
/// length (3) and data, to a type of 0.
namespace voc {

constexpr ContentType kTypes[] = {
    {L"Creative Voice", L"voc", ContentGroup::Sounds, Filling::Samples}};
constexpr uint64 kHeader = 26;
constexpr uint8 kMostType = 9;

Certainty begins(std::span<const uint8> first) {
    return surely(readLe<uint16>(first, 20) == kHeader);
}

void follow(ContentReader& reader, MeasuredContent& found) {
    uint64 at = kHeader;
    while (const uint8 type = reader.byte(at)) {
        if (type > kMostType)
            return found.breaks(at, at);
        at += 4 + (reader.le<uint32>(at) >> 8);
    }
    found.endsAt(at + 1);
}

constexpr PlainFormat kFormat{kTypes, "Creative Voice File\x1A"sv, begins, follow, kHeader};

} // namespace voc

} // namespace

const ContentKind& auKind() {
    static const PlainKind kind(au::kFormat);
    return kind;
}

const ContentKind& cafKind() {
    static const PlainKind kind(caf::kFormat);
    return kind;
}

const ContentKind& wave64Kind() {
    static const PlainKind kind(wave64::kFormat);
    return kind;
}

const ContentKind& ttaKind() {
    static const PlainKind kind(tta::kFormat);
    return kind;
}

const ContentKind& apeKind() {
    static const PlainKind kind(ape::kFormat);
    return kind;
}

const ContentKind& dsfKind() {
    static const PlainKind kind(dsf::kFormat);
    return kind;
}

const ContentKind& dffKind() {
    static const PlainKind kind(dff::kFormat);
    return kind;
}

const ContentKind& vocKind() {
    static const PlainKind kind(voc::kFormat);
    return kind;
}

} // namespace kova
