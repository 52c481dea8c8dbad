#include "format/JsonLine.h"

#include "format/WideText.h"
#include "format/isoTime.h"

#include <array>
#include <cstdio>

namespace format {

namespace {

constexpr char16_t kFirstPrintable = 0x20;
constexpr char16_t kFirstSurrogate = 0xD800;
constexpr char16_t kFirstLowSurrogate = 0xDC00;
constexpr char16_t kLastSurrogate = 0xDFFF;

bool isHalfOfPair(std::u16string_view units, std::size_t at) {
    const char16_t unit = units[at];
    if (unit < kFirstSurrogate || unit > kLastSurrogate)
        return false;
    if (unit < kFirstLowSurrogate)
        return at + 1 == units.size() || units[at + 1] < kFirstLowSurrogate ||
               units[at + 1] > kLastSurrogate;
    return at == 0 || units[at - 1] < kFirstSurrogate || units[at - 1] >= kFirstLowSurrogate;
}

void appendEscape(std::string& text, char16_t unit) {
    std::array<char, 8> escape{};
    std::snprintf(escape.data(), escape.size(), "\\u%04X", static_cast<unsigned>(unit));
    text += escape.data();
}

} // namespace

JsonLine& JsonLine::add(const char* key, std::wstring_view text) {
    addKey(key);
    addText(utf16FromWide(text));
    return *this;
}

JsonLine& JsonLine::add(const char* key, std::string_view asciiText) {
    addKey(key);
    addText(std::u16string(asciiText.begin(), asciiText.end()));
    return *this;
}

JsonLine& JsonLine::add(const char* key, std::int64_t number) {
    addKey(key);
    text_ += std::to_string(number);
    return *this;
}

JsonLine& JsonLine::add(const char* key, std::uint64_t number) {
    addKey(key);
    text_ += std::to_string(number);
    return *this;
}

JsonLine& JsonLine::add(const char* key, bool value) {
    addKey(key);
    text_ += value ? "true" : "false";
    return *this;
}

JsonLine& JsonLine::add(const char* key, std::span<const std::uint64_t> numbers) {
    addKey(key);
    text_ += '[';
    for (const std::uint64_t number : numbers) {
        if (text_.back() != '[')
            text_ += ',';
        text_ += std::to_string(number);
    }
    text_ += ']';
    return *this;
}

JsonLine& JsonLine::addTime(const char* key, std::int64_t fileTime) {
    addKey(key);
    const std::string time = isoTime(fileTime);
    text_ += time.empty() ? "null" : '"' + time + '"';
    return *this;
}

JsonLine& JsonLine::addJson(const char* key, std::string_view json) {
    addKey(key);
    text_ += json;
    return *this;
}

void JsonLine::addKey(const char* key) {
    if (text_.size() > 1)
        text_ += ',';
    text_ += '"';
    text_ += key;
    text_ += "\":";
}

void JsonLine::addText(std::u16string_view units) {
    text_ += '"';
    std::size_t plain = 0; // Start of what needs no escape.
    const auto addPlain = [&](std::size_t end) {
        text_ += utf8FromWide(wideFromUtf16(units.substr(plain, end - plain)));
    };
    for (std::size_t at = 0; at < units.size(); ++at) {
        const char16_t unit = units[at];
        const bool quoted = unit == u'"' || unit == u'\\';
        if (!quoted && unit >= kFirstPrintable && !isHalfOfPair(units, at))
            continue;
        addPlain(at);
        plain = at + 1;
        if (quoted)
            text_ += {'\\', static_cast<char>(unit)};
        else
            appendEscape(text_, unit);
    }
    addPlain(units.size());
    text_ += '"';
}

} // namespace format
