#pragma once

#include <cstdint>

namespace format {

/// A DOS date (bits 0-4 day, 5-8 month, 9-15 years since 1980) and time (bits 0-4 seconds / 2,
/// 5-10 minutes, 11-15 hours) as a FILETIME (100 ns units since 1601), taken as they stand,
/// without a time zone. 0 when the date or the time does not exist.
[[nodiscard]] std::int64_t fileTimeFromDos(std::uint16_t date, std::uint16_t time);

} // namespace format
