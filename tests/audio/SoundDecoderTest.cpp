#include "audio/decoder/SoundDecoder.h"
#include "tests/audio/Tone.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace audio::test {
namespace {

std::int16_t sampleAt(const Bytes& pcm, std::uint64_t index) {
    const auto at = static_cast<std::size_t>(index * 2);
    return static_cast<std::int16_t>(pcm[at] | pcm[at + 1] << 8);
}

Bytes readAll(SoundDecoder& decoder) {
    Bytes pcm(decoder.length());
    EXPECT_EQ(decoder.read(0, pcm), pcm.size());
    return pcm;
}

struct Kind {
    const char* file;
    std::uint32_t rate;
    /// Sample frames of the whole, how many of them come before the tone, and how many of the
    /// tone the coding leaves out at its start.
    std::uint64_t frames;
    std::uint64_t before;
    std::uint64_t cut;
    int tolerance; ///< Of a sample, against the original.
    int noise;     ///< Against another decoding.
};

void PrintTo(const Kind& kind, std::ostream* out) {
    *out << kind.file;
}

class Kinds : public testing::TestWithParam<Kind> {
protected:
    Bytes file = load(GetParam().file);
    std::unique_ptr<SoundDecoder> decoder = SoundDecoder::open(file);
};

TEST_P(Kinds, GiveTheToneInItsFullLength) {
    ASSERT_NE(decoder, nullptr);
    const Kind& kind = GetParam();
    EXPECT_EQ(decoder->rate(), kind.rate);
    EXPECT_EQ(decoder->channels(), 2U);
    EXPECT_EQ(decoder->length(), kind.frames * kFrameBytes);
    if (kind.rate != kRate)
        return;
    const Bytes pcm = readAll(*decoder);
    std::uint64_t far = 0;
    const std::uint64_t compared = std::min(kFrames - kind.cut, kind.frames - kind.before);
    for (std::uint64_t frame = 0; frame < compared; ++frame) {
        const std::uint64_t sample = 2 * (frame + kind.before);
        if (std::abs(sampleAt(pcm, sample) - left(frame + kind.cut)) > kind.tolerance ||
            std::abs(sampleAt(pcm, sample + 1) - right(frame + kind.cut)) > kind.tolerance)
            ++far;
    }
    // The ends of a lossy sound swing.
    EXPECT_LE(far, kind.tolerance > 1 ? kFrames / 20 : 0);
}

TEST_P(Kinds, SoundTheSameFromEveryPlace) {
    ASSERT_NE(decoder, nullptr);
    const Bytes whole = readAll(*decoder);
    std::mt19937 random(3);
    for (int times = 0; times < 40; ++times) {
        const std::uint64_t position = random() % whole.size();
        Bytes piece(std::min<std::size_t>(random() % 9000 + kFrameBytes,
                                          whole.size() - position / kFrameBytes * kFrameBytes));
        const std::size_t got = decoder->read(position, piece);
        ASSERT_EQ(got, piece.size() / kFrameBytes * kFrameBytes);
        // Some decoders fill in noise, which is never the same twice.
        const std::uint64_t first = position / kFrameBytes * 2;
        int most = 0;
        for (std::uint64_t i = 0; i < got / 2; ++i)
            most = std::max(most, std::abs(sampleAt(piece, i) - sampleAt(whole, first + i)));
        ASSERT_LE(most, GetParam().noise) << position;
    }
    Bytes beyond(100);
    EXPECT_EQ(decoder->read(whole.size(), beyond), 0U);
}

TEST_P(Kinds, SurviveBeingCutAndGarbled) {
    std::mt19937 random(11);
    for (int times = 0; times < 60; ++times) {
        Bytes hostile = file;
        if (times % 2 == 0)
            hostile.resize(random() % hostile.size());
        for (int i = 0; i < times; ++i) {
            if (!hostile.empty())
                hostile[random() % hostile.size()] = static_cast<std::uint8_t>(random());
        }
        const auto damaged = SoundDecoder::open(hostile);
        if (!damaged)
            continue;
        // As long as it says, whatever is in it.
        Bytes piece(std::min<std::uint64_t>(damaged->length(), 1U << 22));
        EXPECT_EQ(damaged->read(0, piece), piece.size());
    }
}

INSTANTIATE_TEST_SUITE_P(Files, Kinds,
                         testing::Values(Kind{"tone.wav", kRate, kFrames, 0, 0, 0, 0},
                                         Kind{"tone.flac", kRate, kFrames, 0, 0, 0, 0},
                                         Kind{"vbr.mp3", kRate, kFrames, 0, 0, 2500, 0},
                                         Kind{"bare.mp3", kRate, 21 * 1152, 1105, 0, 2500, 0},
                                         Kind{"tone.ogg", kRate, kFrames - 128, 0, 0, 2500, 0},
                                         Kind{"opus.ogg", 48000, 24000, 0, 0, 0, 300},
                                         Kind{"tone.aac", kRate, 23 * 1024, 1024, 0, 2500, 300},
                                         Kind{"tone.m4a", kRate, kFrames, 0, 0, 2500, 300},
                                         Kind{"tone.wma", kRate, 10 * 2048, 0, 2048, 2500, 0}));

TEST(SoundDecoder, RefusesWhatIsNoSound) {
    const auto opens = [](const std::string& text) {
        return SoundDecoder::open(Bytes(text.begin(), text.end())) != nullptr;
    };
    EXPECT_FALSE(opens(""));
    EXPECT_FALSE(opens("Just some text, long enough to look like something."));
    EXPECT_FALSE(opens(std::string("MThd\0\0\0\6\0\1\0\1\0\x60MTrk\0\0\0\4\0\xFF\x2F\0", 26)));
    // Lists of other files, and what would make the program go and get them.
    EXPECT_FALSE(opens("ffconcat version 1.0\nfile /etc/passwd\n"));
    EXPECT_FALSE(opens("#EXTM3U\n#EXT-X-TARGETDURATION:5\n#EXTINF:5,\nhttp://localhost/a.ts\n"));
}

} // namespace
} // namespace audio::test
