#include "decoder/sound/windows/toStereo.h"

#include <algorithm>
#include <array>
#include <limits>

namespace sound {

namespace {

constexpr std::uint32_t kBitsPerByte = 8;

/// The upper 16 bits of a sample of `bytes`, or what 8 bits are of 16.
int load(const std::uint8_t* sample, std::uint32_t bytes) {
    if (bytes == 1)
        return (int{*sample} - 128) * 256;
    const unsigned upper = sample[bytes - 2] | (unsigned{sample[bytes - 1]} << kBitsPerByte);
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(upper));
}

} // namespace

void appendStereo(std::span<const std::uint8_t> pcm, PcmFormat format, std::uint32_t channels,
                  std::vector<std::int16_t>& out) {
    const std::uint32_t bytes = format.bits / kBitsPerByte;
    const std::size_t frameBytes = std::size_t{bytes} * format.channels;
    out.reserve(out.size() + pcm.size() / frameBytes * channels);
    for (; pcm.size() >= frameBytes; pcm = pcm.subspan(frameBytes)) {
        std::array<int, 2> front{};
        int others = 0;
        for (std::uint32_t i = 0; i < format.channels; ++i) {
            const int sample = load(pcm.data() + std::size_t{i} * bytes, bytes);
            if (i < front.size())
                front[i] = sample;
            else
                others += sample / 2;
        }
        if (format.channels == 1)
            front[1] = front[0];
        for (std::uint32_t i = 0; i < channels; ++i)
            out.push_back(static_cast<std::int16_t>(
                std::clamp<int>(front[i] + others, std::numeric_limits<std::int16_t>::min(),
                                std::numeric_limits<std::int16_t>::max())));
    }
}

} // namespace sound
