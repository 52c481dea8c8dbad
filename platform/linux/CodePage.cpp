#include "platform/CodePage.h"

#include "platform/System.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include <iconv.h>

namespace platform {

namespace {

struct LanguageCodePages {
    std::string_view language; ///< The start of a locale's name.
    const char* ansi;
    const char* oem;
};

/// Of two entries for a language the one with the territory comes first. Western Europe is not
/// listed.
constexpr LanguageCodePages kLanguages[] = {
    {"ar", "CP1256", "CP720"},   {"az", "CP1254", "CP857"},    {"be", "CP1251", "CP866"},
    {"bg", "CP1251", "CP866"},   {"bs", "CP1250", "CP852"},    {"cs", "CP1250", "CP852"},
    {"el", "CP1253", "CP737"},   {"en_US", "CP1252", "CP437"}, {"et", "CP1257", "CP775"},
    {"fa", "CP1256", "CP720"},   {"he", "CP1255", "CP862"},    {"hr", "CP1250", "CP852"},
    {"hu", "CP1250", "CP852"},   {"ja", "CP932", "CP932"},     {"kk", "CP1251", "CP866"},
    {"ko", "CP949", "CP949"},    {"ky", "CP1251", "CP866"},    {"lt", "CP1257", "CP775"},
    {"lv", "CP1257", "CP775"},   {"mk", "CP1251", "CP866"},    {"mn", "CP1251", "CP866"},
    {"pl", "CP1250", "CP852"},   {"ro", "CP1250", "CP852"},    {"ru", "CP1251", "CP866"},
    {"sk", "CP1250", "CP852"},   {"sl", "CP1250", "CP852"},    {"sq", "CP1250", "CP852"},
    {"sr", "CP1251", "CP855"},   {"th", "CP874", "CP874"},     {"tr", "CP1254", "CP857"},
    {"tt", "CP1251", "CP866"},   {"uk", "CP1251", "CP866"},    {"ur", "CP1256", "CP720"},
    {"vi", "CP1258", "CP1258"},  {"zh_HK", "CP950", "CP950"},  {"zh_MO", "CP950", "CP950"},
    {"zh_TW", "CP950", "CP950"}, {"zh", "CP936", "CP936"},
};

constexpr LanguageCodePages kWesternEurope{"", "CP1252", "CP850"};
constexpr LanguageCodePages kNoLanguage{"", "CP1252", "CP437"};

/// "language_TERRITORY.charset@modifier", of which all but the first may be missing.
std::string_view localeName() {
    for (const char* const variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* const value = std::getenv(variable);
        if (value != nullptr && *value != '\0')
            return value;
    }
    return "C";
}

const LanguageCodePages& codePagesOf(std::string_view locale) {
    const auto* const found =
        std::find_if(std::begin(kLanguages), std::end(kLanguages), [locale](const auto& entry) {
            const std::size_t length = entry.language.size();
            return locale.starts_with(entry.language) &&
                   (locale.size() == length ||
                    std::string_view("_.@").find(locale[length]) != std::string_view::npos);
        });
    if (found != std::end(kLanguages))
        return *found;
    const std::string_view language = locale.substr(0, locale.find_first_of(".@"));
    return language == "C" || language == "POSIX" ? kNoLanguage : kWesternEurope;
}

/// Empty when the locale names none, or one that says nothing of what was before it.
std::string ownCharset(std::string_view locale) {
    locale = locale.substr(0, locale.find('@'));
    const std::size_t dot = locale.find('.');
    if (dot == std::string_view::npos)
        return {};
    std::string charset(locale.substr(dot + 1));
    std::string plain;
    for (const char c : charset) {
        if (c != '-' && c != '_')
            plain += c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return plain == "UTF8" ? std::string() : charset;
}

std::string charsetOf(CodePage page) {
    const std::string_view locale = localeName();
    if (page == CodePage::Oem)
        return codePagesOf(locale).oem;
    std::string own = ownCharset(locale);
    return own.empty() ? codePagesOf(locale).ansi : own;
}

/// What the system converts with.
class Converter {
public:
    explicit Converter(const std::string& charset)
        : descriptor_(::iconv_open("WCHAR_T", charset.c_str())) {}

    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    ~Converter() {
        if (isOpen())
            ::iconv_close(descriptor_);
    }

    [[nodiscard]] bool isOpen() const {
        // The value that stands for failure is (iconv_t)-1.
        return reinterpret_cast<std::intptr_t>(descriptor_) != -1;
    }

    [[nodiscard]] std::wstring convert(const std::string& given) const {
        std::string bytes(given);
        // No byte becomes more than two characters.
        std::wstring text(2 * bytes.size() + 1, L'\0');
        char* in = bytes.data();
        std::size_t inLeft = bytes.size();
        char* out = reinterpret_cast<char*>(text.data());
        std::size_t outLeft = text.size() * sizeof(wchar_t);
        while (::iconv(descriptor_, &in, &inLeft, &out, &outLeft) == kFailed && inLeft != 0 &&
               outLeft >= sizeof(wchar_t)) {
            // The byte, or pair of which it is the first, is no character.
            *reinterpret_cast<wchar_t*>(out) = L'\uFFFD';
            out += sizeof(wchar_t);
            outLeft -= sizeof(wchar_t);
            ++in;
            --inLeft;
        }
        // What waits for an accent that may follow.
        ::iconv(descriptor_, nullptr, nullptr, &out, &outLeft);
        text.resize(text.size() - outLeft / sizeof(wchar_t));
        return text;
    }

private:
    static constexpr auto kFailed = static_cast<std::size_t>(-1);

    iconv_t descriptor_;
};

} // namespace

std::optional<std::wstring> convertFromCodePage(std::span<const std::uint8_t> bytes,
                                                CodePage page) {
    const Converter converter(charsetOf(page));
    if (!converter.isOpen())
        return std::nullopt;
    return converter.convert(std::string(bytes.begin(), bytes.end()));
}

} // namespace platform
