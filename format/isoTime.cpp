#include "format/isoTime.h"

#include "format/FileTime.h"

#include <array>
#include <chrono>
#include <cstdio>

namespace format {

namespace {

/// The first moment that is no longer written with four digits of the year.
constexpr auto kEndOfTimes =
    std::chrono::sys_days(std::chrono::year(10000) / std::chrono::January / 1);

} // namespace

std::string isoTime(std::int64_t fileTime) {
    const FileTimeTicks ticks(fileTime);
    if (fileTime <= 0 || ticks >= kEndOfTimes - kFileTimeEpoch)
        return {};
    const auto days = std::chrono::duration_cast<std::chrono::days>(ticks);
    const std::chrono::year_month_day date(kFileTimeEpoch + days);
    const std::chrono::hh_mm_ss time(ticks - days);
    std::array<char, 64> formatted{};
    std::snprintf(formatted.data(), formatted.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%07dZ",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<int>(time.hours().count()),
                  static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()),
                  static_cast<int>(time.subseconds().count()));
    return formatted.data();
}

} // namespace format
