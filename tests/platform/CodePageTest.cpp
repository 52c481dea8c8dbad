#include "platform/CodePage.h"
#include "platform/Environment.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <span>
#include <string_view>

namespace platform::test {
namespace {

struct Text {
    const char* locale;
    CodePage page;
    std::string_view bytes;
    std::wstring_view wide;
};

/// The tests run where Windows speaks American English.
constexpr Text kAmerican[] = {
    {"C", CodePage::Ansi, "a\n\x80\xE9\x81z", L"a\n\u20AC\u00E9\uFFFDz"},
    {"en_US.UTF-8", CodePage::Oem, "\x82\x9B\xFF", L"\u00E9\u00A2\u00A0"},
    {"C", CodePage::Oem, "", L""},
};

constexpr Text kOthers[] = {
    {"de_DE@euro", CodePage::Oem, "\x9B", L"\u00F8"},
    {"en_GB.utf8", CodePage::Oem, "\x9B", L"\u00F8"},
    {"ru_RU.UTF-8", CodePage::Ansi, "\xEF\xF0\xE8", L"\u043F\u0440\u0438"},
    {"ru", CodePage::Oem, "\xAF\xE0\xA8", L"\u043F\u0440\u0438"},
    {"ru_RU.KOI8-R", CodePage::Ansi, "\xD0\xD2\xC9", L"\u043F\u0440\u0438"},
    {"de_DE.ISO-8859-1", CodePage::Ansi, "\x85\xE4", L"\uFFFD\u00E4"},
    {"ja_JP.UTF-8", CodePage::Oem, "\x8E\xCA\\\xB1\x8E", L"\u5199\\\uFF71\uFFFD"},
    {"zh_TW.UTF-8", CodePage::Ansi, "\xB7\xD3", L"\u7167"},
    {"zh_CN.UTF-8", CodePage::Ansi, "\xD5\xD5", L"\u7167"},
    {"vi_VN.UTF-8", CodePage::Ansi, "\xE2", L"\u00E2"}, // an accent could still follow
};

void expectConverted(const Text& text) {
    SCOPED_TRACE(text.locale);
    setEnvironment("LC_ALL", text.locale);
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(text.bytes.data()),
                          text.bytes.size());
    EXPECT_EQ(wideFromSystemCodePage(bytes, text.page), std::wstring(text.wide));
}

TEST(CodePage, IsThatOfTheUsersLanguageAndNeverGivesControlCharacters) {
    for (const Text& text : kAmerican)
        expectConverted(text);
    if (std::filesystem::path::preferred_separator == '/') {
        for (const Text& text : kOthers)
            expectConverted(text);
        setEnvironment("LC_ALL", "xx.no-such-charset");
        EXPECT_FALSE(wideFromSystemCodePage({}));
    }
    setEnvironment("LC_ALL", "");
}

} // namespace
} // namespace platform::test
