#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace platform {

/// The two code pages of one byte or two to a character that Windows has for each language.
enum class CodePage {
    Ansi, ///< Of programs and their text files.
    Oem,  ///< Of the 8.3 names on FAT volumes.
};

/// Text in a code page of the person who uses this machine, as wide text; on Linux of the locale
/// ($LC_ALL, $LC_CTYPE, $LANG), whose own character set, when it has one besides UTF-8, is the
/// ANSI one. Bytes below 0x80 stay what they are; what has no character in the code page, or
/// only a control character above them, becomes U+FFFD. Nothing when the system cannot convert
/// from that code page.
[[nodiscard]] std::optional<std::wstring>
wideFromSystemCodePage(std::span<const std::uint8_t> bytes, CodePage page = CodePage::Ansi);

} // namespace platform
