#include "audio/Bass.h"
#include "tests/audio/Tone.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <thread>

#include <unistd.h>

namespace audio::test {
namespace {

bool waitFor(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

/// The player's library on one of SDL's drivers, none of which needs a sound card.
class BassTest : public testing::Test {
protected:
    ~BassTest() override { BASS_Free(); }

    static int init(const char* driver) {
        ::setenv("SDL_AUDIODRIVER", driver, 1);
        return BASS_Init(-1, 44100, 0, nullptr, nullptr);
    }

    static HSTREAM open(const Bytes& file) {
        return BASS_StreamCreateFile(1, file.data(), 0, file.size(), 0);
    }

    static std::uint64_t position(HSTREAM stream) {
        return BASS_ChannelGetPosition(stream, BASS_POS_BYTE);
    }
};

TEST_F(BassTest, PlaysPausesSeeksAndEnds) {
    ASSERT_NE(init("dummy"), 0);
    EXPECT_EQ(init("dummy"), 0); // Taken already.
    const Bytes file = wav(3 * kRate);
    const HSTREAM stream = open(file);
    ASSERT_NE(stream, 0U);
    const std::uint64_t length = 3 * kRate * kFrameBytes;
    EXPECT_EQ(BASS_ChannelGetLength(stream, BASS_POS_BYTE), length);
    EXPECT_EQ(position(stream), 0U);

    EXPECT_NE(BASS_ChannelPlay(stream, 0), 0);
    EXPECT_TRUE(waitFor([&] { return position(stream) > 0; }));
    EXPECT_NE(BASS_ChannelPause(stream), 0);
    EXPECT_EQ(BASS_ChannelPause(stream), 0);
    const std::uint64_t paused = position(stream);
    EXPECT_LT(paused, length);
    std::this_thread::sleep_for(std::chrono::milliseconds(60));
    EXPECT_EQ(position(stream), paused);

    EXPECT_NE(BASS_ChannelSetPosition(stream, length / 2 + 3, BASS_POS_BYTE), 0);
    EXPECT_EQ(position(stream), length / 2);
    EXPECT_EQ(BASS_ChannelSetPosition(stream, length + 1, BASS_POS_BYTE), 0);
    EXPECT_NE(BASS_ChannelPlay(stream, 0), 0);
    EXPECT_TRUE(waitFor([&] { return position(stream) > length / 2; }));
    EXPECT_NE(BASS_ChannelSetPosition(stream, length - 4000, BASS_POS_BYTE), 0);
    EXPECT_TRUE(waitFor([&] { return position(stream) == length; }));
    EXPECT_EQ(BASS_ChannelPause(stream), 0); // It has ended by itself.
    EXPECT_NE(BASS_ChannelPlay(stream, 0), 0);
    EXPECT_TRUE(waitFor([&] { return position(stream) > 0 && position(stream) < length; }));
    EXPECT_NE(BASS_ChannelStop(stream), 0);

    // Another one, freed while it plays.
    const Bytes second = load("tone.ogg");
    const HSTREAM other = open(second);
    ASSERT_NE(other, 0U);
    EXPECT_NE(BASS_ChannelPlay(other, 1), 0);
    EXPECT_NE(BASS_StreamFree(other), 0);
    EXPECT_EQ(BASS_StreamFree(other), 0);
    EXPECT_EQ(position(other), BASS_NO_POSITION);
    EXPECT_NE(BASS_ChannelPlay(stream, 0), 0);
    EXPECT_NE(BASS_Free(), 0);
    EXPECT_EQ(position(stream), BASS_NO_POSITION);
}

TEST_F(BassTest, WhatIsHeardIsWhatWasDecoded) {
    const kova::test::TempDir folder;
    ::setenv("SDL_DISKAUDIOFILE", (folder / "heard").c_str(), 1);
    ASSERT_NE(init("disk"), 0);
    const Bytes file = wav();
    const HSTREAM stream = open(file);
    ASSERT_NE(stream, 0U);
    EXPECT_NE(BASS_ChannelSetPosition(stream, 4000, BASS_POS_BYTE), 0);
    EXPECT_NE(BASS_ChannelPlay(stream, 0), 0);
    EXPECT_TRUE(waitFor([&] { return position(stream) == kFrames * kFrameBytes; }));
    EXPECT_NE(BASS_Free(), 0);

    std::ifstream in(folder / "heard", std::ios::binary);
    const Bytes heard{std::istreambuf_iterator<char>(in), {}};
    const Bytes played = tone();
    // Before it came up, and after the end, there was silence.
    EXPECT_NE(std::search(heard.begin(), heard.end(), played.begin() + 4000, played.end()),
              heard.end());
}

TEST_F(BassTest, OutlivesItsDecoder) {
    ASSERT_NE(init("dummy"), 0);
    const Bytes file = wav(60 * kRate);
    const HSTREAM stream = open(file);
    ASSERT_NE(stream, 0U);
    std::ifstream children("/proc/self/task/" + std::to_string(::getpid()) + "/children");
    pid_t decoder = 0;
    ASSERT_TRUE(children >> decoder);
    EXPECT_NE(BASS_ChannelPlay(stream, 0), 0);
    EXPECT_EQ(::kill(decoder, SIGKILL), 0);
    const std::uint64_t length = BASS_ChannelGetLength(stream, BASS_POS_BYTE);
    EXPECT_TRUE(waitFor([&] { return position(stream) == length; })); // Over.
    EXPECT_NE(BASS_ChannelPlay(stream, 0), 0);
    EXPECT_TRUE(waitFor([&] { return position(stream) == length; }));
    EXPECT_NE(open(load("tone.flac")), 0U); // The next sound has a decoder of its own.
}

TEST_F(BassTest, WithoutADeviceOrASoundEverythingFailsQuietly) {
    EXPECT_EQ(init("nosuchdriver"), 0);
    const Bytes file = wav();
    EXPECT_EQ(open(file), 0U);
    EXPECT_EQ(BASS_Free(), 0);
    ASSERT_NE(init("dummy"), 0);
    EXPECT_EQ(open(Bytes(1000, 'x')), 0U);
    EXPECT_EQ(open({}), 0U);
    for (const HSTREAM none : {0U, 77U}) {
        EXPECT_EQ(BASS_ChannelPlay(none, 0), 0);
        EXPECT_EQ(BASS_ChannelPause(none), 0);
        EXPECT_EQ(BASS_ChannelStop(none), 0);
        EXPECT_EQ(BASS_ChannelSetPosition(none, 0, BASS_POS_BYTE), 0);
        EXPECT_EQ(BASS_ChannelGetLength(none, BASS_POS_BYTE), BASS_NO_POSITION);
        EXPECT_EQ(BASS_StreamFree(none), 0);
    }
}

} // namespace
} // namespace audio::test
