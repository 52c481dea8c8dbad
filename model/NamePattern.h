#pragma once

#include <QString>

#include <string>
#include <string_view>

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

private:
    [[nodiscard]] bool containedIn(std::wstring_view name) const;
    [[nodiscard]] bool matchedBy(std::wstring_view name) const;

    std::wstring text_; ///< With its case folded.
    bool hasWildcards_ = false;
};
