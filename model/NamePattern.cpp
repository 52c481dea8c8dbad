#include "model/NamePattern.h"

#include "model/texts.h"

#include <algorithm>
#include <vector>

namespace {

/// Folds the case of one character. A million names have tens of millions of them, so what Qt
/// would say is kept for the basic plane.
wchar_t folded(wchar_t character) {
    constexpr char32_t kKept = 0x10000;
    static const std::vector<char16_t> kTable = [] {
        std::vector<char16_t> table(kKept);
        for (char32_t code = 0; code < kKept; ++code)
            table[code] = static_cast<char16_t>(QChar::toCaseFolded(code));
        return table;
    }();
    const auto code = static_cast<char32_t>(character);
    return static_cast<wchar_t>(code < kKept ? kTable[code] : QChar::toCaseFolded(code));
}

} // namespace

NamePattern::NamePattern(const QString& text) : text_(toWide(text.trimmed())) {
    std::transform(text_.begin(), text_.end(), text_.begin(), folded);
    hasWildcards_ = text_.find_first_of(L"*?") != std::wstring::npos;
}

bool NamePattern::matches(std::wstring_view name) const {
    return hasWildcards_ ? matchedBy(name) : containedIn(name);
}

bool NamePattern::containedIn(std::wstring_view name) const {
    const std::size_t length = text_.size();
    if (length == 0)
        return true;
    for (std::size_t at = 0; at + length <= name.size(); ++at) {
        std::size_t same = 0;
        while (same < length && folded(name[at + same]) == text_[same])
            ++same;
        if (same == length)
            return true;
    }
    return false;
}

bool NamePattern::matchedBy(std::wstring_view name) const {
    // Only the last star met ever needs to take more.
    std::size_t in = 0;
    std::size_t of = 0;
    std::size_t star = std::wstring::npos;
    std::size_t taken = 0;
    while (in < name.size()) {
        if (of < text_.size() && text_[of] == L'*') {
            star = of++;
            taken = in;
        } else if (of < text_.size() && (text_[of] == L'?' || text_[of] == folded(name[in]))) {
            ++of;
            ++in;
        } else if (star != std::wstring::npos) {
            of = star + 1;
            in = ++taken;
        } else {
            return false;
        }
    }
    return text_.find_first_not_of(L'*', of) == std::wstring::npos;
}
