#pragma once

#include <chrono>
#include <cstdint>
#include <ratio>

/// FILETIME: 100 ns ticks since 1601-01-01, the time of every file in this program.
namespace format {

using FileTimeTicks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;

inline constexpr std::chrono::sys_days kFileTimeEpoch =
    std::chrono::year(1601) / std::chrono::January / 1;

inline constexpr std::int64_t kFileTimeTicksPerSecond = FileTimeTicks::period::den;
inline constexpr std::int64_t kFileTimeTicksPerMillisecond = kFileTimeTicksPerSecond / 1000;

/// From the FILETIME epoch to that of Unix, 1970-01-01.
inline constexpr std::int64_t kSecondsFrom1601To1970 =
    -std::chrono::seconds(kFileTimeEpoch.time_since_epoch()).count();
inline constexpr std::int64_t kFileTimeOf1970 = kSecondsFrom1601To1970 * kFileTimeTicksPerSecond;

} // namespace format
