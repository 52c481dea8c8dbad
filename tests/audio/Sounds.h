#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace audio::test {

using ByteVector = std::vector<std::uint8_t>;

inline ByteVector fixture(const std::string& name) {
    std::ifstream file(ORVANE_SOURCE_DIR "/tests/audio/data/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A 16-bit stereo WAV of `frames` frames, none of them silent. `saidBytes` is what its header
/// says of the samples' length; what programs write that do not know it is the greatest number.
inline ByteVector wav(std::uint32_t rate, std::size_t frames, std::uint32_t saidBytes) {
    ByteVector file;
    const auto text = [&](std::string_view word) {
        for (const char letter : word)
            file.push_back(static_cast<std::uint8_t>(letter));
    };
    const auto number = [&](std::uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i)
            file.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    };
    text("RIFF");
    number(saidBytes, 4);
    text("WAVE");
    text("fmt ");
    number(16, 4);
    number(1, 2); // PCM
    number(2, 2); // channels
    number(rate, 4);
    number(rate * 4, 4);
    number(4, 2);
    number(16, 2);
    text("data");
    number(saidBytes, 4);
    std::uint32_t noise = 1;
    for (std::size_t i = 0; i < frames; ++i) {
        noise = noise * 1664525 + 1013904223;
        number(noise | 0x00010001, 4);
    }
    return file;
}

} // namespace audio::test
