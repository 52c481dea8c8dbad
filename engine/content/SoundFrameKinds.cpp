// Sounds that are nothing but frames, each of which tells its own length.
#include "engine/content/FrameChain.h"
#include "engine/content/Id3.h"
#include "engine/content/kinds.h"

#include <array>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr int kFramesAhead = 3;

/// Bytes of the frame that begins like this, 0 for none; some bytes behind its beginning tell.
using FrameLength = uint64 (*)(std::span<const uint8> header);

struct FrameFormat {
    std::span<const ContentType> types;
    std::string_view magic;  ///< What the file begins with.
    std::size_t firstFrame;  ///< Bytes before its frames.
    std::size_t headerBytes; ///< Of a frame that tell its length.
    FrameLength length;
};

class FormatChain : public FrameChain {
public:
    explicit FormatChain(const FrameFormat& format) : format_(format) {}

    uint64 frameAt(ContentReader& reader, uint64 at) override {
        if (!reader.has(at, format_.headerBytes))
            return 0;
        return format_.length(reader.bytes(at, format_.headerBytes));
    }

private:
    const FrameFormat& format_;
};

class FrameKind : public ContentKind {
public:
    /// The format lives as long as the program.
    explicit FrameKind(const FrameFormat& format) : format_(format) {}

    std::span<const ContentType> types() const override { return format_.types; }

    std::string_view firstBytes() const override { return format_.magic.substr(0, 1); }

    /// Several frames in a row make it sure.
    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, format_.magic))
            return Certainty::No;
        std::size_t at = format_.firstFrame;
        int frames = 0;
        while (frames < kFramesAhead && first.size() > at &&
               first.size() - at >= format_.headerBytes) {
            const uint64 length = format_.length(first.subspan(at, format_.headerBytes));
            if (length == 0)
                return Certainty::No;
            at += static_cast<std::size_t>(length);
            ++frames;
        }
        if (frames == kFramesAhead || format_.firstFrame > 0)
            return frames > 0 ? Certainty::Structure : Certainty::No;
        return frames == 0 ? Certainty::No : Certainty::Magic;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        FormatChain chain(format_);
        const uint64 end = chain.end(reader, format_.firstFrame);
        if (chain.frames() < kFramesAhead)
            return;
        if (chain.cut() || chain.goesOn(reader, end))
            return found.breaks(end, end);
        found.endsAt(end + id3::trailerAt(reader, end));
    }

private:
    const FrameFormat& format_;
};

/// AC-3: sync word, CRC (2), rate (2 bits) and index of the length (6), version (5). E-AC-3: sync
/// word, 5 bits, words - 1 (11), rate (2), ..., version 11 to 16 at the same place.
constexpr std::array<uint16, 19> kAc3Rates = {32,  40,  48,  56,  64,  80,  96,  112, 128, 160,
                                              192, 224, 256, 320, 384, 448, 512, 576, 640};

uint64 ac3Frame(std::span<const uint8> h) {
    if (h[0] != 0x0B || h[1] != 0x77)
        return 0;
    const unsigned version = h[5] >> 3;
    const unsigned rate = h[4] >> 6;
    if (version > 10)
        return version > 16 ? 0 : 2 * ((uint64{h[2] & 7U} << 8 | h[3]) + 1);
    const unsigned index = h[4] & 0x3F;
    if (rate == 3 || index / 2 >= kAc3Rates.size())
        return 0;
    const uint64 kilobits = kAc3Rates[index / 2];
    // Words of 1536 samples.
    if (rate == 1)
        return 2 * (kilobits * 96'000 / 44'100 + index % 2);
    return 2 * (rate == 0 ? kilobits * 2 : kilobits * 3);
}

/// DTS: sync word (4 bytes), frame type and others (14 bits), bytes - 1 (14).
uint64 dtsFrame(std::span<const uint8> h) {
    if (readBe<uint32>(h, 0) != 0x7FFE8001)
        return 0;
    const uint64 length = ((readBe<uint32>(h, 4) >> 4) & 0x3FFF) + 1;
    return length >= 96 ? length : 0;
}

/// WavPack: "wvpk", length behind these 8 bytes, version.
uint64 wavPackBlock(std::span<const uint8> h) {
    constexpr uint32 kMostBytes = uint32{1} << 20;
    const auto length = readLe<uint32>(h, 4);
    const auto version = readLe<uint16>(h, 8);
    const bool fits = startsWith(h, "wvpk") && length >= 24 && length <= kMostBytes &&
                      version >= 0x402 && version <= 0x410;
    return fits ? uint64{length} + 8 : 0;
}

/// AMR: what a frame is (4 bits behind the first), good (bit 2); the others are 0. Here one that is
/// not good is none: a drive is full of zeros.
template <std::size_t N>
uint64 amrFrame(uint8 first, const std::array<uint8, N>& bytes) {
    const unsigned type = (first >> 3) & 0xF;
    return (first & 0x87) == 4 ? bytes[type] : 0;
}

constexpr std::array<uint8, 16> kAmrBytes = {13, 14, 16, 18, 20, 21, 27, 32,
                                             6,  0,  0,  0,  0,  0,  0,  1};
constexpr std::array<uint8, 16> kAmrWideBytes = {18, 24, 33, 37, 41, 47, 51, 59,
                                                 61, 6,  0,  0,  0,  0,  1,  1};

constexpr ContentType kAc3Types[] = {{L"AC-3", L"ac3", ContentGroup::Sounds}};
constexpr ContentType kDtsTypes[] = {{L"DTS", L"dts", ContentGroup::Sounds}};
constexpr ContentType kWavPackTypes[] = {{L"WavPack", L"wv", ContentGroup::Sounds}};
constexpr ContentType kAmrTypes[] = {{L"AMR", L"amr", ContentGroup::Sounds}};

constexpr auto kAmr = "#!AMR\n"sv;
constexpr auto kAmrWide = "#!AMR-WB\n"sv;

constexpr FrameFormat kAc3{kAc3Types, "\x0B\x77"sv, 0, 6, ac3Frame};
constexpr FrameFormat kDts{kDtsTypes, "\x7F\xFE\x80\x01"sv, 0, 8, dtsFrame};
constexpr FrameFormat kWavPack{kWavPackTypes, "wvpk"sv, 0, 10, wavPackBlock};
constexpr FrameFormat kAmrNarrow{kAmrTypes, kAmr, kAmr.size(), 1, [](std::span<const uint8> h) {
                                     return amrFrame(h[0], kAmrBytes);
                                 }};
constexpr FrameFormat kAmrBroad{
    kAmrTypes, kAmrWide, kAmrWide.size(), 1,
    [](std::span<const uint8> h) { return amrFrame(h[0], kAmrWideBytes); }};

} // namespace

const ContentKind& ac3Kind() {
    static const FrameKind kind(kAc3);
    return kind;
}

const ContentKind& dtsKind() {
    static const FrameKind kind(kDts);
    return kind;
}

const ContentKind& wavPackKind() {
    static const FrameKind kind(kWavPack);
    return kind;
}

const ContentKind& amrKind() {
    static const FrameKind kind(kAmrNarrow);
    return kind;
}

const ContentKind& amrWideKind() {
    static const FrameKind kind(kAmrBroad);
    return kind;
}

} // namespace kova
