#pragma once

#include <cstddef>
#include <cstdint>

namespace decoder {

/// What the sound decodes to. Each request after it is answered with samples, until the process'
/// input ends.
struct SoundFormat {
    std::uint64_t length;   ///< Bytes of the decoded sound; 0 when it cannot be decoded.
    std::uint32_t rate;     ///< Sample frames a second.
    std::uint32_t channels; ///< 1 or 2, 16 bits each.
};

struct SoundRequest {
    std::uint64_t position; ///< In the decoded sound, bytes.
    std::uint64_t count;    ///< Bytes wanted, at most kMostPieceBytes.
};

inline constexpr std::size_t kMostPieceBytes = std::size_t{1} << 20;
inline constexpr std::uint32_t kMostRate = 768000;
inline constexpr std::uint32_t kMostChannels = 2;
inline constexpr std::uint32_t kSampleBytes = sizeof(std::int16_t);

} // namespace decoder
