#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

/// Conversions between the text forms the program meets. `wchar_t` holds UTF-16 units on Windows
/// and whole code points on Linux. Nothing is ever dropped: a surrogate without its partner is
/// kept as it is (in UTF-8 as its own three-byte sequence), so that two different names on a
/// volume never become one.
namespace format {

/// UTF-16 units, little-endian as on disk, to wide text. A last odd byte is ignored.
[[nodiscard]] std::wstring wideFromUtf16Le(std::span<const std::uint8_t> bytes);

/// UTF-16 units to wide text.
[[nodiscard]] std::wstring wideFromUtf16(std::u16string_view units);

/// Wide text to UTF-16 units.
[[nodiscard]] std::u16string utf16FromWide(std::wstring_view text);

/// Wide text to UTF-8.
[[nodiscard]] std::string utf8FromWide(std::wstring_view text);

/// UTF-8 to wide text; bytes that are no UTF-8 become U+FFFD, one each.
[[nodiscard]] std::wstring wideFromUtf8(std::string_view text);

} // namespace format
