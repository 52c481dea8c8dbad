#include "platform/File.h"

#include "tests/platform/Tools.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <utility>

namespace platform::test {
namespace {

constexpr std::uint32_t kBoth = kGenericRead | kGenericWrite;

std::uint32_t value(Disposition disposition) {
    return static_cast<std::uint32_t>(disposition);
}

class FileTest : public testing::Test {
protected:
    std::wstring path(const std::string& name) const { return wide(dir_ / name); }

    void write(const std::string& name, const std::string& content) const {
        std::ofstream(dir_ / name, std::ios::binary) << content;
    }

    kova::test::TempDir dir_;
};

struct DispositionCase {
    Disposition disposition;
    bool opensExisting;
    bool opensMissing;
    std::string contentAfter; ///< Of a file that held "old".
};

TEST_F(FileTest, DispositionsDecideWhatHappensToExistingAndMissingFiles) {
    const DispositionCase cases[] = {
        {Disposition::CreateNew, false, true, "old"},
        {Disposition::CreateAlways, true, true, ""},
        {Disposition::OpenExisting, true, false, "old"},
        {Disposition::OpenAlways, true, true, "old"},
        {Disposition::TruncateExisting, true, false, ""},
    };
    for (const DispositionCase& c : cases) {
        SCOPED_TRACE(value(c.disposition));
        write("there", "old");
        File file;
        EXPECT_EQ(file.open(path("there"), value(c.disposition), kBoth), c.opensExisting);
        EXPECT_EQ(file.error(), c.opensExisting ? Error::None : Error::Exists);
        file.close();
        EXPECT_EQ(contentOf(dir_ / "there"), c.contentAfter);

        EXPECT_EQ(file.open(path("missing"), value(c.disposition), kBoth), c.opensMissing);
        EXPECT_EQ(file.error(), c.opensMissing ? Error::None : Error::NotFound);
        EXPECT_EQ(file.errorText().empty(), c.opensMissing);
        file.close();
        EXPECT_EQ(std::filesystem::exists(dir_ / "missing"), c.opensMissing);
        std::filesystem::remove(dir_ / "missing");
    }
    File file;
    EXPECT_FALSE(file.open(path("there"), 0, kBoth));
    EXPECT_FALSE(file.open(path("there"), 6, kBoth));
    EXPECT_FALSE(file.open(path("there"), value(Disposition::TruncateExisting), kGenericRead));
    EXPECT_EQ(contentOf(dir_ / "there"), "");
}

TEST_F(FileTest, ReadsAndWritesAtAnyPosition) {
    File file;
    ASSERT_TRUE(file.open(path("f"), value(Disposition::CreateNew), kBoth));
    ASSERT_TRUE(file.writeAt(3, "abc", 3));
    ASSERT_TRUE(file.writeAt(0, "xy", 2));
    ASSERT_TRUE(file.writeAt(1, nullptr, 0));
    EXPECT_EQ(file.size(), 6);
    char buffer[16] = {};
    EXPECT_EQ(file.readAt(0, buffer, sizeof buffer), 6);
    EXPECT_EQ(std::string(buffer, 6), std::string("xy\0abc", 6));
    EXPECT_EQ(file.readAt(6, buffer, 1), 0);
    EXPECT_EQ(file.readAt(100, buffer, 1), 0);
    EXPECT_EQ(file.error(), Error::None);
    EXPECT_EQ(file.readAt(-1, buffer, 1), -1);
    EXPECT_FALSE(file.writeAt(-1, "a", 1));
    EXPECT_NE(file.error(), Error::None);

    ASSERT_TRUE(file.truncate(4));
    ASSERT_TRUE(file.truncate(8));
    EXPECT_EQ(contentOf(dir_ / "f"), std::string("xy\0a\0\0\0\0", 8));
    EXPECT_FALSE(file.truncate(-1));
}

TEST_F(FileTest, PositionsAre64BitsWide) {
    constexpr std::int64_t kFar = (std::int64_t{1} << 32) + 7;
    File file;
    ASSERT_TRUE(file.open(path("f"), value(Disposition::CreateNew), kBoth));
    ASSERT_TRUE(file.writeAt(kFar, "far", 3));
    EXPECT_EQ(file.size(), kFar + 3);
    char buffer[3] = {};
    ASSERT_EQ(file.readAt(kFar, buffer, 3), 3);
    EXPECT_EQ(std::string(buffer, 3), "far");
    ASSERT_EQ(file.readAt(7, buffer, 3), 3);
    EXPECT_EQ(std::string(buffer, 3), std::string(3, '\0'));
}

TEST_F(FileTest, AccessIsAsAsked) {
    write("f", "content");
    char buffer[4] = {};
    File file;
    ASSERT_TRUE(file.open(path("f"), value(Disposition::OpenExisting), kGenericRead));
    EXPECT_FALSE(file.writeAt(0, "x", 1));
    EXPECT_FALSE(file.truncate(0));
    ASSERT_TRUE(file.open(path("f"), value(Disposition::OpenExisting), kGenericWrite));
    EXPECT_EQ(file.readAt(0, buffer, 1), -1);
    file.close();
    EXPECT_EQ(contentOf(dir_ / "f"), "content");
}

TEST_F(FileTest, WhatIsNoFileIsNotOpened) {
    File file;
    EXPECT_FALSE(file.open(wide(dir_.path()), value(Disposition::OpenExisting), kGenericRead));
    EXPECT_FALSE(file.open(wide(dir_.path()), value(Disposition::CreateAlways), kBoth));
    EXPECT_FALSE(file.open(L"", value(Disposition::CreateAlways), kBoth));
    EXPECT_FALSE(file.isOpen());
    // What stands before a zero character is another name than the one asked for.
    const std::wstring cut = path("cut") + std::wstring(1, L'\0') + L"rest";
    EXPECT_FALSE(file.open(cut, value(Disposition::CreateAlways), kBoth));
    EXPECT_EQ(makeDirectory(cut), DirectoryResult::Failed);
    EXPECT_FALSE(makePath(cut));
    EXPECT_FALSE(removeFile(cut));
    EXPECT_FALSE(std::filesystem::exists(dir_ / "cut"));
}

TEST_F(FileTest, NamesOfAnyScriptAreKeptApart) {
    const std::wstring names[] = {L"gr\u00fc\u00dfe", L"\u6587\u4ef6", L"\U0001F600",
                                  std::wstring(L"lone") + static_cast<wchar_t>(0xD83D),
                                  std::wstring(L"lone") + static_cast<wchar_t>(0xD83E)};
    for (const std::wstring& name : names) {
        File file;
        ASSERT_TRUE(file.open(path("") + name, value(Disposition::CreateNew), kGenericWrite));
    }
    for (const std::wstring& name : names) {
        EXPECT_TRUE(removeFile(path("") + name));
        EXPECT_FALSE(File().open(path("") + name, value(Disposition::OpenExisting), kGenericRead));
    }
    EXPECT_TRUE(std::filesystem::is_empty(dir_.path()));
}

TEST_F(FileTest, HandlesAreMovedAndClosed) {
    File first;
    EXPECT_FALSE(first.isOpen());
    ASSERT_TRUE(first.open(path("f"), value(Disposition::CreateNew), kBoth));
    File second(std::move(first));
    ASSERT_TRUE(second.writeAt(0, "1", 1));
    first = std::move(second);
    EXPECT_TRUE(first.isOpen());
    File third;
    FileIdentity one;
    FileIdentity other;
    ASSERT_TRUE(first.identity(one));
    ASSERT_TRUE(third.open(wide(dir_ / "." / "f"), value(Disposition::OpenExisting), 0));
    ASSERT_TRUE(third.identity(other));
    EXPECT_EQ(one, other);
    ASSERT_TRUE(third.open(path("g"), value(Disposition::CreateNew), kBoth));
    ASSERT_TRUE(third.identity(other));
    EXPECT_NE(one, other);
    EXPECT_TRUE(first.close());
    EXPECT_TRUE(first.close());
    EXPECT_EQ(first.size(), -1);
    EXPECT_FALSE(first.writeAt(0, "x", 1));
    EXPECT_FALSE(first.identity(one));
}

TEST_F(FileTest, SetsTheTimeOfTheLastChange) {
    constexpr std::int64_t kFrom1601To1970 = 116'444'736'000'000'000;
    constexpr std::int64_t kTicks = 12'345'678'901'234'567; // 2009-02-13, with a fraction
    File file;
    ASSERT_TRUE(file.open(path("f"), value(Disposition::CreateNew), kGenericWrite));
    ASSERT_TRUE(file.writeAt(0, "x", 1));
    const auto changed = [this] {
        using namespace std::chrono;
        const auto time = file_clock::to_sys(std::filesystem::last_write_time(dir_ / "f"));
        return duration_cast<nanoseconds>(time.time_since_epoch()).count();
    };
    ASSERT_TRUE(file.setModificationTime(kFrom1601To1970 + kTicks));
    EXPECT_EQ(changed(), kTicks * 100);
    ASSERT_TRUE(file.setModificationTime(kFrom1601To1970 - 1)); // before 1970
    EXPECT_EQ(changed(), -100);
}

TEST_F(FileTest, FoldersAreMadeAndToldFromWhatStandsInTheirPlace) {
    EXPECT_EQ(makeDirectory(path("d")), DirectoryResult::Created);
    EXPECT_EQ(makeDirectory(path("d")), DirectoryResult::Existed);
    EXPECT_EQ(makeDirectory(path("d/")), DirectoryResult::Existed);
    write("f", "");
    std::filesystem::create_directory_symlink(dir_ / "d", dir_ / "link");
    Error error = Error::None;
    std::wstring text;
    EXPECT_EQ(makeDirectory(path("f"), &text, &error), DirectoryResult::Occupied);
    EXPECT_EQ(error, Error::Exists);
    EXPECT_FALSE(text.empty());
    EXPECT_EQ(makeDirectory(path("link")), DirectoryResult::Occupied);
    EXPECT_EQ(makeDirectory(path("link/")), DirectoryResult::Occupied);
    EXPECT_EQ(makeDirectory(path("no/d"), &text, &error), DirectoryResult::Failed);
    EXPECT_EQ(error, Error::NotFound);

    EXPECT_TRUE(makePath(path("a/b//c/")));
    EXPECT_TRUE(makePath(path("a/b/c")));
    EXPECT_TRUE(std::filesystem::is_directory(dir_ / "a/b/c"));
    EXPECT_TRUE(makePath(path("link/below"))); // the way there may lead through links
    EXPECT_TRUE(std::filesystem::is_directory(dir_ / "d/below"));
    EXPECT_FALSE(makePath(path("f/below"), &text, &error));
    EXPECT_FALSE(text.empty());
    EXPECT_FALSE(makePath(path("f"), &text, &error));
    EXPECT_FALSE(makePath(L""));

    EXPECT_TRUE(removeFile(path("f")));
    EXPECT_FALSE(std::filesystem::exists(dir_ / "f"));
    EXPECT_TRUE(removeFile(path("f")));
    EXPECT_FALSE(removeFile(path("a")));
}

} // namespace
} // namespace platform::test
