#include "platform/DosTime.h"

#include <gtest/gtest.h>

namespace platform::test {
namespace {

std::uint16_t date(int year, int month, int day) {
    return static_cast<std::uint16_t>(((year - 1980) << 9) | (month << 5) | day);
}

std::uint16_t time(int hour, int minute, int second) {
    return static_cast<std::uint16_t>((hour << 11) | (minute << 5) | (second / 2));
}

TEST(DosTime, CountsFrom1601) {
    EXPECT_EQ(fileTimeFromDos(date(1980, 1, 1), 0), 119'600'064'000'000'000);
    EXPECT_EQ(fileTimeFromDos(date(2000, 2, 29), time(12, 34, 56)), 125'963'012'960'000'000);
    EXPECT_EQ(fileTimeFromDos(date(2107, 12, 31), time(23, 59, 58)), 159'992'927'980'000'000);
}

TEST(DosTime, DatesAndTimesThatDoNotExistAreZero) {
    EXPECT_EQ(fileTimeFromDos(0, 0), 0);
    EXPECT_EQ(fileTimeFromDos(date(2001, 2, 29), 0), 0);
    EXPECT_EQ(fileTimeFromDos(date(2000, 2, 30), 0), 0);
    EXPECT_EQ(fileTimeFromDos(date(2100, 2, 29), 0), 0); // no leap year
    EXPECT_EQ(fileTimeFromDos(date(2001, 4, 31), 0), 0);
    EXPECT_EQ(fileTimeFromDos(date(2001, 1, 0), 0), 0);
    EXPECT_EQ(fileTimeFromDos(date(2001, 0, 1), 0), 0);
    EXPECT_EQ(fileTimeFromDos(date(2001, 13, 1), 0), 0);
    EXPECT_EQ(fileTimeFromDos(date(2001, 1, 1), time(24, 0, 0)), 0);
    EXPECT_EQ(fileTimeFromDos(date(2001, 1, 1), time(0, 60, 0)), 0);
    EXPECT_EQ(fileTimeFromDos(date(2001, 1, 1), time(0, 0, 60)), 0);
    EXPECT_NE(fileTimeFromDos(date(2001, 1, 1), time(23, 59, 58)), 0);
}

} // namespace
} // namespace platform::test
