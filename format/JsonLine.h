#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace format {

/// One JSON object on one line, as UTF-8.
class JsonLine {
public:
    JsonLine& add(const char* key, std::wstring_view text);
    JsonLine& add(const char* key, std::string_view asciiText);
    JsonLine& add(const char* key, std::int64_t number);
    JsonLine& add(const char* key, std::uint64_t number);
    JsonLine& add(const char* key, bool value);
    JsonLine& add(const char* key, std::span<const std::uint64_t> numbers);

    JsonLine& add(const char* key, const char* text) = delete; // It would be taken for a bool.

    /// A FILETIME as ISO 8601 in UTC with all its digits, "2024-05-01T12:34:56.1234567Z". Null
    /// for 0, and for what is no date between the years 1601 and 9999.
    JsonLine& addTime(const char* key, std::int64_t fileTime);

    /// A value that is JSON already.
    JsonLine& addJson(const char* key, std::string_view json);

    /// The object, without a line end.
    [[nodiscard]] std::string text() const { return text_ + '}'; }

private:
    void addKey(const char* key);
    void addText(std::u16string_view units);

    std::string text_ = "{";
};

} // namespace format
