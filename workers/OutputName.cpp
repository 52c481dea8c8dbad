#include "workers/OutputName.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace {

constexpr wchar_t kReplacement = L'_';

/// Device names of Windows, taken as such with any suffix and in any case.
constexpr std::array<std::wstring_view, 7> kDevices = {L"CON",    L"PRN",    L"AUX",    L"NUL",
                                                       L"CLOCK$", L"CONIN$", L"CONOUT$"};
constexpr std::array<std::wstring_view, 2> kNumberedDevices = {L"COM", L"LPT"};
constexpr std::wstring_view kDeviceDigits = L"123456789\u00B9\u00B2\u00B3";

bool isControl(wchar_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

bool isForbidden(wchar_t character, bool windowsNames) {
    if (isControl(character) || std::wstring_view(L"/\\?").find(character) != std::wstring::npos)
        return true;
    return windowsNames && std::wstring_view(L"<>:\"|*").find(character) != std::wstring::npos;
}

bool isDevice(std::wstring_view name) {
    std::wstring base(name.substr(0, name.find(L'.')));
    while (!base.empty() && base.back() == L' ')
        base.pop_back();
    for (wchar_t& character : base) {
        if (character >= L'a' && character <= L'z')
            character = static_cast<wchar_t>(character - L'a' + L'A');
    }
    if (std::find(kDevices.begin(), kDevices.end(), base) != kDevices.end())
        return true;
    return std::any_of(kNumberedDevices.begin(), kNumberedDevices.end(), [&base](auto device) {
        return base.size() == device.size() + 1 && base.starts_with(device) &&
               kDeviceDigits.find(base.back()) != std::wstring::npos;
    });
}

/// Windows drops dots and blanks at the end of a name.
void replaceTrailing(std::wstring& name) {
    for (std::size_t at = name.size(); at > 0; --at) {
        if (name[at - 1] != L'.' && name[at - 1] != L' ')
            return;
        name[at - 1] = kReplacement;
    }
}

constexpr char32_t kFirstHighSurrogate = 0xD800;
constexpr char32_t kFirstLowSurrogate = 0xDC00;
constexpr char32_t kSurrogatesOfAKind = 0x400;
constexpr char32_t kFirstSupplementary = 0x10000;

/// Whether it is one of the surrogates that begin at `first`.
bool isSurrogate(wchar_t character, char32_t first) {
    const auto unit = static_cast<char32_t>(character);
    return unit >= first && unit < first + kSurrogatesOfAKind;
}

struct CodePoint {
    std::size_t characters; ///< Of wide text.
    std::size_t length;     ///< In the units of the file system.
};

CodePoint codePointAt(std::wstring_view text, std::size_t at, bool unitsAreUtf16) {
    const auto value = static_cast<char32_t>(text[at]);
    // A pair can stand as two characters on every system.
    const bool pair = isSurrogate(text[at], kFirstHighSurrogate) && at + 1 < text.size() &&
                      isSurrogate(text[at + 1], kFirstLowSurrogate);
    const bool supplementary = pair || value >= kFirstSupplementary;
    CodePoint codePoint{pair ? 2U : 1U, supplementary ? 2U : 1U};
    if (!unitsAreUtf16)
        codePoint.length = supplementary ? 4 : value < 0x80 ? 1 : value < 0x800 ? 2 : 3;
    return codePoint;
}

std::size_t lengthOf(std::wstring_view text, bool unitsAreUtf16) {
    std::size_t length = 0;
    for (std::size_t at = 0; at < text.size();) {
        const CodePoint next = codePointAt(text, at, unitsAreUtf16);
        length += next.length;
        at += next.characters;
    }
    return length;
}

/// The longest beginning of `text` that is not longer than `most` and cuts no code point.
std::wstring_view beginning(std::wstring_view text, std::size_t most, bool unitsAreUtf16) {
    std::size_t length = 0;
    for (std::size_t at = 0; at < text.size();) {
        const CodePoint next = codePointAt(text, at, unitsAreUtf16);
        length += next.length;
        if (length > most)
            return text.substr(0, at);
        at += next.characters;
    }
    return text;
}

} // namespace

std::wstring OutputName::safe(std::wstring_view name, Kind kind) const {
    std::wstring safe(name);
    for (wchar_t& character : safe) {
        if (isForbidden(character, rules_.windowsNames))
            character = kReplacement;
    }
    if (safe.empty())
        safe = kReplacement;
    if (safe == L"." || safe == L"..")
        std::fill(safe.begin(), safe.end(), kReplacement);
    if (rules_.windowsNames) {
        replaceTrailing(safe);
        if (isDevice(safe))
            safe.insert(safe.begin(), kReplacement);
    }
    const std::size_t suffix = suffixStart(safe, kind);
    return join(std::wstring_view(safe).substr(0, suffix), std::wstring_view(safe).substr(suffix));
}

std::wstring OutputName::numbered(std::wstring_view name, Kind kind, unsigned number) const {
    const std::size_t suffix = suffixStart(name, kind);
    std::wstring tail = L" (" + std::to_wstring(number) + L")";
    tail += name.substr(suffix);
    return join(name.substr(0, suffix), tail);
}

std::size_t OutputName::suffixStart(std::wstring_view name, Kind kind) const {
    const auto dot = name.rfind(L'.');
    if (kind == Kind::Folder || dot == std::wstring_view::npos || dot == 0)
        return name.size();
    const bool tooLong = lengthOf(name.substr(dot), rules_.unitsAreUtf16) > rules_.longestName / 2;
    return tooLong ? name.size() : dot;
}

std::wstring OutputName::join(std::wstring_view stem, std::wstring_view tail) const {
    const std::size_t tailLength = lengthOf(tail, rules_.unitsAreUtf16);
    const std::size_t left = rules_.longestName - std::min(rules_.longestName, tailLength);
    std::wstring joined(beginning(stem, left, rules_.unitsAreUtf16));
    joined += tail;
    if (rules_.windowsNames)
        replaceTrailing(joined);
    return joined;
}
