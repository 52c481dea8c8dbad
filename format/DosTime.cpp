#include "format/DosTime.h"

#include "format/FileTime.h"

#include <chrono>

namespace format {

namespace {

constexpr int kFirstDosYear = 1980;
constexpr unsigned kHoursPerDay = 24;
constexpr unsigned kSixty = 60; // minutes per hour, seconds per minute

} // namespace

std::int64_t fileTimeFromDos(std::uint16_t date, std::uint16_t time) {
    using namespace std::chrono;
    const year_month_day day{year{kFirstDosYear + (date >> 9)},
                             month{static_cast<unsigned>(date >> 5) & 0x0FU},
                             std::chrono::day{static_cast<unsigned>(date) & 0x1FU}};
    const unsigned hour = time >> 11U;
    const unsigned minute = (static_cast<unsigned>(time) >> 5U) & 0x3FU;
    const unsigned second = (static_cast<unsigned>(time) & 0x1FU) * 2;
    if (!day.ok() || hour >= kHoursPerDay || minute >= kSixty || second >= kSixty)
        return 0;
    const std::chrono::seconds sinceEpoch = sys_days{day} - kFileTimeEpoch + hours{hour} +
                                            minutes{minute} + std::chrono::seconds{second};
    return sinceEpoch.count() * kFileTimeTicksPerSecond;
}

} // namespace format
