#include "decoder/sound/SoundDecoder.h"
#include "tests/audio/Sounds.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/log.h>
}

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <random>

namespace sound {

namespace {

using audio::test::ByteVector;
using audio::test::fixture;

ByteVector readFrom(SoundDecoder& decoder, std::uint64_t position, std::size_t most) {
    ByteVector samples(most);
    samples.resize(decoder.read(position, samples));
    return samples;
}

ByteVector readAll(SoundDecoder& decoder) {
    ByteVector all;
    for (;;) {
        const ByteVector piece = readFrom(decoder, all.size(), 30000);
        if (piece.empty())
            return all;
        all.insert(all.end(), piece.begin(), piece.end());
    }
}

std::vector<std::int16_t> samplesOf(const ByteVector& bytes) {
    std::vector<std::int16_t> samples(bytes.size() / 2);
    std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
    return samples;
}

/// One second of a rising tone at 22050 Hz, as each format keeps it.
struct Sound {
    const char* file;
    std::uint32_t rate;
    std::uint64_t frames;
    bool aligned; ///< The format says where the tone begins.
};

constexpr Sound kSounds[] = {
    {"chirp.mp3", 22050, 22050, true},      {"chirp.ogg", 22050, 22050, true},
    {"chirp-opus.ogg", 48000, 48000, true}, {"chirp.flac", 22050, 22050, true},
    {"chirp.m4a", 22050, 22050, true},      {"chirp.aac", 22050, 23 * 1024, false},
    {"chirp.wma", 22050, 21 * 1024, false}};

} // namespace

class SoundDecoderTest : public testing::Test {
protected:
    SoundDecoderTest() { av_log_set_level(AV_LOG_QUIET); }
};

TEST_F(SoundDecoderTest, EveryKindIsAsLongAsItsToneAndSoundsLikeIt) {
    for (const Sound& sound : kSounds) {
        SCOPED_TRACE(sound.file);
        const auto decoder = SoundDecoder::open(fixture(sound.file));
        ASSERT_TRUE(decoder);
        EXPECT_EQ(decoder->rate(), sound.rate);
        EXPECT_EQ(decoder->channels(), 1U);
        EXPECT_EQ(decoder->length(), sound.frames * 2);
        const auto samples = samplesOf(readAll(*decoder));
        ASSERT_EQ(samples.size(), sound.frames);
        double error = 0;
        double power = 0;
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const double t = static_cast<double>(i) / sound.rate;
            const double tone = 16000 * std::sin(2 * std::numbers::pi * (200 * t + 400 * t * t));
            error += (tone - samples[i]) * (tone - samples[i]);
            power += double{1} * samples[i] * samples[i];
        }
        const auto count = static_cast<double>(samples.size());
        EXPECT_GT(std::sqrt(power / count), 9000);
        if (sound.aligned) {
            EXPECT_LT(std::sqrt(error / count), 1600);
        }
    }
}

TEST_F(SoundDecoderTest, AVariableBitRateWithoutAnIndexIsCountedExactly) {
    const auto decoder = SoundDecoder::open(fixture("vbr.mp3"));
    ASSERT_TRUE(decoder);
    // 117 packets of 576 frames; by its first bit rate it would be another length.
    EXPECT_EQ(decoder->length(), 117U * 576 * 2);
    EXPECT_EQ(readAll(*decoder).size(), decoder->length());
}

TEST_F(SoundDecoderTest, AnyByteCanBeReached) {
    std::minstd_rand random(1);
    for (const char* name : {"chirp.mp3", "vbr.mp3", "chirp.ogg", "chirp-opus.ogg", "chirp.flac",
                             "chirp.m4a", "chirp.aac", "chirp.wma"}) {
        SCOPED_TRACE(name);
        const auto decoder = SoundDecoder::open(fixture(name));
        ASSERT_TRUE(decoder);
        const ByteVector all = readAll(*decoder);
        for (int i = 0; i < 40; ++i) {
            const std::uint64_t position = random() % (all.size() + 10);
            const std::uint64_t first = position / 2 * 2;
            const std::size_t count =
                first < all.size() ? std::min<std::size_t>(3000, all.size() - first) : 0;
            const auto piece = samplesOf(readFrom(*decoder, position, 3001));
            ASSERT_EQ(piece.size(), count / 2) << position;
            const auto at = all.begin() + static_cast<std::ptrdiff_t>(std::min(first, all.size()));
            const auto expected = samplesOf({at, at + static_cast<std::ptrdiff_t>(count)});
            // A lossy decoder that starts elsewhere comes very near.
            for (std::size_t s = 0; s < piece.size(); ++s)
                ASSERT_NEAR(piece[s], expected[s], 160) << position << " + " << s;
        }
    }
}

TEST_F(SoundDecoderTest, WavIsGivenAsItIs) {
    constexpr std::size_t kFrames = 50001;
    for (const std::uint32_t said : {std::uint32_t{kFrames * 4}, 0xFFFFFFFFU}) {
        const ByteVector file = audio::test::wav(44100, kFrames, said);
        const auto decoder = SoundDecoder::open(file);
        ASSERT_TRUE(decoder);
        EXPECT_EQ(decoder->length(), kFrames * 4);
        EXPECT_EQ(readAll(*decoder), ByteVector(file.end() - kFrames * 4, file.end()));
    }
}

TEST_F(SoundDecoderTest, DamageNeitherMovesNorLengthensASound) {
    std::minstd_rand random(2);
    for (const Sound& sound : kSounds) {
        SCOPED_TRACE(sound.file);
        const ByteVector whole = fixture(sound.file);
        for (int i = 0; i < 60; ++i) {
            ByteVector damaged = whole;
            for (int byte = 0; byte < 8; ++byte)
                damaged[random() % damaged.size()] = static_cast<std::uint8_t>(random());
            if (i % 2 == 0)
                damaged.resize(random() % damaged.size());
            const auto decoder = SoundDecoder::open(damaged);
            if (decoder && decoder->length() < (std::uint64_t{64} << 20)) {
                EXPECT_EQ(readAll(*decoder).size(), decoder->length());
            }
        }
    }
}

TEST_F(SoundDecoderTest, WhatIsNoSoundIsNotOpened) {
    const std::string texts[] = {
        "", "Just a text, as one finds them.", "#EXTM3U\n#EXTINF:1,x\nfile:///etc/passwd\n",
        "ffconcat version 1.0\nfile '/etc/hostname'\n",
        std::string("MThd\0\0\0\6\0\0\0\1\0\x60MTrk\0\0\0\4\0\xff\x2f\0", 26)};
    for (const std::string& text : texts)
        EXPECT_FALSE(SoundDecoder::open(ByteVector(text.begin(), text.end()))) << text;
}

} // namespace sound
