#include "tests/cli/Program.h"
#include "tests/support/FatBuilder.h"
#include "tests/support/NtfsBuilder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace cli::test {
namespace {

namespace fs = std::filesystem;
using kova::uint8;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

TEST(Usage, HelpAndVersion) {
    EXPECT_EQ(run({"--version"}).out, "orvane-cli 1.1.0\n");
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {"--help"}, {"drives", "--help"}, {"scan", "--help"}, {"recover", "x", "-h"}}) {
        const Result result = run(arguments);
        EXPECT_EQ(result.code, 0);
        EXPECT_THAT(result.out, StartsWith("Usage: orvane-cli "));
    }
}

TEST(Usage, WhatIsWrongIsNamed) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
        {{}, "no command"},
        {{"undelete"}, "\"undelete\""},
        {{"scan"}, "SOURCE"},
        {{"scan", "a", "--frob"}, "frob"},
        {{"scan", "a", "--list", "--json"}, "--list and --json"},
        {{"scan", "a", "--types", "pictures,music"}, "\"music\""},
        {{"scan", "a", "--name", "[a"}, "\"[a\""},
        {{"scan", "a", "--min-size", "1.5M"}, "\"1.5M\""},
        {{"scan", "a", "--max-size", "9000000000G"}, "\"9000000000G\""},
        {{"scan", "a", "--modified-after", "2024-13-01"}, "\"2024-13-01\""},
        {{"scan", "a", "--partition", "0"}, "\"0\""},
        {{"recover", "a"}, "--to"},
    };
    for (const auto& [arguments, words] : cases) {
        const Result result = run(arguments);
        EXPECT_EQ(result.code, 2) << words << result.err;
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, StartsWith("orvane-cli: "));
        EXPECT_THAT(result.err, HasSubstr(words));
    }
}

class SourceTest : public testing::Test {
protected:
    std::string refusal(const std::string& source) {
        const Result result = run({"scan", source});
        EXPECT_EQ(result.code, 3) << source << result.err;
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, HasSubstr(source));
        return result.err;
    }

    kova::test::TempDir dir;
    fs::path image = dir / "disk.img";
};

TEST_F(SourceTest, WhatCannotBeScannedIsRefusedWithTheReason) {
    EXPECT_THAT(refusal((dir / "nowhere").string()), HasSubstr("no such file"));
    EXPECT_THAT(refusal(dir.path().string()), HasSubstr("folder"));
    EXPECT_THAT(refusal("/dev/null"), HasSubstr("not a disk image"));
    write(image, noise(1 << 20, 1));
    EXPECT_THAT(refusal(image.string()),
                AllOf(HasSubstr("neither NTFS, exFAT nor FAT"), HasSubstr("\"--deep\" looks")));

    kova::test::NtfsBuilder builder;
    auto bytes = builder.build();
    std::fill(bytes.begin() + 512, bytes.end(), uint8{0});
    write(image, bytes);
    EXPECT_THAT(refusal(image.string()), HasSubstr("damaged"));
}

TEST_F(SourceTest, MissingRightsAreNamedWithTheRemedy) {
    if (!platform::test::succeeds("setpriv --reuid=65534 --clear-groups true"))
        GTEST_SKIP() << "no right to give rights up";
    write(image, noise(5000, 1));
    fs::permissions(image, fs::perms::none);
    fs::permissions(dir.path(), fs::perms::all);
    const Result result = shell("cp $CLI '" + dir.path().string() +
                                "/cli'; setpriv --reuid=65534 "
                                "--clear-groups '" +
                                dir.path().string() + "/cli' scan '" + image.string() + "'");
    EXPECT_EQ(result.code, 3);
    EXPECT_THAT(result.err, HasSubstr("sudo"));
}

TEST_F(SourceTest, APartitionIsChosenByItsNumber) {
    kova::test::FatBuilder fat;
    fat.addFile(0, {.name = "ON.FAT", .longName = u"on.fat", .deleted = true}, "x");
    kova::test::NtfsBuilder ntfs;
    ntfs.deletedFile(40, 5, u"on ntfs", "y");
    write(dir / "fat", fat.bytes());
    write(dir / "ntfs", ntfs.build());
    platform::test::makeFile(image, 16 << 20);
    platform::test::run("printf 'label: dos\\n1:start=1M,size=6M,type=6\\n3:start=8M,type=7\\n' |"
                        " sfdisk -q '" +
                        image.string() + "'");
    platform::test::copyInto(image, 1 << 20, dir / "fat");
    platform::test::copyInto(image, 8 << 20, dir / "ntfs");

    const Result unclear = run({"scan", image.string()});
    EXPECT_EQ(unclear.code, 2);
    EXPECT_THAT(unclear.err, testing::ContainsRegex("\n +1 +FAT .*\n +3 +NTFS "));
    EXPECT_THAT(run({"scan", image.string(), "--partition", "1", "--list"}).lines(),
                ElementsAre("on.fat"));
    EXPECT_THAT(run({"scan", image.string(), "--list", "--partition=3"}).lines(),
                ElementsAre("on ntfs"));
    EXPECT_EQ(run({"scan", image.string(), "--partition", "2"}).code, 2);

    // Partitioned anew, for another system.
    const fs::path anew = dir / "anew.img";
    fs::copy(image, anew);
    platform::test::overwrite(anew, 1 << 20, std::vector<std::uint8_t>(512));
    const std::vector<std::uint8_t> picture = {'G', 'I', 'F', '8', '9', 'a',  1, 0, 1,  0,
                                               0,   0,   0,   ',', 0,   0,    0, 0, 1,  0,
                                               1,   0,   0,   2,   2,   0x44, 1, 0, ';'};
    platform::test::overwrite(anew, 8 << 20, picture);
    platform::test::run("printf 'label: dos\\n1:start=2M,size=4M,type=83\\n' | sfdisk -q '" +
                        anew.string() + "'");
    EXPECT_THAT(refusal(anew.string()), HasSubstr("\"--partition all --deep\" looks for files"));
    EXPECT_THAT(run({"scan", anew.string(), "--partition", "all", "--deep", "--list"}).lines(),
                ElementsAre("Found by content", "Found by content/Pictures",
                            "Found by content/Pictures/GIF",
                            "Found by content/Pictures/GIF/00001.gif"));

    platform::test::overwrite(image, 8 << 20, std::vector<std::uint8_t>(8 << 20));
    EXPECT_THAT(run({"scan", image.string(), "--list"}).err, HasSubstr("took partition 1 of"));
    EXPECT_EQ(run({"scan", (dir / "ntfs").string(), "--partition", "1"}).code, 2) << "it has none";
}

TEST_F(SourceTest, AnyPathWorksInAnyLocale) {
    kova::test::NtfsBuilder builder;
    builder.deletedFile(40, 5, u"\u00E9\u5199", "y");
    const std::string path = (dir / "im\u00E4ge \u5199 %1.img").string();
    write(path, builder.build());
    const Result result = shell("LC_ALL=C $CLI scan '" + path + "' --list");
    EXPECT_EQ(result.out, "\u00E9\u5199\n");
    EXPECT_EQ(result.err, "");
    const fs::path out = dir / "\u00F6ut %2";
    EXPECT_EQ(shell("LC_ALL=C $CLI recover '" + path + "' --to '" + out.string() +
                    "' --path '\u00E9\u5199'")
                  .code,
              0);
    EXPECT_THAT(filesBelow(out), ElementsAre(testing::Pair("\u00E9\u5199", "y")));
}

TEST(Drives, ListsALoopDeviceByItsLetter) {
    const kova::test::TempDir dir;
    const std::string image = (dir / "stick.img").string();
    platform::test::makeFat(image, 8 << 20, "-n STICK");
    const Result attached = shell("losetup --find --show '" + image + "'");
    if (attached.code != 0)
        GTEST_SKIP() << "no loop devices here";
    const std::string device = attached.lines().at(0);
    const Result table = run({"drives"});
    const Result json = run({"drives", "--json"});
    const Result byDevice = run({"scan", device});
    const Result withPartition = run({"scan", device, "--partition", "1"});
    std::string letter;
    for (const std::string& line : json.lines()) {
        if (line.find("\"device\":\"" + device + "\"") != std::string::npos)
            letter = line.substr(11, 1);
    }
    const Result byLetter = run({"scan", letter + ":"});
    platform::test::succeeds("losetup -d " + device);

    EXPECT_THAT(table.out, HasSubstr("STICK"));
    EXPECT_THAT(json.out,
                HasSubstr("\"label\":\"STICK\",\"fileSystem\":\"FAT\",\"size\":8388608,"));
    EXPECT_EQ(byDevice.code, 0) << byDevice.err;
    EXPECT_EQ(byLetter.code, 0) << byLetter.err;
    EXPECT_EQ(withPartition.code, 2);
}

} // namespace
} // namespace cli::test
