#include "format/DosTime.h"

#include <gtest/gtest.h>

namespace format::test {
namespace {

std::int64_t fileTime(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
    return fileTimeFromDos(static_cast<std::uint16_t>(((year - 1980) << 9) | (month << 5) | day),
                           static_cast<std::uint16_t>((hour << 11) | (minute << 5) | (second / 2)));
}

TEST(DosTime, CountsFrom1601AndKnowsWhichDatesExist) {
    EXPECT_EQ(fileTime(1980, 1, 1), 119'600'064'000'000'000);
    EXPECT_EQ(fileTime(2000, 2, 29, 12, 34, 56), 125'963'012'960'000'000);
    EXPECT_EQ(fileTime(2107, 12, 31, 23, 59, 58), 159'992'927'980'000'000);
    for (const std::int64_t none :
         {fileTime(1980, 0, 0), fileTime(2001, 2, 29), fileTime(2000, 2, 30),
          fileTime(2100, 2, 29), // no leap year
          fileTime(2001, 4, 31), fileTime(2001, 1, 0), fileTime(2001, 13, 1),
          fileTime(2001, 1, 1, 24), fileTime(2001, 1, 1, 0, 60), fileTime(2001, 1, 1, 0, 0, 60)})
        EXPECT_EQ(none, 0);
}

} // namespace
} // namespace format::test
