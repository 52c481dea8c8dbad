#pragma once

#include <QString>

#include <string>
#include <string_view>
#include <vector>

/// What is looked for in names, upper and lower case alike: a text that they contain, or, where it
/// has "*" (any characters) or "?" (any one), a pattern that they match as a whole.
class NamePattern {
public:
    /// Blanks around the text do not count.
    explicit NamePattern(const QString& text);

    /// Nothing is looked for, and every name matches.
    [[nodiscard]] bool isEmpty() const { return text_.empty(); }

    /// Takes time linear in the name's length, times that of the pattern at most.
    [[nodiscard]] bool matches(std::wstring_view name) const;

    /// Whether what matches this one matches the other, too, as far as that can be told.
    [[nodiscard]] bool narrows(const NamePattern& other) const {
        return !hasWildcards_ && !other.hasWildcards_ &&
               text_.find(other.text_) != std::wstring::npos;
    }

private:
    [[nodiscard]] bool containedIn(std::wstring_view name) const;
    [[nodiscard]] bool matchedBy(std::wstring_view name) const;
    [[nodiscard]] bool standsAt(const wchar_t* place, std::wstring_view text) const;

    [[nodiscard]] wchar_t folded(wchar_t character) const;

    const std::vector<char16_t>& kept_; ///< Characters of the basic plane, with their case folded.
    std::wstring text_;                 ///< With its case folded.
    std::vector<wchar_t> firsts_;       ///< What its first character may be in a name.
    bool hasWildcards_ = false;
};
