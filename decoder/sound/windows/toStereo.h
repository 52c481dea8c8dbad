#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace sound {

/// Whole numbers as the system's decoders give them, little-endian; those of 8 bits from 0 to 255.
struct PcmFormat {
    std::uint32_t channels; ///< At least 1.
    std::uint32_t bits;     ///< Of one sample: 8, 16, 24 or 32.
};

/// Appends the whole frames of `pcm` to `out` as 16-bit samples of `channels`, 1 or 2. Channels
/// behind the second are heard at half their strength on both sides.
void appendStereo(std::span<const std::uint8_t> pcm, PcmFormat format, std::uint32_t channels,
                  std::vector<std::int16_t>& out);

} // namespace sound
