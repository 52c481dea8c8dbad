#include "decoder/sound/SoundDecoder.h"
#include "decoder/sound/windows/toStereo.h"
#include "tests/audio/Sounds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string_view>

namespace sound {

namespace {

using audio::test::ByteVector;
using audio::test::fixture;

ByteVector readFrom(SoundDecoder& decoder, std::uint64_t position, std::size_t most) {
    ByteVector samples(most);
    samples.resize(decoder.read(position, samples));
    return samples;
}

TEST(MediaDecoderTest, GivesAnyPlaceOfAWavAsItIs) {
    constexpr std::uint32_t kRate = 44100;
    constexpr std::size_t kBytes = std::size_t{8} * kRate * 4;
    const ByteVector file = audio::test::wav(kRate, kBytes / 4, kBytes);
    const auto decoder = SoundDecoder::open(file);
    if (!decoder)
        GTEST_SKIP() << "the system has no decoders";
    EXPECT_EQ(decoder->rate(), kRate);
    EXPECT_EQ(decoder->channels(), 2U);
    ASSERT_EQ(decoder->length(), kBytes);
    // From the start, far ahead, a little ahead, back, across the end, and behind it.
    constexpr std::size_t kPiece = 100'000;
    for (const std::size_t place : {std::size_t{0}, std::size_t{1'200'002}, std::size_t{1'320'000},
                                    std::size_t{40'004}, kBytes - 4000, kBytes}) {
        SCOPED_TRACE(place);
        const std::size_t from = place - place % 4;
        const auto start = file.end() - static_cast<std::ptrdiff_t>(kBytes - from);
        const auto size = static_cast<std::ptrdiff_t>(std::min(kPiece, kBytes - from));
        EXPECT_EQ(readFrom(*decoder, place, kPiece), ByteVector(start, start + size));
    }
    const std::string_view text = "#EXTM3U http://127.0.0.1/other.mp3";
    EXPECT_EQ(SoundDecoder::open(ByteVector(text.begin(), text.end())), nullptr);
    EXPECT_EQ(SoundDecoder::open({}), nullptr);
}

TEST(MediaDecoderTest, EveryKindIsAsLongAsItsToneAndLoud) {
    for (const char* name : {"chirp.mp3", "chirp.flac", "chirp.m4a", "chirp.aac"}) {
        SCOPED_TRACE(name);
        const auto decoder = SoundDecoder::open(fixture(name));
        if (!decoder)
            GTEST_SKIP() << "the system has no decoders";
        const double seconds =
            static_cast<double>(decoder->length()) / decoder->frameBytes() / decoder->rate();
        EXPECT_NEAR(seconds, 1, 0.1);
        const ByteVector all = readFrom(*decoder, 0, static_cast<std::size_t>(decoder->length()));
        EXPECT_EQ(all.size(), decoder->length());
        EXPECT_LT(std::count(all.begin(), all.end(), 0), all.size() / 10);
    }
}

TEST(ToStereoTest, MixesEveryDepthAndNumberOfChannels) {
    const struct {
        PcmFormat format;
        std::uint32_t channels;
        ByteVector pcm;
        std::vector<std::int16_t> samples;
    } cases[] = {
        {{1, 8}, 1, {0, 128, 255}, {-32768, 0, 32512}},
        {{2, 16}, 2, {1, 0x80, 0xFF, 0x7F, 5}, {-32767, 32767}},
        {{1, 24}, 2, {0xAA, 0x34, 0x12}, {0x1234, 0x1234}},
        {{4, 32}, 2, {0, 0, 0, 0x40, 0, 0, 0, 0x90, 0, 0, 0, 0x60, 0, 0, 0, 0x30}, {32767, -10240}},
    };

    for (const auto& [format, channels, pcm, samples] : cases) {
        SCOPED_TRACE(format.bits);
        std::vector<std::int16_t> out;
        appendStereo(pcm, format, channels, out);
        EXPECT_EQ(out, samples);
    }
}

} // namespace

} // namespace sound
