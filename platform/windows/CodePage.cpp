#include "platform/CodePage.h"

#include "platform/System.h"

#include <limits>

#include <windows.h>

namespace platform {

namespace {

/// Not the active one, which the program's manifest makes UTF-8. 0 when the locale's language
/// has only Unicode.
UINT codePageOf(LCID locale, LCTYPE which) {
    DWORD number = 0;
    const int got =
        GetLocaleInfoW(locale, which | LOCALE_RETURN_NUMBER, reinterpret_cast<LPWSTR>(&number),
                       sizeof number / sizeof(wchar_t));
    return got != 0 && number > CP_THREAD_ACP ? number : 0;
}

UINT codePageNumber(CodePage page) {
    constexpr UINT kWesternEurope = 1252;
    constexpr UINT kUnitedStates = 437;
    // The file system's driver knows no user.
    const UINT number = page == CodePage::Ansi
                            ? codePageOf(LOCALE_USER_DEFAULT, LOCALE_IDEFAULTANSICODEPAGE)
                            : codePageOf(LOCALE_SYSTEM_DEFAULT, LOCALE_IDEFAULTCODEPAGE);
    if (number != 0 && number != CP_UTF8)
        return number;
    return page == CodePage::Ansi ? kWesternEurope : kUnitedStates;
}

} // namespace

std::optional<std::wstring> convertFromCodePage(std::span<const std::uint8_t> bytes,
                                                CodePage page) {
    if (bytes.empty())
        return std::wstring();
    if (bytes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        return std::nullopt;
    const UINT number = codePageNumber(page);
    const auto* const source = reinterpret_cast<const char*>(bytes.data());
    const int length = static_cast<int>(bytes.size());
    const int room = MultiByteToWideChar(number, 0, source, length, nullptr, 0);
    if (room <= 0)
        return std::nullopt;
    std::wstring text(static_cast<std::size_t>(room), L'\0');
    if (MultiByteToWideChar(number, 0, source, length, text.data(), room) != room)
        return std::nullopt;
    return text;
}

} // namespace platform
