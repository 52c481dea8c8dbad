#include "format/WideText.h"

namespace format {

namespace {

constexpr char32_t kFirstHighSurrogate = 0xD800;
constexpr char32_t kFirstLowSurrogate = 0xDC00;
constexpr char32_t kFirstAfterSurrogates = 0xE000;
constexpr char32_t kFirstSupplementary = 0x10000;
constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kLastCodePoint = 0x10FFFF;
constexpr bool kWideIsUtf16 = sizeof(wchar_t) == sizeof(char16_t);

bool isHighSurrogate(char32_t unit) {
    return unit >= kFirstHighSurrogate && unit < kFirstLowSurrogate;
}

bool isLowSurrogate(char32_t unit) {
    return unit >= kFirstLowSurrogate && unit < kFirstAfterSurrogates;
}

/// Takes one code point off UTF-16 text at `at` and moves `at` past it; a lone surrogate is its
/// own code point. `unitAt(i)` gives unit i of `count`.
template <typename UnitAt>
char32_t takeUtf16(UnitAt unitAt, std::size_t count, std::size_t& at) {
    const char32_t unit = unitAt(at++);
    if (!isHighSurrogate(unit) || at == count || !isLowSurrogate(unitAt(at)))
        return unit;
    const char32_t low = unitAt(at++);
    return kFirstSupplementary + ((unit - kFirstHighSurrogate) << 10) + (low - kFirstLowSurrogate);
}

template <typename Text>
void appendUtf16(Text& text, char32_t codePoint) {
    using Unit = typename Text::value_type;
    if (codePoint < kFirstSupplementary) {
        text.push_back(static_cast<Unit>(codePoint));
        return;
    }
    const char32_t rest = codePoint - kFirstSupplementary;
    text.push_back(static_cast<Unit>(kFirstHighSurrogate + (rest >> 10)));
    text.push_back(static_cast<Unit>(kFirstLowSurrogate + (rest & 0x3FF)));
}

void appendWide(std::wstring& text, char32_t codePoint) {
    if constexpr (kWideIsUtf16)
        appendUtf16(text, codePoint);
    else
        text.push_back(static_cast<wchar_t>(codePoint));
}

char32_t takeWide(std::wstring_view text, std::size_t& at) {
    const auto unitAt = [text](std::size_t i) { return static_cast<char32_t>(text[i]); };
    // Wide text made from pieces may hold a pair as two code points even where one would do.
    return takeUtf16(unitAt, text.size(), at);
}

template <typename UnitAt>
std::wstring wideFromUnits(UnitAt unitAt, std::size_t count) {
    // At most a character for each unit. A scan does this once for every file.
    std::wstring text(count, L'\0');
    wchar_t* end = text.data();
    for (std::size_t at = 0; at < count;) {
        if constexpr (kWideIsUtf16)
            *end++ = static_cast<wchar_t>(unitAt(at++));
        else
            *end++ = static_cast<wchar_t>(takeUtf16(unitAt, count, at));
    }
    text.resize(static_cast<std::size_t>(end - text.data()));
    return text;
}

void appendUtf8(std::string& text, char32_t codePoint) {
    const auto put = [&text](char32_t byte) { text.push_back(static_cast<char>(byte)); };
    if (codePoint < 0x80) {
        put(codePoint);
    } else if (codePoint < 0x800) {
        put(0xC0 | (codePoint >> 6));
        put(0x80 | (codePoint & 0x3F));
    } else if (codePoint < kFirstSupplementary) {
        put(0xE0 | (codePoint >> 12));
        put(0x80 | ((codePoint >> 6) & 0x3F));
        put(0x80 | (codePoint & 0x3F));
    } else {
        put(0xF0 | (codePoint >> 18));
        put(0x80 | ((codePoint >> 12) & 0x3F));
        put(0x80 | ((codePoint >> 6) & 0x3F));
        put(0x80 | (codePoint & 0x3F));
    }
}

/// Takes one code point off UTF-8 text; a byte that starts no whole sequence is U+FFFD.
char32_t takeUtf8(std::string_view text, std::size_t& at) {
    const auto byteAt = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byteAt(at++);
    if (first < 0x80)
        return first;
    std::size_t following = 0;
    char32_t codePoint = 0;
    char32_t smallest = 0;
    if ((first & 0xE0) == 0xC0) {
        following = 1;
        codePoint = first & 0x1F;
        smallest = 0x80;
    } else if ((first & 0xF0) == 0xE0) {
        following = 2;
        codePoint = first & 0x0F;
        smallest = 0x800;
    } else if ((first & 0xF8) == 0xF0) {
        following = 3;
        codePoint = first & 0x07;
        smallest = kFirstSupplementary;
    } else {
        return kReplacement;
    }
    if (text.size() - at < following)
        return kReplacement;
    for (std::size_t i = 0; i < following; ++i) {
        if ((byteAt(at + i) & 0xC0) != 0x80)
            return kReplacement;
        codePoint = (codePoint << 6) | (byteAt(at + i) & 0x3F);
    }
    if (codePoint < smallest || codePoint > kLastCodePoint)
        return kReplacement;
    at += following;
    return codePoint;
}

} // namespace

std::wstring wideFromUtf16Le(std::span<const std::uint8_t> bytes) {
    const auto unitAt = [bytes](std::size_t i) {
        return static_cast<char32_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
    };
    return wideFromUnits(unitAt, bytes.size() / 2);
}

std::wstring wideFromUtf16(std::u16string_view units) {
    const auto unitAt = [units](std::size_t i) { return static_cast<char32_t>(units[i]); };
    return wideFromUnits(unitAt, units.size());
}

std::u16string utf16FromWide(std::wstring_view text) {
    std::u16string units;
    units.reserve(text.size());
    for (std::size_t at = 0; at < text.size();)
        appendUtf16(units, takeWide(text, at));
    return units;
}

std::string utf8FromWide(std::wstring_view text) {
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t at = 0; at < text.size();)
        appendUtf8(bytes, takeWide(text, at));
    return bytes;
}

std::wstring wideFromUtf8(std::string_view text) {
    std::wstring wide;
    wide.reserve(text.size());
    for (std::size_t at = 0; at < text.size();)
        appendWide(wide, takeUtf8(text, at));
    return wide;
}

} // namespace format
