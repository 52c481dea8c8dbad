#include "engine/content/ContentKinds.h"
#include "engine/content/FrameChain.h"
#include "engine/content/Id3.h"
#include "engine/content/PartSource.h"
#include "engine/content/kinds.h"

#include <array>

namespace kova {

namespace {

constexpr ContentType kTypes[] = {{L"MP3", L"mp3", ContentGroup::Sounds},
                                  {L"MP2", L"mp2", ContentGroup::Sounds}};

/// A frame's header: sync word (11 bits), version (2), layer (2), no checksum (1), bit rate (4),
/// sample rate (2), padding (1), private (1), channels (2), then what may change.
constexpr std::size_t kHeaderBytes = 4;
/// What no frame of a file changes: version, layer, sample rate.
constexpr uint32 kFixed = 0xFFFE0C00;
constexpr int kFramesAhead = 3;

using Rates = std::array<uint16, 15>;
/// kbit/s: of layers I to III of version 1, of layer I and of the others of versions 2 and 2.5.
constexpr std::array<Rates, 5> kBitRates = {
    {{0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
     {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
     {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
     {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
     {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160}}};
constexpr std::array<uint32, 3> kSampleRates = {44100, 48000, 32000};

/// A frame header taken apart.
struct MpegAudioHeader {
    uint32 bits;

    [[nodiscard]] uint32 version() const { return (bits >> 19) & 3; } // 3: 1, 2: 2, 0: 2.5.

    [[nodiscard]] uint32 layer() const { return 4 - ((bits >> 17) & 3); }

    [[nodiscard]] uint32 bitRate() const { return (bits >> 12) & 0xF; }

    [[nodiscard]] uint32 sampleRate() const { return (bits >> 10) & 3; }

    [[nodiscard]] bool padded() const { return (bits >> 9) & 1; }

    [[nodiscard]] bool mono() const { return ((bits >> 6) & 3) == 3; }

    [[nodiscard]] bool first() const { return version() == 3; }

    /// Files without a bit rate ("free format") are none that are known here.
    [[nodiscard]] bool fits() const {
        return (bits >> 21) == 0x7FF && version() != 1 && layer() != 4 && bitRate() != 0 &&
               bitRate() != 15 && sampleRate() != 3 && (bits & 3) != 2;
    }

    [[nodiscard]] uint32 length() const {
        const uint32 table = first() ? layer() - 1 : (layer() == 1 ? 3 : 4);
        const uint32 bitsPerSecond = uint32{kBitRates[table][bitRate()]} * 1000;
        const uint32 shift = first() ? 0 : (version() == 2 ? 1 : 2);
        const uint32 samplesPerSecond = kSampleRates[sampleRate()] >> shift;
        if (layer() == 1)
            return (12 * bitsPerSecond / samplesPerSecond + (padded() ? 1 : 0)) * 4;
        const uint32 slots = layer() == 3 && !first() ? 72 : 144;
        return slots * bitsPerSecond / samplesPerSecond + (padded() ? 1 : 0);
    }

    /// Bytes between the header and a "Xing" or "Info" frame's mark.
    [[nodiscard]] uint32 sideInfo() const {
        if (first())
            return mono() ? 17 : 32;
        return mono() ? 9 : 17;
    }
};

class Mp3Chain : public FrameChain {
public:
    explicit Mp3Chain(uint32 first) : fixed_(first & kFixed) {}

    uint64 frameAt(ContentReader& reader, uint64 at) override {
        if (!reader.has(at, kHeaderBytes))
            return 0;
        const MpegAudioHeader header{reader.be<uint32>(at)};
        return header.fits() && (header.bits & kFixed) == fixed_ ? header.length() : 0;
    }

private:
    uint32 fixed_;
};

/// Frames that the file has besides this one, if this is the one that says so; 0 for unknown. It
/// is marked "Xing" or "Info", then flags (bit 0: the number follows), the number.
uint64 framesTold(ContentReader& reader, uint64 at) {
    const uint64 mark = at + kHeaderBytes + MpegAudioHeader{reader.be<uint32>(at)}.sideInfo();
    if (!reader.matches(mark, "Xing") && !reader.matches(mark, "Info"))
        return 0;
    return (reader.be<uint32>(mark + 4) & 1) != 0 ? reader.be<uint32>(mark + 8) : 0;
}

class Mp3Kind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "I\xFF"; }

    /// A tag, or several frames in a row.
    Certainty begins(std::span<const uint8> first) const override {
        if (id3::begins(first))
            return Certainty::Magic;
        return certaintyOfFrames(first, kHeaderBytes, [first](std::span<const uint8> bytes) {
            const MpegAudioHeader header{readBe<uint32>(bytes, 0)};
            const bool continues = ((header.bits ^ readBe<uint32>(first, 0)) & kFixed) == 0;
            return header.fits() && continues ? header.length() : 0;
        });
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        uint64 at = id3::lengthAt(reader, 0);
        found.title = id3::title(reader);
        // Some writers leave zeros between the tag and the sound.
        if (at > 0)
            at = reader.zerosEnd(at, at + kMostGap);
        const MpegAudioHeader first{reader.be<uint32>(at)};
        if (!first.fits())
            return at > 0 ? followOther(reader, at, found) : void();
        found.type = &kTypes[first.layer() == 3 ? 0 : 1];
        const uint64 told = framesTold(reader, at);
        Mp3Chain chain(first.bits);
        const uint64 end = chain.end(reader, at);
        if (chain.frames() < kFramesAhead)
            return at > 0 ? found.breaks(at, end) : void();
        if (chain.cut() || chain.frames() < told || chain.goesOn(reader, end))
            return found.breaks(end, end);
        found.endsAt(end + id3::trailerAt(reader, end));
    }

private:
    static constexpr uint64 kMostGap = uint64{16} << 10;
    static constexpr uint64 kBytesShown = 4096;

    /// What is tagged so may be of another kind.
    static void followOther(ContentReader& reader, uint64 at, MeasuredContent& found) {
        const auto* const kind = recognise(reader.some(at, kBytesShown)).kind;
        if (kind == nullptr || kind == &mp3Kind() ||
            kind->types().front().group != ContentGroup::Sounds)
            return found.breaks(at, at);
        PartSource source(reader, at);
        const MeasuredContent sound = kind->measure(source);
        found.type = sound.type;
        found.verified = sound.verified;
        if (sound.state == ContentState::Whole)
            return found.endsAt(at + sound.length);
        found.breaks(at + sound.length, at + sound.breaksAt);
    }
};

} // namespace

const ContentKind& mp3Kind() {
    static const Mp3Kind kind;
    return kind;
}

} // namespace kova
