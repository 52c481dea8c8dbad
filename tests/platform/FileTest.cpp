#include "platform/File.h"

#include "tests/platform/Tools.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

namespace platform::test {
namespace {

constexpr std::uint32_t kBoth = kGenericRead | kGenericWrite;

std::uint32_t value(Disposition disposition) {
    return static_cast<std::uint32_t>(disposition);
}

class FileTest : public testing::Test {
protected:
    std::wstring path(const std::string& name) const { return wide(dir_ / name); }

    kova::test::TempDir dir_;
};

TEST_F(FileTest, DispositionsDecideWhatHappensToExistingAndMissingFiles) {
    const struct {
        Disposition disposition;
        bool opensExisting;
        bool opensMissing;
        const char* contentAfter; // of a file that held "old"
    } cases[] = {
        {Disposition::CreateNew, false, true, "old"},
        {Disposition::CreateAlways, true, true, ""},
        {Disposition::OpenExisting, true, false, "old"},
        {Disposition::OpenAlways, true, true, "old"},
        {Disposition::TruncateExisting, true, false, ""},
    };

    for (const auto& c : cases) {
        SCOPED_TRACE(value(c.disposition));
        std::ofstream(dir_ / "there") << "old";
        File file;
        EXPECT_EQ(file.open(path("there"), value(c.disposition), kBoth), c.opensExisting);
        EXPECT_EQ(file.error(), c.opensExisting ? Error::None : Error::Exists);
        EXPECT_EQ(contentOf(dir_ / "there"), c.contentAfter);
        EXPECT_EQ(file.open(path("missing"), value(c.disposition), kBoth), c.opensMissing);
        EXPECT_EQ(file.error(), c.opensMissing ? Error::None : Error::NotFound);
        file.close();
        EXPECT_EQ(std::filesystem::remove(dir_ / "missing"), c.opensMissing);
    }
    std::ofstream(dir_ / "there") << "old";
    File file;
    EXPECT_FALSE(file.open(path("there"), 6, kBoth));
    ASSERT_TRUE(file.open(path("there"), value(Disposition::OpenExisting), kGenericRead));
    EXPECT_FALSE(file.writeAt(0, "x", 1));
    EXPECT_FALSE(file.truncate(0));
    EXPECT_EQ(contentOf(dir_ / "there"), "old");
}

TEST_F(FileTest, ReadsAndWritesAtAnyPosition) {
    constexpr std::int64_t kFar = (std::int64_t{1} << 32) + 1; // 1 for what keeps 32 bits
    File file;
    ASSERT_TRUE(file.open(path("f"), value(Disposition::CreateNew), kBoth));
    ASSERT_TRUE(file.writeAt(kFar, "far", 3));
    ASSERT_TRUE(file.writeAt(3, "abc", 3));
    ASSERT_TRUE(file.writeAt(0, "xy", 2));
    EXPECT_EQ(file.size(), kFar + 3);
    char buffer[16] = {};
    EXPECT_EQ(file.readAt(kFar, buffer, sizeof buffer), 3);
    EXPECT_EQ(std::string(buffer, 3), "far");
    EXPECT_EQ(file.readAt(kFar + 3, buffer, 1), 0);
    EXPECT_EQ(file.error(), Error::None);
    ASSERT_TRUE(file.truncate(4));
    ASSERT_TRUE(file.truncate(8));
    EXPECT_EQ(contentOf(dir_ / "f"), std::string("xy\0a\0\0\0\0", 8));

    EXPECT_EQ(file.readAt(-1, buffer, 1), -1);
    EXPECT_FALSE(file.writeAt(-1, "a", 1));
    EXPECT_NE(file.error(), Error::None);
}

TEST_F(FileTest, WhatIsNoFileIsNotOpened) {
    File file;
    EXPECT_FALSE(file.open(wide(dir_.path()), value(Disposition::OpenExisting), kGenericRead));
    EXPECT_FALSE(file.open(L"", value(Disposition::CreateAlways), kBoth));
    EXPECT_FALSE(file.isOpen());
    // What stands before a zero character is another name than the one asked for.
    const std::wstring cut = path("cut") + std::wstring(1, L'\0') + L"rest";
    EXPECT_FALSE(file.open(cut, value(Disposition::CreateAlways), kBoth));
    EXPECT_EQ(makeDirectory(cut), DirectoryResult::Failed);
    EXPECT_FALSE(makePath(cut));
    EXPECT_FALSE(std::filesystem::exists(dir_ / "cut"));
}

TEST_F(FileTest, FoldersAreMadeAndToldFromWhatStandsInTheirPlace) {
    EXPECT_EQ(makeDirectory(path("d")), DirectoryResult::Created);
    EXPECT_EQ(makeDirectory(path("d/")), DirectoryResult::Existed);
    std::ofstream(dir_ / "f").close();
    Error error = Error::None;
    std::wstring text;
    EXPECT_EQ(makeDirectory(path("f"), &text, &error), DirectoryResult::Occupied);
    EXPECT_EQ(error, Error::Exists);
    EXPECT_FALSE(text.empty());
    EXPECT_EQ(makeDirectory(path("no/d"), &text, &error), DirectoryResult::Failed);
    EXPECT_EQ(error, Error::NotFound);

    EXPECT_TRUE(makePath(path("a/b//c/")));
    EXPECT_TRUE(std::filesystem::is_directory(dir_ / "a/b/c"));
    EXPECT_FALSE(makePath(path("f/below")));
    EXPECT_FALSE(makePath(path("f")));
    EXPECT_FALSE(makePath(L""));
}

} // namespace
} // namespace platform::test
