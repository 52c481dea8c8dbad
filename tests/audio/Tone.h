#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <numbers>
#include <string>
#include <string_view>
#include <vector>

namespace audio::test {

using Bytes = std::vector<std::uint8_t>;

/// The sound in tests/audio/data: half a second of two channels, a rising tone on the left.
inline constexpr std::uint32_t kRate = 44100;
inline constexpr std::uint64_t kFrames = kRate / 2;
inline constexpr std::uint64_t kFrameBytes = 4;

inline std::int16_t left(std::uint64_t frame) {
    const double time = static_cast<double>(frame) / kRate;
    const double turns = 300 * time + 800 * time * time;
    return static_cast<std::int16_t>(std::lrint(16000 * std::sin(2 * std::numbers::pi * turns)));
}

inline std::int16_t right(std::uint64_t frame) {
    const double time = static_cast<double>(frame) / kRate;
    return static_cast<std::int16_t>(
        std::lrint(12000 * std::sin(2 * std::numbers::pi * 500 * time)));
}

inline void append(Bytes& bytes, std::uint64_t value, int count) {
    for (int i = 0; i < count; ++i)
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

inline Bytes tone(std::uint64_t frames = kFrames) {
    Bytes bytes;
    for (std::uint64_t frame = 0; frame < frames; ++frame) {
        append(bytes, static_cast<std::uint16_t>(left(frame)), 2);
        append(bytes, static_cast<std::uint16_t>(right(frame)), 2);
    }
    return bytes;
}

/// The tone, or more of it, as a WAV file.
inline Bytes wav(std::uint64_t frames = kFrames) {
    const Bytes samples = tone(frames);
    Bytes file;
    const auto tag = [&file](std::string_view text) {
        std::copy(text.begin(), text.end(), std::back_inserter(file));
    };
    tag("RIFF");
    append(file, 36 + samples.size(), 4);
    tag("WAVE");
    tag("fmt ");
    append(file, 16, 4);
    append(file, 1, 2); // PCM
    append(file, 2, 2);
    append(file, kRate, 4);
    append(file, kRate * kFrameBytes, 4);
    append(file, kFrameBytes, 2);
    append(file, 16, 2);
    tag("data");
    append(file, samples.size(), 4);
    std::copy(samples.begin(), samples.end(), std::back_inserter(file));
    return file;
}

/// One of tests/audio/data, or the WAV file.
inline Bytes load(const std::string& name) {
    if (name == "tone.wav")
        return wav();
    std::ifstream file(ORVANE_SOURCE_DIR "/tests/audio/data/" + name, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << name;
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace audio::test
