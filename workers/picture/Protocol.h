#pragma once

#include <cstdint>

/// What goes between the wizard and the process that decodes a picture for it, on one machine. The
/// process says kReady once it is shut in, gets the file behind its Length in bytes, answers with a
/// Reply and the pixels, and ends.
namespace picture::protocol {

using Length = std::uint64_t;

inline constexpr std::uint8_t kReady = 0x52;

struct Reply {
    std::uint32_t outcome; ///< A picture::Outcome.
    std::uint32_t width;
    std::uint32_t height;
};

/// More than is ever sent, in bytes.
inline constexpr Length kMostFileBytes = Length{64} << 20;

} // namespace picture::protocol
