#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace format {

/// A flat JSON object as `JsonLine` writes it: its values are texts, whole numbers, truths and
/// lists of whole numbers that are not negative.
class JsonObject {
public:
    /// Nothing when the line is no such object, or has a number of more than 63 bits.
    [[nodiscard]] static std::optional<JsonObject> parse(std::string_view line);

    [[nodiscard]] bool has(std::string_view key) const { return values_.contains(key); }

    /// Each gives nothing when there is no such value, or one of another type.
    [[nodiscard]] std::optional<std::wstring> text(std::string_view key) const;
    [[nodiscard]] std::optional<std::int64_t> number(std::string_view key) const;
    [[nodiscard]] std::optional<bool> truth(std::string_view key) const;
    [[nodiscard]] std::optional<std::vector<std::uint64_t>> numbers(std::string_view key) const;

private:
    using Value = std::variant<std::wstring, std::int64_t, bool, std::vector<std::uint64_t>>;

    class Parser;

    template <typename T>
    [[nodiscard]] std::optional<T> value(std::string_view key) const;

    std::map<std::string, Value, std::less<>> values_;
};

} // namespace format
