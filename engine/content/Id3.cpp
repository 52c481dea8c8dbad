#include "engine/content/Id3.h"

#include "engine/content/ContentKind.h"
#include "engine/content/ContentText.h"

#include <algorithm>

namespace kova::id3 {

namespace {

constexpr uint64 kHeader = 10;
constexpr std::size_t kVersionAt = 3;
constexpr std::size_t kFlagsAt = 5;
constexpr std::size_t kLengthAt = 6;
constexpr uint8 kHasFooter = 0x10;
constexpr uint64 kOldTag = 128;
constexpr uint64 kApeFooter = 32;
constexpr std::size_t kMostText = 512;
/// Frames that are looked at for the title.
constexpr int kMostFrames = 100;

uint32 sevenBits(std::span<const uint8> b, std::size_t at) {
    return (uint32{b[at]} << 21) | (uint32{b[at + 1]} << 14) | (uint32{b[at + 2]} << 7) | b[at + 3];
}

/// The text of a frame: its encoding (0 Latin-1, 1 UTF-16 with a mark, 2 UTF-16BE, 3 UTF-8), then
/// characters up to a zero.
std::wstring frameText(std::span<const uint8> data) {
    if (data.empty())
        return {};
    const auto characters = data.subspan(1);
    switch (data[0]) {
    case 0:
        return text::fromLatin1(characters);
    case 1:
    case 2:
        return text::fromUtf16(characters);
    default:
        return text::fromUtf8(characters);
    }
}

/// Bytes of the APE tag at `at`: "APETAGEX", version, length without its header (le32 at 12), items
/// (le32 at 16), flags (bit 29: this is the header). It may have no header: then items come first,
/// each of its length (4), flags (4), name, zero, value, and only the footer says what they are.
uint64 apeBytes(ContentReader& reader, uint64 at) {
    constexpr std::string_view kMark = "APETAGEX";
    constexpr uint64 kItemHeader = 8;
    constexpr uint64 kMostName = 256;
    constexpr uint32 kMostItems = 256;
    if (reader.matches(at, kMark) && reader.has(at, kApeFooter))
        return kApeFooter + reader.le<uint32>(at + 12);
    uint64 next = at;
    for (uint32 items = 1; items <= kMostItems && reader.has(next, kItemHeader); ++items) {
        const auto end = reader.find(std::string_view("\0", 1), next + kItemHeader,
                                     next + kItemHeader + kMostName);
        const uint64 value = reader.le<uint32>(next);
        if (!end || !reader.has(*end + 1, value + kApeFooter))
            break;
        next = *end + 1 + value;
        if (reader.matches(next, kMark))
            return reader.le<uint32>(next + 12) == next + kApeFooter - at &&
                           reader.le<uint32>(next + 16) == items
                       ? next + kApeFooter - at
                       : 0;
    }
    return 0;
}

/// Bytes of the lyrics at `at`: a mark, fields, their length with the mark (6 digits), another
/// mark.
uint64 lyricsBytes(ContentReader& reader, uint64 at) {
    constexpr std::string_view kEnd = "LYRICS200";
    constexpr uint64 kDigits = 6;
    constexpr uint64 kMost = 100'000;
    if (!reader.matches(at, "LYRICSBEGIN"))
        return 0;
    const auto end = reader.find(kEnd, at + kDigits, at + kMost);
    if (!end || reader.text(*end - kDigits, kDigits) !=
                    std::to_string(1'000'000 + *end - kDigits - at).substr(1))
        return 0;
    return *end + kEnd.size() - at;
}

} // namespace

bool begins(std::span<const uint8> first) {
    if (first.size() < kHeader || !startsWith(first, "ID3"))
        return false;
    const auto length = first.subspan(kLengthAt, 4);
    return first[kVersionAt] >= 2 && first[kVersionAt] <= 4 && first[kVersionAt + 1] != 0xFF &&
           std::ranges::all_of(length, [](uint8 b) { return b < 0x80; });
}

uint64 lengthAt(ContentReader& reader, uint64 at) {
    const uint64 from = at;
    while (begins(reader.some(at, kHeader))) {
        const auto header = reader.bytes(at, kHeader);
        at += kHeader + sevenBits(header, kLengthAt) +
              ((header[kFlagsAt] & kHasFooter) != 0 ? kHeader : 0);
    }
    return at - from;
}

uint64 trailerAt(ContentReader& reader, uint64 at) {
    const uint64 from = at;
    at += apeBytes(reader, at);
    at += lyricsBytes(reader, at);
    at += apeBytes(reader, at);
    if (reader.matches(at, "TAG"))
        at += kOldTag;
    return at - from;
}

std::wstring title(ContentReader& reader) {
    const auto header = reader.some(0, kHeader);
    if (!begins(header))
        return {};
    const int version = header[kVersionAt];
    const uint64 end = kHeader + sevenBits(header, kLengthAt);
    const bool old = version == 2; // Names and lengths of three bytes, no flags.
    std::wstring artist;
    std::wstring song;
    uint64 at = kHeader;
    for (int i = 0; i < kMostFrames && at + kHeader < end && reader.has(at, kHeader); ++i) {
        const auto frame = reader.bytes(at, kHeader);
        const std::string name(frame.begin(), frame.begin() + (old ? 3 : 4));
        const uint64 length = old            ? readBe<uint32>(frame, 2) & 0xFFFFFF
                              : version == 3 ? readBe<uint32>(frame, 4)
                                             : sevenBits(frame, 4);
        at += old ? 6 : kHeader;
        if (frame[0] == 0)
            break;
        if (name == "TIT2" || name == "TT2")
            song = frameText(reader.some(at, std::min<uint64>(length, kMostText)));
        else if (name == "TPE1" || name == "TP1")
            artist = frameText(reader.some(at, std::min<uint64>(length, kMostText)));
        at += length;
    }
    return artist.empty() || song.empty() ? song : artist + L" - " + song;
}

} // namespace kova::id3
