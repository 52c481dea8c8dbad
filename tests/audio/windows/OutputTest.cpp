#include "audio/Output.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

namespace audio {

namespace {

TEST(WindowsOutput, AsksForTurnsUntilItIsClosed) {
    if (!takeSystemSound(44100))
        GTEST_SKIP() << "there is no sound device";
    std::atomic<std::size_t> asked = 0;
    const decoder::SoundFormat format{.length = 1 << 20, .rate = 22050, .channels = 1};
    auto output = openOutput(format, [&](std::span<std::uint8_t> samples) {
        std::fill(samples.begin(), samples.end(), std::uint8_t{1});
        asked += samples.size();
    });
    ASSERT_NE(output, nullptr);
    // More than are under way at a time: what was played comes back.
    constexpr std::size_t kHalfSecond = 22050;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (asked < kHalfSecond && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    EXPECT_GE(asked, kHalfSecond);
    output.reset();
    const std::size_t last = asked;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(asked, last);
    releaseSystemSound();
}

} // namespace

} // namespace audio
