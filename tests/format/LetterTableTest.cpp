#include "format/LetterTable.h"

#include <gtest/gtest.h>

#include <set>

namespace format::test {
namespace {

VolumeSource device(std::uint64_t number, const std::string& fingerprint = "") {
    VolumeSource source;
    source.identity = {number, 1};
    source.fingerprint = fingerprint;
    return source;
}

class LetterTableTest : public testing::Test {
protected:
    std::optional<char> assign(const VolumeSource& source, std::uint32_t blocked = 0) {
        return table_.assign(
            source,
            [this](const VolumeSource& old) { return gone_.count(old.identity.device) != 0; },
            blocked);
    }

    LetterTable table_{"CDA"};
    std::set<std::uint64_t> gone_;
};

TEST_F(LetterTableTest, OnlyLettersOfWhatIsGoneAndUnusedAreGivenAgain) {
    EXPECT_EQ(assign(device(1)), 'C');
    EXPECT_EQ(assign(device(2)), 'D');
    gone_ = {1};
    EXPECT_EQ(assign(device(3)), 'A'); // while others are free, C waits for its device
    EXPECT_EQ(assign(device(1)), 'C');
    gone_ = {};
    EXPECT_FALSE(assign(device(4)));
    gone_ = {1, 2};
    {
        const auto held = table_.hold('C');
        ASSERT_TRUE(held);
        EXPECT_EQ(assign(device(4)), 'D');
        EXPECT_FALSE(assign(device(5)));
        EXPECT_EQ(table_.find('C')->identity.device, 1U);
    }
    EXPECT_EQ(assign(device(5)), 'C');
}

TEST_F(LetterTableTest, AVolumeThatComesBackGetsItsLetterBack) {
    assign(device(1, "stick"));
    gone_ = {1};
    EXPECT_EQ(assign(device(2, "stick")), 'C');
    EXPECT_EQ(assign(device(3, "stick")), 'D'); // a copy, while the first is there
    gone_ = {2};
    const auto held = table_.hold('C');
    EXPECT_EQ(assign(device(4, "stick")), 'A'); // the first is still being read
}

TEST_F(LetterTableTest, SourcesAndBlockedLettersAreKeptApart) {
    VolumeSource image = device(1);
    image.isImage = true;
    EXPECT_EQ(assign(image, 1U << ('C' - 'A')), 'D');
    image.offset = 512;
    EXPECT_EQ(assign(image), 'C'); // another partition of it
    EXPECT_EQ(assign(device(1)), 'A');
}

} // namespace
} // namespace format::test
