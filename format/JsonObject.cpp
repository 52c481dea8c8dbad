#include "format/JsonObject.h"

#include "format/WideText.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <utility>

namespace format {

/// Takes a line apart from its first character on.
class JsonObject::Parser {
public:
    explicit Parser(std::string_view rest) : rest_(rest) {}

    std::optional<JsonObject> object() {
        JsonObject object;
        if (!take('{'))
            return std::nullopt;
        while (!take('}')) {
            if (!object.values_.empty() && !take(','))
                return std::nullopt;
            const auto key = text();
            if (!key || !take(':'))
                return std::nullopt;
            auto one = value();
            if (!one || !object.values_.emplace(utf8FromWide(*key), std::move(*one)).second)
                return std::nullopt;
        }
        skipBlanks();
        return rest_.empty() ? std::optional(std::move(object)) : std::nullopt;
    }

private:
    static constexpr std::size_t kEscapeDigits = 4;

    void skipBlanks() {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size()));
    }

    bool take(char expected) {
        skipBlanks();
        if (!rest_.starts_with(expected))
            return false;
        rest_.remove_prefix(1);
        return true;
    }

    bool takeWord(std::string_view word) {
        if (!rest_.starts_with(word))
            return false;
        rest_.remove_prefix(word.size());
        return true;
    }

    std::optional<Value> value() {
        skipBlanks();
        if (rest_.starts_with('"'))
            return text();
        if (rest_.starts_with('['))
            return numbers();
        if (takeWord("true"))
            return true;
        if (takeWord("false"))
            return false;
        return number();
    }

    std::optional<std::int64_t> number() {
        std::int64_t number = 0;
        const auto [end, error] =
            std::from_chars(rest_.data(), rest_.data() + rest_.size(), number);
        if (error != std::errc())
            return std::nullopt;
        rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
        return number;
    }

    std::optional<std::vector<std::uint64_t>> numbers() {
        std::vector<std::uint64_t> all;
        take('[');
        while (!take(']')) {
            if (!all.empty() && !take(','))
                return std::nullopt;
            skipBlanks();
            const auto one = number();
            if (!one || *one < 0)
                return std::nullopt;
            all.push_back(static_cast<std::uint64_t>(*one));
        }
        return all;
    }

    std::optional<std::wstring> text() {
        if (!take('"'))
            return std::nullopt;
        std::wstring text;
        for (;;) {
            const std::size_t plain = rest_.find_first_of("\"\\");
            if (plain == std::string_view::npos)
                return std::nullopt;
            text += wideFromUtf8(rest_.substr(0, plain));
            rest_.remove_prefix(plain);
            if (take('"'))
                return text;
            if (!takeEscapes(text))
                return std::nullopt;
        }
    }

    /// As many as follow each other, as two may be one character.
    bool takeEscapes(std::wstring& text) {
        std::u16string units;
        while (takeWord("\\")) {
            const std::size_t kind = std::string_view("\"\\/bfnrtu").find(rest_.substr(0, 1));
            if (rest_.empty() || kind == std::string_view::npos)
                return false;
            const bool isUnit = rest_.front() == 'u';
            rest_.remove_prefix(1);
            if (!isUnit) {
                units += u"\"\\/\b\f\n\r\t"[kind];
                continue;
            }
            const std::string_view digits = rest_.substr(0, kEscapeDigits);
            std::uint16_t unit = 0;
            const char* const end = digits.data() + digits.size();
            if (digits.size() < kEscapeDigits ||
                std::from_chars(digits.data(), end, unit, 16).ptr != end)
                return false;
            units += static_cast<char16_t>(unit);
            rest_.remove_prefix(kEscapeDigits);
        }
        text += wideFromUtf16(units);
        return true;
    }

    std::string_view rest_;
};

std::optional<JsonObject> JsonObject::parse(std::string_view line) {
    return Parser(line).object();
}

template <typename T>
std::optional<T> JsonObject::value(std::string_view key) const {
    const auto found = values_.find(key);
    const T* const value = found == values_.end() ? nullptr : std::get_if<T>(&found->second);
    return value == nullptr ? std::nullopt : std::optional<T>(*value);
}

std::optional<std::wstring> JsonObject::text(std::string_view key) const {
    return value<std::wstring>(key);
}

std::optional<std::int64_t> JsonObject::number(std::string_view key) const {
    return value<std::int64_t>(key);
}

std::optional<bool> JsonObject::truth(std::string_view key) const {
    return value<bool>(key);
}

std::optional<std::vector<std::uint64_t>> JsonObject::numbers(std::string_view key) const {
    return value<std::vector<std::uint64_t>>(key);
}

} // namespace format
