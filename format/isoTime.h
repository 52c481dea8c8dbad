#pragma once

#include <cstdint>
#include <string>

namespace format {

/// A FILETIME as ISO 8601 in UTC with all its digits, "2024-05-01T12:34:56.1234567Z". Empty for 0,
/// and for what is no date between the years 1601 and 9999.
[[nodiscard]] std::string isoTime(std::int64_t fileTime);

} // namespace format
