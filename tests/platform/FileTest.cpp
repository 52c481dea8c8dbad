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
        EXPECT_EQ(file.failure().kind, c.opensExisting ? Error::None : Error::Exists);
        EXPECT_EQ(contentOf(dir_ / "there"), c.contentAfter);
        EXPECT_EQ(file.open(path("missing"), value(c.disposition), kBoth), c.opensMissing);
        EXPECT_EQ(file.failure().kind, c.opensMissing ? Error::None : Error::NotFound);
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
    EXPECT_EQ(file.failure().kind, Error::None);
    ASSERT_TRUE(file.truncate(4));
    ASSERT_TRUE(file.truncate(8));
    EXPECT_EQ(contentOf(dir_ / "f"), std::string("xy\0a\0\0\0\0", 8));

    EXPECT_EQ(file.readAt(-1, buffer, 1), -1);
    EXPECT_FALSE(file.writeAt(-1, "a", 1));
    EXPECT_NE(file.failure().kind, Error::None);
}

TEST_F(FileTest, WhatIsNoFileIsNotOpened) {
    File file;
    EXPECT_FALSE(file.open(wide(dir_.path()), value(Disposition::OpenExisting), kGenericRead));
    EXPECT_FALSE(file.open(L"", value(Disposition::CreateAlways), kBoth));
    EXPECT_FALSE(file.isOpen());
    // What stands before a zero character is another name than the one asked for.
    const std::wstring cut = path("cut") + std::wstring(1, L'\0') + L"rest";
    EXPECT_FALSE(file.open(cut, value(Disposition::CreateAlways), kBoth));
    EXPECT_TRUE(makePath(cut));
    EXPECT_FALSE(std::filesystem::exists(dir_ / "cut"));
}

TEST_F(FileTest, PathsAreMadeWithAllThatIsMissing) {
    std::ofstream(dir_ / "f").close();
    EXPECT_FALSE(makePath(path("a/b//c/")));
    EXPECT_TRUE(std::filesystem::is_directory(dir_ / "a/b/c"));
    const Failure failure = makePath(path("f/below"));
    EXPECT_TRUE(failure);
    EXPECT_FALSE(failure.words.empty());
    EXPECT_TRUE(makePath(path("f")));
    EXPECT_TRUE(makePath(L""));
}

TEST_F(FileTest, AFolderIsWrittenToWhereverItIsMoved) {
    using Entered = Folder::Entered;
    Folder top;
    Folder inner;
    ASSERT_TRUE(top.open(wide(dir_.path())));
    ASSERT_EQ(inner.enter(top, L"d"), Entered::Created);
    EXPECT_EQ(inner.enter(top, L"d"), Entered::Existed);
    File file;
    ASSERT_TRUE(file.open(inner, L"f", value(Disposition::CreateNew), kBoth));
    FileIdentity identity;
    ASSERT_TRUE(file.identity(identity));
    ASSERT_TRUE(file.writeAt(0, "x", 1) && file.sync() && file.close());
    EXPECT_EQ(inner.find(L"f").value().identity, identity);
    EXPECT_FALSE(inner.find(L"f")->isFolder);
    EXPECT_TRUE(inner.find(L"f")->isPlainFile);
    EXPECT_FALSE(top.find(L"d")->isPlainFile);
    EXPECT_FALSE(inner.find(L"g"));
    EXPECT_TRUE(inner.sync());
    EXPECT_GT(inner.freeSpace().value(), 0U);
    Folder other;
    EXPECT_EQ(other.enter(inner, L"f"), Folder::Entered::Occupied);
    EXPECT_EQ(other.failure().kind, Error::Exists);
    EXPECT_TRUE(inner.remove(L"f"));
    EXPECT_FALSE(std::filesystem::exists(dir_ / "d/f"));
    for (const std::string name : {"old", "new", "newer"})
        std::ofstream(dir_ / "d" / name) << name;
    EXPECT_FALSE(inner.rename(L"new", L"old", Folder::Taken::Keep));
    EXPECT_EQ(inner.failure().kind, Error::Exists);
    EXPECT_EQ(contentOf(dir_ / "d/old"), "old");
    EXPECT_TRUE(inner.rename(L"new", L"old", Folder::Taken::Replace));
    EXPECT_EQ(contentOf(dir_ / "d/old"), "new");
    EXPECT_TRUE(inner.rename(L"newer", L"newest", Folder::Taken::Keep));
    EXPECT_EQ(contentOf(dir_ / "d/newest"), "newer");
    EXPECT_FALSE(inner.find(L"newer"));
    EXPECT_FALSE(inner.rename(L"old", L"../out", Folder::Taken::Replace));

    std::error_code refused;
    std::filesystem::rename(dir_ / "d", dir_ / "moved", refused);
    const std::string now = refused ? "d" : "moved"; // Not every system moves what is open.
    std::filesystem::create_directory(dir_ / "d");
    ASSERT_TRUE(file.open(inner, L"f", value(Disposition::CreateNew), kBoth));
    ASSERT_TRUE(file.writeAt(0, "x", 1) && file.close());
    EXPECT_EQ(contentOf(dir_ / now / "f"), "x");
    for (const std::wstring name : {L"", L".", L"..", L"../d", L"d/x"}) {
        EXPECT_EQ(other.enter(top, name), Entered::Failed);
        EXPECT_FALSE(file.open(top, name, value(Disposition::OpenAlways), kBoth));
        EXPECT_FALSE(top.remove(name));
    }
}

} // namespace
} // namespace platform::test
