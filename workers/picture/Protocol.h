#pragma once

#include <cstdint>

/// What goes between the wizard and the process that decodes a picture for it, on one machine. The
/// process says kReady once it is shut in, gets the file, answers with an Outcome (1 byte) and the
/// PNG, and ends. File and PNG each follow their Length in bytes.
namespace picture::protocol {

using Length = std::uint64_t;

inline constexpr std::uint8_t kReady = 0x52;

/// More than is ever sent, in bytes.
inline constexpr Length kMostFileBytes = Length{64} << 20;
inline constexpr Length kMostPngBytes = Length{4} << 20;

} // namespace picture::protocol
