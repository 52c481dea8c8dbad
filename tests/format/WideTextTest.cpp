#include "format/WideText.h"

#include <gtest/gtest.h>

#include <vector>

namespace format::test {
namespace {

std::vector<std::uint8_t> littleEndianBytes(std::u16string_view units) {
    std::vector<std::uint8_t> bytes;
    for (const char16_t unit : units) {
        bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
        bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
    }
    return bytes;
}

TEST(WideText, EveryTextSurvivesTheWayThroughEveryForm) {
    const std::u16string texts[] = {
        u"",
        u"plain",
        u"gr\u00fc\u00dfe \u6587\u4ef6 \U0001F600\U0010FFFF",
        std::u16string(u"zero") + u'\0' + u"inside",
        {0xD83D},                         // half of a pair, at the end
        {0xDE00, 0xD83D},                 // a pair the wrong way round
        {0xD83D, 0xD83D, 0xDE00, 0xDE00}, // a pair between halves
        {0xFFFF, 0xFFFE, 0xFEFF, 0x7F, 0x80, 0x7FF, 0x800},
    };
    for (const std::u16string& text : texts) {
        const std::wstring wide = wideFromUtf16(text);
        EXPECT_EQ(utf16FromWide(wide), text);
        std::vector<std::uint8_t> bytes = littleEndianBytes(text);
        bytes.push_back('x'); // half a unit is ignored
        EXPECT_EQ(wideFromUtf16Le(bytes), wide);
        EXPECT_EQ(wideFromUtf8(utf8FromWide(wide)), wide);
    }
}

TEST(WideText, Utf8IsAsTheStandardSaysAndHalfPairsTakeThreeBytes) {
    EXPECT_EQ(utf8FromWide(L"a\u00e4\u6587"), "a\xC3\xA4\xE6\x96\x87");
    EXPECT_EQ(utf8FromWide(wideFromUtf16(u"\U0001F600")), "\xF0\x9F\x98\x80");
    EXPECT_EQ(utf8FromWide(wideFromUtf16(std::u16string{0xD83D})), "\xED\xA0\xBD");
    // A pair that was put together from two texts is a pair.
    const std::wstring halves{static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)};
    EXPECT_EQ(utf8FromWide(halves), "\xF0\x9F\x98\x80");
    EXPECT_EQ(utf16FromWide(halves).size(), 2U);
}

TEST(WideText, BytesThatAreNoUtf8AreReplacedOneByOne) {
    EXPECT_EQ(wideFromUtf8("a\xFFz"), L"a\uFFFDz");
    EXPECT_EQ(wideFromUtf8("\xE6\x96"), L"\uFFFD\uFFFD");            // cut short
    EXPECT_EQ(wideFromUtf8("\xE6\x96z"), L"\uFFFD\uFFFDz");          // broken off
    EXPECT_EQ(wideFromUtf8("\xC0\xAF"), L"\uFFFD\uFFFD");            // '/' the long way
    EXPECT_EQ(wideFromUtf8("\xF4\x90\x80\x80").size(), 4U);          // beyond the last
    EXPECT_EQ(wideFromUtf8(std::string_view("a\0b", 3)).size(), 3U); // zero is a character
}

} // namespace
} // namespace format::test
