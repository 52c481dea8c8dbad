#pragma once

#include "decoder/Message.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

/// The decoder process' side of the talk: standard input and output.
namespace decoder::server {

/// Shuts the process in for good and says that it is ready. False when it must not go on.
[[nodiscard]] bool enter();

[[nodiscard]] bool send(Kind kind, std::span<const std::uint8_t> bytes);

/// The file to decode; nothing when it is cut short.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> receiveFile();

/// Fills `bytes` with the next message, which is of this kind and size; false when it is not, or
/// the owner has gone.
[[nodiscard]] bool receive(Kind kind, std::span<std::uint8_t> bytes);

} // namespace decoder::server
