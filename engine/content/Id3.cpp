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
    // An APE tag: "APETAGEX", version, length without its header (le32 at 12), flags at 20.
    if (reader.matches(at, "APETAGEX") && reader.has(at, kApeFooter))
        at += kApeFooter + reader.le<uint32>(at + 12);
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
