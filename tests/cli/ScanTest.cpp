#include "tests/cli/Program.h"
#include "tests/support/NtfsBuilder.h"

#include "engine/ntfs/NtfsLayout.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QJsonDocument>
#include <QJsonObject>

#include <limits>

namespace cli::test {
namespace {

using kova::int64;
using kova::uint8;
using kova::test::NtfsBuilder;
using kova::test::RecordBuilder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

constexpr int64 kRoot = 5;
/// 2021-06-18 13:31:02.1234567 UTC.
constexpr int64 kTime = 132684966621234567;

/// A deleted file in the root folder with resident content.
RecordBuilder file(const NtfsBuilder& builder, const std::u16string& name, int64 time,
                   std::size_t size = 1, uint8 nameSpace = 1) {
    return builder.newRecord()
        .standardInformation(time)
        .fileName(kRoot, name, nameSpace)
        .resident(kova::ntfs::kData, std::vector<uint8>(size, 'x'));
}

class ScanTest : public testing::Test {
protected:
    Result scan(NtfsBuilder& builder, const std::vector<std::string>& options) {
        write(image, builder.build());
        std::vector<std::string> arguments{"scan", image.string()};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return run(arguments);
    }

    kova::test::TempDir dir;
    std::filesystem::path image = dir / "volume.img";
};

TEST_F(ScanTest, JsonTellsEverythingAsItIs) {
    NtfsBuilder builder;
    const std::u16string odd = u"a\"\\\n\u202E\u00E9\U0001F600" + std::u16string(1, 0xD83D) + u"z";
    builder.directory(30, kRoot, u"folder", true)
        .put(31, file(builder, odd, kTime, 17))
        .put(32, file(builder, u"no time", 0))
        .put(33, file(builder, u"negative", -5))
        .put(34, file(builder, u"absurd", std::numeric_limits<int64>::max() - 3))
        .deletedFile(35, 30, u"inside", "1")
        .deletedFile(36, 50, u"orphan", "2")
        .deletedFile(37, 35, u"in a file", "3");
    std::vector<QJsonObject> objects;
    std::vector<std::string> paths;
    for (const std::string& line : scan(builder, {"--json"}).lines()) {
        objects.push_back(QJsonDocument::fromJson(QByteArray::fromStdString(line)).object());
        paths.push_back(objects.back()["path"].toString().toStdString());
    }
    ASSERT_EQ(objects.size(), 9U);
    const QString oddName(reinterpret_cast<const QChar*>(odd.data()),
                          static_cast<qsizetype>(odd.size()));
    EXPECT_EQ(objects[0], (QJsonObject{{"id", 31},
                                       {"parentId", 5},
                                       {"path", oddName},
                                       {"name", oddName},
                                       {"directory", false},
                                       {"exists", false},
                                       {"attributes", 32},
                                       {"size", 17},
                                       {"created", "2021-06-18T13:31:02.1234567Z"},
                                       {"modified", "2021-06-18T13:31:02.1234568Z"},
                                       {"accessed", "2021-06-18T13:31:02.1234570Z"},
                                       {"state", "whole"}}));
    for (std::size_t i = 1; i <= 3; ++i)
        EXPECT_TRUE(objects[i]["created"].isNull()) << paths[i];
    const std::string lost = "Files with unknown path";
    EXPECT_THAT(
        std::vector(paths.begin() + 4, paths.end()),
        ElementsAre("folder", "folder/inside", lost, lost + "/orphan", lost + "/in a file"));
    EXPECT_TRUE(objects[4]["exists"].toBool() && objects[4]["directory"].toBool());
    EXPECT_EQ(objects[6]["id"].toInt(), -2);
    EXPECT_EQ(objects[6]["parentId"].toInt(), kRoot);
    EXPECT_EQ(objects[7]["parentId"].toInt(), -2);
    EXPECT_EQ(objects[8]["parentId"].toInt(), 35);
}

TEST_F(ScanTest, TreeAndList) {
    NtfsBuilder builder;
    builder.directory(30, kRoot, u"folder", true)
        .put(31, file(builder, u"top.txt", kTime, 200))
        .deletedFile(35, 30, u"inside", "1");
    EXPECT_THAT(scan(builder, {"--list"}).lines(),
                ElementsAre("top.txt", "folder", "folder/inside"));
    const auto lines = scan(builder, {}).lines();
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_THAT(lines[1], testing::ContainsRegex("^ *200 bytes  18 Jun 2021 ..:.. .  top.txt$"));
    EXPECT_THAT(lines[2], HasSubstr("+ folder/"));
    EXPECT_THAT(lines[3], HasSubstr("    inside"));
    EXPECT_EQ(lines[4], "2 files (201 bytes) and 1 folder found.");
}

TEST_F(ScanTest, OnlyATerminalGetsCleanedNames) {
    NtfsBuilder builder;
    const std::u16string name = u"\u001B[2Jgpj.\u202Etxt";
    const std::string raw = "\x1B[2Jgpj.\xE2\x80\xAEtxt\n";
    const std::string shown = "\xEF\xBF\xBD[2Jgpj.\xEF\xBF\xBDtxt";
    builder.put(31, file(builder, name, kTime));
    EXPECT_EQ(scan(builder, {"--list"}).out, raw);
    for (const std::string option : {"--list", ""}) {
        const Result terminal =
            shell("script -qec \"$CLI scan '" + image.string() + "' " + option + "\" /dev/null");
        EXPECT_THAT(terminal.out, HasSubstr(shown)) << terminal.err;
        EXPECT_THAT(terminal.out, Not(HasSubstr("\x1B")));
    }
}

TEST_F(ScanTest, FiltersNarrowWhatIsPrinted) {
    NtfsBuilder builder;
    builder.directory(30, kRoot, u"empty", false)
        .directory(31, kRoot, u"leading", true)
        .put(40, file(builder, u"a/B.JPG", kTime, 100))
        .put(41, file(builder, u"movie.gif", kTime + 1, 300))
        .put(42, file(builder, std::u16string(1, 0xD800) + u"\u00C9t\u00E9.doc", 0, 200))
        .deletedFile(43, 31, u"song.mp3", "12345");
    const auto list = [&](const std::vector<std::string>& options) {
        auto all = options;
        all.emplace_back("--list");
        const Result result = scan(builder, all);
        EXPECT_EQ(result.code, 0) << result.err;
        return result.lines();
    };
    const std::string doc = "\xED\xA0\x80\xC3\x89t\xC3\xA9.doc";
    const std::vector<std::string> song{"leading", "leading/song.mp3"};

    EXPECT_EQ(list({}).size(), 6U);
    EXPECT_THAT(list({"--types", "pictures,VIDEOS"}), ElementsAre("a/B.JPG", "movie.gif"));
    EXPECT_EQ(list({"--types", "sounds"}), song);
    EXPECT_THAT(list({"--name", "a*b.jp?"}), ElementsAre("a/B.JPG"));
    EXPECT_EQ(list({"--name", "[r-t]ong.*"}), song);
    EXPECT_THAT(list({"--name", "song"}), IsEmpty()) << "the whole name has to match";
    EXPECT_EQ(list({"--name", "?\u00C9T\u00C9.*"}).size(), 1U);
    EXPECT_THAT(list({"--min-size", "200", "--max-size", "1K"}), testing::SizeIs(2));
    EXPECT_THAT(list({"--modified-after", "2021-06-18T13:31:02.123Z", "--modified-before",
                      "2021-06-19Z", "--max-size", "299"}),
                ElementsAre("a/B.JPG"));
    EXPECT_THAT(list({"--modified-after", "2021-06-18T13:31:03Z"}), IsEmpty());
    EXPECT_EQ(list({"--modified-before", "2000-01-01"}), song) << "what has no time never passes";
}

TEST_F(ScanTest, ClassicLeavesOutWhatNewerSystemsWrite) {
    NtfsBuilder builder;
    builder.put(40, file(builder, u"windows", kTime)).put(41, file(builder, u"linux", kTime, 1, 0));
    EXPECT_THAT(scan(builder, {"--list"}).lines(), ElementsAre("windows", "linux"));
    EXPECT_THAT(scan(builder, {"--list", "--classic"}).lines(), ElementsAre("windows"));
}

TEST_F(ScanTest, StreamsAreListedWhenAskedFor) {
    NtfsBuilder builder;
    builder.put(
        40, file(builder, u"a.txt", kTime).resident(kova::ntfs::kData, {'s'}, u"Zone.Identifier"));
    EXPECT_THAT(scan(builder, {"--list"}).lines(), ElementsAre("a.txt"));
    EXPECT_THAT(scan(builder, {"--list", "--streams"}).lines(),
                UnorderedElementsAre("a.txt", "a.txt_Zone.Identifier"));
}

TEST_F(ScanTest, WarnsOfWhatIsMissing) {
    platform::test::makeFile(image, 16 << 20);
    platform::test::run("mkfs.exfat '" + image.string() + "'");
    std::filesystem::resize_file(image, 12 << 20);
    const Result result = run({"scan", image.string()});
    EXPECT_EQ(result.code, 0);
    EXPECT_THAT(result.err, HasSubstr("shorter than its file system"));

    NtfsBuilder builder({.mftExtents = {{4, 8}, {200, 8}}});
    write(image, builder.build());
    const std::filesystem::path told = dir / "loop";
    if (!platform::test::succeeds("losetup --read-only --find --show '" + image.string() + "' > '" +
                                  told.string() + "'"))
        GTEST_SKIP() << "no loop devices here";
    std::string device = contentOf(told);
    device.pop_back();
    std::filesystem::resize_file(image, 200 * builder.bytesPerCluster()); // Bad from there on.
    const Result bad = run({"scan", device});
    platform::test::run("losetup --detach " + device);
    EXPECT_EQ(bad.code, 0);
    EXPECT_THAT(bad.err, HasSubstr("64 sectors of \"" + device + "\" could not be read"));
}

TEST_F(ScanTest, AReaderThatHasHadEnoughEndsItQuietly) {
    constexpr int kFiles = 3000;
    NtfsBuilder builder({.recordCount = kFiles + 100, .clusters = 2000});
    for (int i = 0; i < kFiles; ++i)
        builder.put(static_cast<kova::uint32>(40 + i),
                    file(builder, std::u16string(100, u'n'), kTime));
    write(image, builder.build());
    const std::string command = " $CLI scan '" + image.string() + "' --json";
    for (const std::string& prepare : {std::string("trap '' PIPE;"), std::string()}) {
        const Result result = shell(prepare + command + " | head -n 1");
        EXPECT_EQ(result.lines().size(), 1U);
        EXPECT_EQ(result.err, "");
    }
    const Result full = shell(command + " > /dev/full");
    EXPECT_EQ(full.code, 1);
    EXPECT_THAT(full.err, HasSubstr("cannot be written"));
}

} // namespace
} // namespace cli::test
