#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace platform {

/// Waits until `bytes` is full of what comes from standard input, as bytes. Returns how many there
/// were: fewer at its end.
std::size_t readInput(std::span<std::uint8_t> bytes);

/// Writes all of `bytes` to standard output; false when nobody takes them.
bool writeOutput(std::span<const std::uint8_t> bytes);

} // namespace platform
