#include "engine/content/ContentText.h"

#include "format/FileTime.h"
#include "format/WideText.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <vector>

namespace kova::text {

namespace {

std::wstring tidy(std::wstring text) {
    text.resize(std::min(text.find(L'\0'), text.size()));
    for (wchar_t& c : text) {
        if (c < L' ' || c == 0x7F || c == 0xFFFD)
            c = L' ';
    }
    const auto first = text.find_first_not_of(L' ');
    if (first == std::wstring::npos)
        return {};
    return text.substr(first, text.find_last_not_of(L' ') + 1 - first);
}

} // namespace

std::wstring fromLatin1(std::span<const uint8> bytes) {
    return tidy({bytes.begin(), bytes.end()});
}

std::wstring fromUtf8(std::span<const uint8> bytes) {
    return fromUtf8(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

std::wstring fromUtf8(std::string_view bytes) {
    return tidy(format::wideFromUtf8(bytes));
}

std::wstring fromUtf16(std::span<const uint8> bytes) {
    const bool marked = bytes.size() >= 2;
    if (marked && bytes[0] == 0xFF && bytes[1] == 0xFE)
        return fromUtf16Le(bytes.subspan(2));
    const std::size_t skipped = marked && bytes[0] == 0xFE && bytes[1] == 0xFF ? 2 : 0;
    std::vector<uint8> swapped(bytes.begin() + static_cast<std::ptrdiff_t>(skipped), bytes.end());
    for (std::size_t i = 0; i + 1 < swapped.size(); i += 2)
        std::swap(swapped[i], swapped[i + 1]);
    return fromUtf16Le(swapped);
}

std::wstring fromUtf16Le(std::span<const uint8> bytes) {
    return tidy(format::wideFromUtf16Le(bytes));
}

int64 timeFromUnix(int64 seconds) {
    constexpr int64 kLatest = 1'000'000'000'000 / 4;
    return seconds <= 0 || seconds > kLatest
               ? 0
               : (seconds + format::kSecondsFrom1601To1970) * format::kFileTimeTicksPerSecond;
}

int64 timeFromDigits(std::string_view digits) {
    constexpr std::array<int, 6> kWidths = {4, 2, 2, 2, 2, 2};
    std::array<int, 6> parts{};
    std::size_t part = 0;
    int width = 0;
    for (const char c : digits) {
        if (c < '0' || c > '9')
            continue;
        parts[part] = parts[part] * 10 + (c - '0');
        if (++width < kWidths[part])
            continue;
        width = 0;
        if (++part == parts.size())
            break;
    }
    using namespace std::chrono;
    const year_month_day day{year{parts[0]}, month{static_cast<unsigned>(parts[1])},
                             std::chrono::day{static_cast<unsigned>(parts[2])}};
    if (part < 5 || !day.ok() || parts[0] < 1601 || parts[3] > 23 || parts[4] > 59 || parts[5] > 60)
        return 0;
    const int64 days = sys_days(day).time_since_epoch().count();
    const int64 seconds = ((days * 24 + parts[3]) * 60 + parts[4]) * 60 + parts[5];
    return (seconds + format::kSecondsFrom1601To1970) * format::kFileTimeTicksPerSecond;
}

} // namespace kova::text
