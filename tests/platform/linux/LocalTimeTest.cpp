// Times that local clocks showed, told in UTC.

#include "format/FileTime.h"
#include "tests/exfat/ExFatScan.h"
#include "tests/fat/FatScan.h"
#include "tests/support/ExFatBuilder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <ctime>

namespace kova::test {
namespace {

class LocalTime : public testing::Test {
protected:
    void SetUp() override { moveTo("CET-1CEST,M3.5.0,M10.5.0/3"); }

    void TearDown() override { moveTo("UTC"); }

    static void moveTo(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }

    static int64 ticks(std::chrono::sys_time<std::chrono::minutes> time) {
        return std::chrono::duration_cast<format::FileTimeTicks>(time - format::kFileTimeEpoch)
            .count();
    }
};

using namespace std::chrono;

TEST_F(LocalTime, OfFatIsThatOfItsDay) {
    FatBuilder builder;
    FatEntry entry = named("gone", true);
    entry.creationDate = fatDate(2024, 1, 15);
    entry.creationTime = fatTime(12, 30, 0);
    entry.writeDate = fatDate(2024, 3, 31); // The clocks go forward at 2.
    entry.writeTime = fatTime(1, 30, 0);
    entry.accessDate = fatDate(2024, 7, 15);
    builder.addFile(0, entry, "content");
    FatScan scan(builder.bytes(), ScanOptions::today());
    const ZFileTreeNode& node = scan.named(L"gone");
    EXPECT_EQ(node.creationTime, ticks(sys_days{2024y / January / 15} + 11h + 30min));
    EXPECT_EQ(node.modificationTime, ticks(sys_days{2024y / March / 31} + 30min));
    EXPECT_EQ(node.accessTime, ticks(sys_days{2024y / July / 14} + 22h));
}

TEST_F(LocalTime, OfExFatIsWhereNoDistanceFromUtcIsToldOnly) {
    ExFatBuilder builder;
    ExFatEntry entry;
    entry.deleted = true;
    entry.name = u"local";
    entry.created = 0x58EF6C60; // 2024-07-15 13:35:00
    entry.utcOffset = 22;       // Without the mark that it is valid.
    builder.addFile(0, entry, "content");
    entry.name = u"utc";
    entry.utcOffset = 0x80;
    builder.addFile(0, entry, "content");
    ExFatScan scan(builder.bytes());
    EXPECT_EQ(scan.at("utc").creationTime, ticks(sys_days{2024y / July / 15} + 13h + 35min));
    for (const auto time : {&ZFileTreeNode::creationTime, &ZFileTreeNode::modificationTime,
                            &ZFileTreeNode::accessTime})
        EXPECT_EQ(scan.at("local").*time,
                  scan.at("utc").*time - duration_cast<format::FileTimeTicks>(2h).count());
}

} // namespace
} // namespace kova::test
