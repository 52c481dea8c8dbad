#include "model/NamePattern.h"

#include "model/texts.h"

#include <cwchar>

namespace {

constexpr char32_t kKept = 0x10000;

/// A million names have tens of millions of characters, so what Qt would say is kept.
const std::vector<char16_t>& foldedCharacters() {
    static const std::vector<char16_t> kFolded = [] {
        std::vector<char16_t> characters(kKept);
        for (char32_t code = 0; code < kKept; ++code)
            characters[code] = static_cast<char16_t>(QChar::toCaseFolded(code));
        return characters;
    }();
    return kFolded;
}

} // namespace

NamePattern::NamePattern(const QString& text)
    : kept_(foldedCharacters()), text_(toWide(text.trimmed())) {
    for (wchar_t& character : text_)
        character = folded(character);
    hasWildcards_ = text_.find_first_of(L"*?") != std::wstring::npos;
    if (text_.empty())
        return;
    const wchar_t first = text_.front();
    for (char32_t code = 0; code < kKept; ++code) {
        if (kept_[code] == static_cast<char32_t>(first))
            firsts_.push_back(static_cast<wchar_t>(code));
    }
    if (static_cast<char32_t>(first) >= kKept)
        firsts_ = {first, static_cast<wchar_t>(QChar::toUpper(static_cast<char32_t>(first)))};
}

inline wchar_t NamePattern::folded(wchar_t character) const {
    const auto code = static_cast<char32_t>(character);
    return static_cast<wchar_t>(code < kKept ? kept_[code] : QChar::toCaseFolded(code));
}

bool NamePattern::matches(std::wstring_view name) const {
    return hasWildcards_ ? matchedBy(name) : containedIn(name);
}

/// Whether a name goes on with `text` where nothing but "?" is special. There are that many
/// characters.
bool NamePattern::standsAt(const wchar_t* place, std::wstring_view text) const {
    for (const wchar_t character : text) {
        if (character != folded(*place) && !(hasWildcards_ && character == L'?'))
            return false;
        ++place;
    }
    return true;
}

bool NamePattern::containedIn(std::wstring_view name) const {
    if (text_.empty())
        return true;
    if (name.size() < text_.size())
        return false;
    const wchar_t* const end = name.data() + (name.size() - text_.size() + 1);
    for (const wchar_t first : firsts_) {
        const wchar_t* at = name.data();
        while ((at = std::wmemchr(at, first, static_cast<std::size_t>(end - at))) != nullptr) {
            if (standsAt(at, text_))
                return true;
            ++at;
        }
    }
    return false;
}

bool NamePattern::matchedBy(std::wstring_view name) const {
    const std::size_t last = text_.rfind(L'*');
    const std::wstring_view tail = std::wstring_view(text_).substr(last + 1);
    if (last == std::wstring::npos)
        return name.size() == text_.size() && standsAt(name.data(), text_);
    if (name.size() < tail.size() || !standsAt(name.data() + (name.size() - tail.size()), tail))
        return false;
    // Only the last star met ever needs to take more.
    name.remove_suffix(tail.size());
    const std::wstring_view head = std::wstring_view(text_).substr(0, last + 1);
    std::size_t in = 0;
    std::size_t of = 0;
    std::size_t star = std::wstring::npos;
    std::size_t taken = 0;
    while (in < name.size()) {
        if (of < head.size() && head[of] == L'*') {
            star = of++;
            taken = in;
        } else if (of < head.size() && (head[of] == L'?' || head[of] == folded(name[in]))) {
            ++of;
            ++in;
        } else if (star != std::wstring::npos) {
            of = star + 1;
            in = ++taken;
        } else {
            return false;
        }
        if (of == head.size())
            return true; // The star at its end takes the rest.
    }
    return head.find_first_not_of(L'*', of) == std::wstring::npos;
}
