#include "engine/content/FrameChain.h"
#include "engine/content/kinds.h"

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"MPEG", L"mpg", ContentGroup::Videos}};

/// Everything begins with a start code of 00 00 01 and what it is; packets go on with their
/// length (2 bytes).
constexpr auto kPackStart = "\0\0\1\xBA"sv;
constexpr auto kSystemHeader = "\0\0\1\xBB"sv;
constexpr auto kStart = "\0\0\1"sv;
constexpr uint8 kPack = 0xBA;
constexpr uint8 kEnd = 0xB9;
constexpr uint64 kPacketHeader = 6;
constexpr uint64 kCode = 4;
/// A pack header of MPEG-1, and of MPEG-2 without its stuffing.
constexpr uint64 kPack1 = 12;
constexpr uint64 kPack2 = 14;
constexpr std::size_t kStuffingAt = 13;
constexpr int kPacketsAhead = 2;

bool isPack1(uint8 byte) {
    return (byte & 0xF1) == 0x21;
}

bool isPack2(uint8 byte) {
    return (byte & 0xC4) == 0x44;
}

class ProgramChain : public FrameChain {
public:
    uint64 frameAt(ContentReader& reader, uint64 at) override {
        if (!reader.matches(at, kStart) || !reader.has(at, kCode))
            return 0;
        const uint8 code = reader.byte(at + 3);
        if (code == kEnd)
            return kCode;
        if (code < kEnd || !reader.has(at, kPacketHeader))
            return 0;
        if (code != kPack)
            return kPacketHeader + reader.be<uint16>(at + kCode);
        const uint8 mark = reader.byte(at + kCode);
        if (isPack1(mark))
            return kPack1;
        if (!isPack2(mark) || !reader.has(at, kPack2))
            return 0;
        return kPack2 + (reader.byte(at + kStuffingAt) & 7U);
    }
};

class MpegProgramKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "\0"sv; }

    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, kPackStart) || first.size() < kPack2)
            return Certainty::No;
        const bool newer = isPack2(first[kCode]);
        if (!newer && !isPack1(first[kCode]))
            return Certainty::No;
        const std::size_t next = newer ? kPack2 + (first[kStuffingAt] & 7U) : kPack1;
        if (next + kCode > first.size())
            return Certainty::Magic;
        return liesAt(first, next, kStart) ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        ProgramChain chain;
        const uint64 end = chain.end(reader, 0);
        if (chain.frames() < kPacketsAhead)
            return;
        // What begins without a system header was cut off before.
        const uint64 behind = chain.frameAt(reader, 0);
        if (chain.cut() || !reader.matches(behind, kSystemHeader) || chain.goesOn(reader, end))
            return found.breaks(end, end);
        found.endsAt(end);
    }
};

} // namespace

const ContentKind& mpegProgramKind() {
    static const MpegProgramKind kind;
    return kind;
}

} // namespace kova
