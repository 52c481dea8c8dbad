// Films that are a chain of chunks with their lengths.
#include "engine/content/FrameChain.h"
#include "engine/content/Inflater.h"
#include "engine/content/PlainKind.h"
#include "engine/content/kinds.h"

#include <algorithm>

namespace kova {

namespace {

using namespace std::string_view_literals;

/// RealMedia: chunks of a name, their length with this (4, big-endian), data.
namespace realMedia {

constexpr ContentType kTypes[] = {{L"RealMedia", L"rm", ContentGroup::Videos}};
constexpr uint64 kHeader = 8;
constexpr std::string_view kChunks[] = {".RMF", "PROP", "MDPR", "CONT", "DATA",
                                        "INDX", "RMMD", "RMJD", "RMJE"};

Certainty begins(std::span<const uint8> first) {
    return surely(readBe<uint32>(first, 4) >= 16 && readBe<uint32>(first, 4) <= 32);
}

void follow(ContentReader& reader, MeasuredContent& found) {
    uint64 at = 0;
    bool hasData = false;
    while (reader.has(at, kHeader)) {
        const std::string name = reader.text(at, 4);
        if (std::ranges::find(kChunks, name) == std::end(kChunks) || (at > 0 && name == ".RMF"))
            break;
        hasData = hasData || name == "DATA";
        const uint64 length = reader.be<uint32>(at + 4);
        if (length < kHeader || !reader.has(at, length))
            return found.breaks(at, reader.size());
        at += length;
    }
    if (!hasData)
        return found.breaks(at, at);
    found.endsAt(at);
}

constexpr PlainFormat kFormat{kTypes, ".RMF\0\0\0"sv, begins, follow};

} // namespace realMedia

/// MXF: items of a key (16), a length (1 byte, or 0x80 + the bytes that it has), data. The last is
/// an index of parts, if there is one.
namespace mxf {

constexpr ContentType kTypes[] = {{L"MXF", L"mxf", ContentGroup::Videos}};
constexpr auto kKey = "\x06\x0E\x2B\x34"sv;
constexpr auto kHeaderPart = "\x06\x0E\x2B\x34\x02\x05\x01\x01\x0D\x01\x02\x01\x01\x02"sv;
constexpr auto kIndexOfParts = "\x06\x0E\x2B\x34\x02\x05\x01\x01\x0D\x01\x02\x01\x01\x11"sv;
constexpr uint64 kKeyBytes = 16;

Certainty begins(std::span<const uint8>) {
    return Certainty::Structure;
}

void follow(ContentReader& reader, MeasuredContent& found) {
    uint64 at = 0;
    while (reader.matches(at, kKey) && (at == 0 || !reader.matches(at, kHeaderPart))) {
        const bool isLast = reader.matches(at, kIndexOfParts);
        const uint8 first = reader.byte(at + kKeyBytes);
        const uint64 more = first < 0x80 ? 0 : first & 0x7FU;
        if (more > 8)
            return found.breaks(at, at);
        uint64 length = more == 0 ? first : 0;
        for (uint64 i = 1; i <= more; ++i)
            length = length << 8 | reader.byte(at + kKeyBytes + i);
        const uint64 data = at + kKeyBytes + 1 + more;
        if (!reader.has(data, length))
            return found.breaks(at, reader.size());
        at = data + length;
        if (isLast)
            break;
    }
    found.endsAt(at);
}

constexpr PlainFormat kFormat{kTypes, kHeaderPart, begins, follow, kKeyBytes + 1};

} // namespace mxf

/// IVF: "DKIF", version 0, bytes of the header at 6 (2), frames at 24; frames of a length (4), time
/// (8), data.
namespace ivf {

constexpr ContentType kTypes[] = {{L"IVF", L"ivf", ContentGroup::Videos}};
constexpr uint64 kHeader = 32;
constexpr uint64 kFrameHeader = 12;

Certainty begins(std::span<const uint8> first) {
    return surely(readLe<uint16>(first, 6) == kHeader && readLe<uint32>(first, 24) > 0);
}

void follow(ContentReader& reader, MeasuredContent& found) {
    uint64 at = kHeader;
    for (uint32 left = reader.le<uint32>(24); left > 0; --left) {
        const auto length = reader.le<uint32>(at);
        if (length == 0 || !reader.has(at + kFrameHeader, length))
            return found.breaks(at, at);
        at += kFrameHeader + length;
    }
    found.endsAt(at);
}

constexpr PlainFormat kFormat{kTypes, "DKIF\0\0"sv, begins, follow, kHeader};

} // namespace ivf

/// Flash: packed or not, "WS", version, length at 4, that of what it is packed from.
namespace flash {

constexpr ContentType kTypes[] = {{L"Flash", L"swf", ContentGroup::Videos}};
constexpr uint64 kHeader = 8;
constexpr uint8 kMostVersion = 50;

Certainty begins(std::span<const uint8> first) {
    return first[3] > 0 && first[3] <= kMostVersion && readLe<uint32>(first, 4) > 20
               ? Certainty::Magic
               : Certainty::No;
}

void followPlain(ContentReader& reader, MeasuredContent& found) {
    // It ends with a tag of zeros.
    const uint64 end = reader.le<uint32>(4);
    if (!reader.has(0, end) || reader.le<uint16>(end - 2) != 0)
        return found.breaks(kHeader, reader.size());
    found.endsAt(end);
}

void followPacked(ContentReader& reader, MeasuredContent& found) {
    const auto inflated = Inflater::run(reader, kHeader, reader.size(), Inflater::Wrapper::Zlib);
    if (!inflated.whole || inflated.produced + kHeader != reader.le<uint32>(4))
        return found.breaks(kHeader, inflated.end);
    found.verified = true;
    found.endsAt(inflated.end);
}

constexpr PlainFormat kPlain{kTypes, "FWS"sv, begins, followPlain};
constexpr PlainFormat kPacked{kTypes, "CWS"sv, begins, followPacked};

} // namespace flash

/// DV: frames of 10 or 12 sequences of 150 blocks of 80 bytes; a frame's first block begins with
/// what it is, and has in byte 3 which of both it is.
namespace dv {

constexpr ContentType kTypes[] = {{L"DV", L"dv", ContentGroup::Videos}};
constexpr uint64 kBlock = 80;
constexpr uint64 kSequence = 150 * kBlock;
constexpr auto kMagic = "\x1F\x07\x00"sv;
constexpr std::size_t kHeader = 2 * kBlock;

uint64 frameBytes(uint8 flags) {
    return kSequence * ((flags & 0x80) != 0 ? 12 : 10);
}

class DvChain : public FrameChain {
public:
    uint64 frameAt(ContentReader& reader, uint64 at) override {
        return reader.matches(at, kMagic) && reader.has(at, kHeader)
                   ? frameBytes(reader.byte(at + 3))
                   : 0;
    }
};

Certainty begins(std::span<const uint8> first) {
    // The second block is of the next section, the first of its number.
    return surely((first[3] & 0x7F) == 0x3F && (first[kBlock] & 0xE0) == 0x20 &&
                  first[kBlock + 2] == 0);
}

void follow(ContentReader& reader, MeasuredContent& found) {
    DvChain chain;
    const uint64 end = chain.end(reader, 0);
    if (chain.frames() < 2)
        return;
    if (chain.cut())
        return found.breaks(end, end);
    found.endsAt(end);
}

constexpr PlainFormat kFormat{kTypes, kMagic, begins, follow, kHeader};

} // namespace dv

} // namespace

const ContentKind& realMediaKind() {
    static const PlainKind kind(realMedia::kFormat);
    return kind;
}

const ContentKind& mxfKind() {
    static const PlainKind kind(mxf::kFormat);
    return kind;
}

const ContentKind& ivfKind() {
    static const PlainKind kind(ivf::kFormat);
    return kind;
}

const ContentKind& flashKind() {
    static const PlainKind kind(flash::kPlain);
    return kind;
}

const ContentKind& packedFlashKind() {
    static const PlainKind kind(flash::kPacked);
    return kind;
}

const ContentKind& dvKind() {
    static const PlainKind kind(dv::kFormat);
    return kind;
}

} // namespace kova
