#pragma once

#include "engine/types.h"

#include <span>
#include <string>
#include <string_view>

/// Texts and times inside files. Texts end at their first zero; characters that are none for
/// people to read become spaces, and those around the text are dropped.
namespace kova::text {

[[nodiscard]] std::wstring fromLatin1(std::span<const uint8> bytes);

[[nodiscard]] std::wstring fromUtf8(std::span<const uint8> bytes);
[[nodiscard]] std::wstring fromUtf8(std::string_view bytes);

/// A byte-order mark tells the order; big-endian without one.
[[nodiscard]] std::wstring fromUtf16(std::span<const uint8> bytes);

[[nodiscard]] std::wstring fromUtf16Le(std::span<const uint8> bytes);

/// Seconds since 1970 as a FILETIME; 0 stays 0, as does what a FILETIME cannot hold.
[[nodiscard]] int64 timeFromUnix(int64 seconds);

/// The time that twelve or more digits in this order give, whatever lies between them: year (4),
/// month, day, hour, minute, second if any ("2024:07:01 12:30:00", "2024-07-01T12:30:00Z",
/// "20240701123000"). 0 when it is no time.
[[nodiscard]] int64 timeFromDigits(std::string_view digits);

} // namespace kova::text
