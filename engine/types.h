#pragma once

#include <cstdint>

namespace kova {

/// Signed 64-bit integer: the type of every node id, size and FILETIME value of the engine.
using int64 = std::int64_t;
using uint8 = std::uint8_t;
using uint16 = std::uint16_t;
using uint32 = std::uint32_t;
using uint64 = std::uint64_t;

/// Reserved node ids.
inline constexpr int64 kNoParent = -1;   ///< No parent; in tree reads it stands for the root.
inline constexpr int64 kLostFolder = -2; ///< "Files with unknown path": collects the orphans.

/// Ends the current operation with the engine's generic failure, the thrown `int` 0.
[[noreturn]] inline void fail() {
    throw 0; // NOLINT(hicpp-exception-baseclass): the failure every caller of the engine catches
}

} // namespace kova
