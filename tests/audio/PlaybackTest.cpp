#include "audio/Bass.h"
#include "tests/audio/Sounds.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <thread>

#include <unistd.h>

namespace audio {

namespace {

using test::ByteVector;
using test::fixture;

constexpr std::uint32_t kRate = 44100;
constexpr std::uint64_t kSecond = std::uint64_t{kRate} * 4;

HSTREAM open(const ByteVector& file) {
    return BASS_StreamCreateFile(1, file.data(), 0, file.size(), 0);
}

std::uint64_t position(HSTREAM stream) {
    return BASS_ChannelGetPosition(stream, BASS_POS_BYTE);
}

std::uint64_t length(HSTREAM stream) {
    return BASS_ChannelGetLength(stream, BASS_POS_BYTE);
}

/// Whether it comes true; far sooner than this gives up, unless the machine hangs.
bool eventually(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

bool passes(HSTREAM stream, std::uint64_t bytes) {
    return eventually([=] { return position(stream) > bytes; });
}

bool ends(HSTREAM stream) {
    return eventually([=] { return position(stream) == length(stream); });
}

/// The children of this process that still run.
std::vector<pid_t> children() {
    std::vector<pid_t> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::ifstream status(entry.path() / "stat");
        pid_t id = 0;
        pid_t parent = 0;
        std::string name;
        char state = 0;
        if (status >> id >> name >> state >> parent && parent == ::getpid() && state != 'Z')
            found.push_back(id);
    }
    return found;
}

class Playback : public testing::Test {
protected:
    Playback() {
        use("dummy");
        EXPECT_NE(BASS_Init(-1, kRate, 0, nullptr, nullptr), 0);
    }

    Playback(const Playback&) = delete;
    Playback& operator=(const Playback&) = delete;

    ~Playback() override {
        BASS_Free();
        EXPECT_TRUE(children().empty());
    }

    static void use(const char* driver) { ::setenv("SDL_AUDIODRIVER", driver, 1); }
};

} // namespace

TEST_F(Playback, PausesResumesSeeksAndEnds) {
    const ByteVector file = test::wav(kRate, kRate, kSecond);
    const HSTREAM stream = open(file);
    ASSERT_NE(stream, 0U);
    EXPECT_EQ(length(stream), kSecond);
    EXPECT_EQ(position(stream), 0U);

    EXPECT_NE(BASS_ChannelPlay(stream, 0), 0);
    EXPECT_TRUE(passes(stream, 0));
    EXPECT_NE(BASS_ChannelPause(stream), 0);
    const std::uint64_t paused = position(stream);
    EXPECT_GT(paused, 0U);
    EXPECT_EQ(BASS_ChannelPause(stream), 0);
    EXPECT_EQ(position(stream), paused);

    EXPECT_NE(BASS_ChannelSetPosition(stream, 100003, BASS_POS_BYTE), 0);
    EXPECT_EQ(position(stream), 100000U);
    EXPECT_EQ(BASS_ChannelSetPosition(stream, kSecond + 1, BASS_POS_BYTE), 0);
    EXPECT_NE(BASS_ChannelPlay(stream, 0), 0);
    EXPECT_TRUE(passes(stream, 100000));
    EXPECT_NE(BASS_ChannelStop(stream), 0);
    EXPECT_NE(BASS_ChannelStop(stream), 0);
    EXPECT_GT(position(stream), 100000U);

    // While it plays, too; and an ended stream starts again.
    EXPECT_NE(BASS_ChannelPlay(stream, 0), 0);
    EXPECT_NE(BASS_ChannelSetPosition(stream, kSecond - 4000, BASS_POS_BYTE), 0);
    EXPECT_TRUE(ends(stream));
    EXPECT_EQ(BASS_ChannelPause(stream), 0);
    EXPECT_NE(BASS_ChannelPlay(stream, 0), 0);
    EXPECT_TRUE(eventually([=] { return position(stream) < kSecond; }));
    EXPECT_TRUE(ends(stream));
}

TEST_F(Playback, StreamsAreReplacedAndFreedWhileTheyPlay) {
    const ByteVector file = test::wav(kRate, kRate, kSecond);
    HSTREAM last = 0;
    for (int i = 0; i < 4; ++i) {
        const HSTREAM stream = open(i % 2 == 0 ? file : fixture("chirp.ogg"));
        ASSERT_NE(stream, 0U);
        EXPECT_EQ(BASS_StreamFree(last) != 0, last != 0);
        EXPECT_EQ(BASS_ChannelPlay(last, 0), 0);
        BASS_ChannelPlay(stream, 0);
        EXPECT_TRUE(passes(stream, 0));
        last = stream;
    }
    const HSTREAM other = open(file);
    BASS_ChannelPlay(other, 0);
    EXPECT_TRUE(passes(other, 0));
    BASS_Free();
    EXPECT_EQ(BASS_ChannelPlay(other, 0), 0);
    EXPECT_EQ(open(file), 0U);
}

TEST_F(Playback, WhatCannotBePlayedFailsHarmlessly) {
    for (const HSTREAM none : {HSTREAM{0}, HSTREAM{12345}}) {
        EXPECT_EQ(BASS_ChannelPlay(none, 0), 0);
        EXPECT_EQ(BASS_ChannelPause(none), 0);
        EXPECT_EQ(BASS_ChannelStop(none), 0);
        EXPECT_EQ(BASS_ChannelSetPosition(none, 0, BASS_POS_BYTE), 0);
        EXPECT_EQ(position(none), BASS_NO_POSITION);
        EXPECT_EQ(length(none), BASS_NO_POSITION);
        EXPECT_EQ(BASS_StreamFree(none), 0);
    }
    const std::string text = "No sound at all";
    EXPECT_EQ(open({text.begin(), text.end()}), 0U);
    EXPECT_EQ(open({}), 0U);
    EXPECT_TRUE(children().empty());
}

TEST_F(Playback, AKilledDecoderEndsTheStreamAndNothingElse) {
    const ByteVector file = test::wav(kRate, std::size_t{60} * kRate, 60 * kSecond);
    const HSTREAM stream = open(file);
    BASS_ChannelPlay(stream, 0);
    EXPECT_TRUE(passes(stream, 0));
    ASSERT_EQ(children().size(), 1U);
    ::kill(children().front(), SIGKILL);
    EXPECT_TRUE(ends(stream));
    EXPECT_NE(BASS_ChannelSetPosition(stream, 0, BASS_POS_BYTE), 0);
    const HSTREAM next = open(fixture("chirp.flac"));
    BASS_ChannelPlay(next, 0);
    EXPECT_TRUE(ends(next));
}

TEST_F(Playback, WithoutADeviceThereIsNoSound) {
    EXPECT_NE(BASS_Free(), 0);
    use("bogus");
    EXPECT_EQ(BASS_Init(-1, kRate, 0, nullptr, nullptr), 0);
    EXPECT_EQ(open(fixture("chirp.flac")), 0U);
    EXPECT_EQ(BASS_Free(), 0);
}

TEST_F(Playback, TheDeviceHearsExactlyWhatIsDecoded) {
    BASS_Free();
    const kova::test::TempDir folder;
    const std::string heardPath = folder / "heard.pcm";
    use("disk");
    ::setenv("SDL_DISKAUDIOFILE", heardPath.c_str(), 1);
    ASSERT_NE(BASS_Init(-1, kRate, 0, nullptr, nullptr), 0);
    // From the middle to the end: no frame is silent, so silence is what was not there in time.
    constexpr std::uint64_t kStart = kSecond / 2;
    const ByteVector file = test::wav(kRate, std::size_t{2} * kRate, 2 * kSecond);
    const HSTREAM stream = open(file);
    BASS_ChannelSetPosition(stream, kStart + 1, BASS_POS_BYTE);
    BASS_ChannelPlay(stream, 0);
    EXPECT_TRUE(ends(stream));
    BASS_Free();

    std::ifstream heardFile(heardPath, std::ios::binary);
    const ByteVector heard{std::istreambuf_iterator<char>(heardFile), {}};
    ByteVector sounds;
    for (std::size_t i = 0; i + 4 <= heard.size(); i += 4) {
        const auto frame = heard.begin() + static_cast<std::ptrdiff_t>(i);
        if (std::any_of(frame, frame + 4, [](std::uint8_t byte) { return byte != 0; }))
            sounds.insert(sounds.end(), frame, frame + 4);
    }
    EXPECT_EQ(sounds, ByteVector(file.end() - (2 * kSecond - kStart), file.end()));
}

} // namespace audio
