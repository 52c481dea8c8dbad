#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

/// What goes between the back end and the process that decodes a sound for it, on one machine. The
/// process says kReady once it is shut in, gets the file behind its Length and answers with a
/// Format. Then it answers each Request with the Length of what it has there and that many bytes
/// of samples, until its input ends.
namespace audio::protocol {

using Length = std::uint64_t;

inline constexpr std::uint8_t kReady = 0x53;

struct Format {
    Length length;          ///< Bytes of the decoded sound; 0 when it cannot be decoded.
    std::uint32_t rate;     ///< Sample frames a second.
    std::uint32_t channels; ///< 1 or 2, 16 bits each.
};

struct Request {
    Length position; ///< In the decoded sound, bytes.
    Length count;    ///< Bytes wanted, at most kMostPieceBytes.
};

/// More than is ever sent, in bytes.
inline constexpr Length kMostFileBytes = Length{64} << 20;
inline constexpr Length kMostPieceBytes = Length{1} << 20;
inline constexpr std::uint32_t kMostRate = 768000;
inline constexpr std::uint32_t kMostChannels = 2;
inline constexpr std::uint32_t kSampleBytes = sizeof(std::int16_t);

/// A message as it is sent.
template <class Message>
using Bytes = std::array<std::uint8_t, sizeof(Message)>;

template <class Message>
[[nodiscard]] Bytes<Message> bytesOf(const Message& message) {
    return std::bit_cast<Bytes<Message>>(message);
}

} // namespace audio::protocol
