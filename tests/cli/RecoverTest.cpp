#include "tests/cli/Program.h"
#include "tests/support/FatBuilder.h"
#include "tests/support/NtfsBuilder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <csignal>

#include <sys/mount.h>
#include <sys/stat.h>

namespace cli::test {
namespace {

namespace fs = std::filesystem;
using kova::int64;
using kova::test::FatBuilder;
using kova::test::NtfsBuilder;
using platform::test::succeeds;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Key;
using testing::Pair;
using testing::UnorderedElementsAre;

constexpr int64 kRoot = 5;

class RecoverTest : public testing::Test {
protected:
    Result recover(const std::vector<std::string>& options = {}) {
        std::vector<std::string> arguments{"recover", image.string(), "--to", out.string()};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return run(arguments);
    }

    /// A live and a deleted folder, an orphan, a file in a file, and equal names.
    void makeTree() {
        NtfsBuilder builder;
        builder.directory(30, kRoot, u"live", true)
            .directory(31, kRoot, u"gone", false)
            .directory(32, 31, u"empty", false)
            .deletedFile(40, 30, u"same.txt", "first")
            .deletedFile(41, 30, u"same.txt", "second")
            .deletedFile(42, 31, u"a?b.jpg", "picture")
            .deletedFile(43, 42, u"in a file", "found")
            .deletedFile(44, 60, u"orphan", "lost");
        write(image, builder.build());
    }

    kova::test::TempDir dir;
    fs::path image = dir / "volume.img";
    fs::path out = dir / "new" / "out";
};

TEST_F(RecoverTest, EverythingWithItsFolders) {
    makeTree();
    const Result result = recover();
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(result.out, "Recovered 5 files to \"" + out.string() + "\"; 0 failed.\n");
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(filesBelow(out),
                UnorderedElementsAre(Pair("live", "/"), Pair("live/same.txt", "first"),
                                     Pair("live/same (2).txt", "second"), Pair("gone", "/"),
                                     Pair("gone/empty", "/"), Pair("gone/a_b.jpg", "picture"),
                                     Pair("Files with unknown path", "/"),
                                     Pair("Files with unknown path/orphan", "lost"),
                                     Pair("Files with unknown path/in a file", "found")));
}

TEST_F(RecoverTest, TellsWhatWasWipedAndWhatContradictsItsName) {
    const std::string pdf =
        "%PDF-1.4\n1 0 obj\n" + std::string(9000, 'p') + "\nstartxref\n9\n%%EOF\n";
    std::string wiped = pdf;
    wiped.back() = 'w';
    platform::test::makeFat(image, 4 << 20, "-F 12");
    const std::string volume = kova::test::forShell(image);
    const fs::path file = dir / "content";
    for (const auto& [name, content] : std::map<std::string, std::string>{
             {"good", pdf}, {"other", std::string(9000, 't')}, {"wiped", wiped}}) {
        write(file, std::vector<uint8_t>(content.begin(), content.end()));
        platform::test::run("mcopy -i " + volume + " " + kova::test::forShell(file) + " '::/The " +
                            name + " one.pdf'");
    }
    platform::test::run("mdel -i " + volume + " '::/*.pdf'");
    platform::test::overwrite(image, contentOf(image).find(wiped),
                              std::vector<uint8_t>(wiped.size()));

    const Result result = recover();
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.lines(),
                ElementsAre(HasSubstr("Recovered 2 files"),
                            "1 whole, 0 overwritten at least in part, 1 erased, 1 doubtful.",
                            "Failed:", HasSubstr("The wiped one.pdf: the drive has erased"),
                            "Doubtful:", HasSubstr("The other one.pdf: its content is not")));
    EXPECT_EQ(contentOf(out / "The good one.pdf"), pdf);
    for (const auto& [state, name] :
         std::map<std::string, std::string>{{"erased", "wiped"}, {"mismatched, unknown", "other"}})
        EXPECT_THAT(run({"scan", image.string(), "--list", "--state", state}).lines(),
                    ElementsAre("The " + name + " one.pdf"));
    EXPECT_EQ(run({"scan", image.string(), "--list", "--state", "whole"}).lines().size(), 3U)
        << "its content is not looked at";
    EXPECT_EQ(run({"scan", image.string(), "--state", "good"}).code, 2);
}

TEST_F(RecoverTest, FiltersLeaveOutFilesAndEmptyFolders) {
    makeTree();
    EXPECT_EQ(recover({"--types", "documents"}).code, 0);
    EXPECT_THAT(filesBelow(out),
                UnorderedElementsAre(Key("live"), Key("live/same.txt"), Key("live/same (2).txt")));
    fs::remove_all(out);
    EXPECT_EQ(recover({"--max-size", "4"}).code, 0);
    EXPECT_THAT(filesBelow(out), UnorderedElementsAre(Key("Files with unknown path"),
                                                      Key("Files with unknown path/orphan")));
}

TEST_F(RecoverTest, PicksAreWrittenDirectlyBelow) {
    makeTree();
    EXPECT_EQ(recover({"--id", "42", "--path", "live/same.txt", "--id", "32", "--id", "31"}).code,
              0);
    EXPECT_THAT(filesBelow(out),
                UnorderedElementsAre(Pair("same.txt", "first"), Pair("same (2).txt", "second"),
                                     Pair("gone", "/"), Pair("gone/a_b.jpg", "picture"),
                                     Pair("gone/empty", "/")))
        << "what a picked folder holds is written once";
    fs::remove_all(dir / "new");
    EXPECT_EQ(recover({"--id", "-2", "--name", "orphan"}).code, 0);
    EXPECT_THAT(filesBelow(out), UnorderedElementsAre(Key("Files with unknown path"),
                                                      Key("Files with unknown path/orphan")));
    fs::remove_all(dir / "new");

    for (const auto& [options, words] : std::map<std::vector<std::string>, std::string>{
             {{"--id", "40", "--id", "99"}, "99"},
             {{"--path", "live/Same.txt"}, "live/Same"},
             {{"--id", "40", "--min-size", "9"}, "40"}}) {
        const Result result = recover(options);
        EXPECT_EQ(result.code, 2);
        EXPECT_THAT(result.err, HasSubstr(words));
        EXPECT_FALSE(fs::exists(dir / "new"));
    }
}

TEST_F(RecoverTest, ExistingFilesAreKeptUnlessToBeOverwritten) {
    makeTree();
    fs::create_directories(out);
    write(out / "orphan", "mine");
    const Result kept = recover({"--id", "44"});
    EXPECT_EQ(kept.code, 0);
    EXPECT_THAT(kept.out, HasSubstr("1 file was there already"));
    EXPECT_THAT(filesBelow(out),
                UnorderedElementsAre(Pair("orphan", "mine"), Pair("orphan (2)", "lost")));
    EXPECT_EQ(recover({"--id", "44", "--overwrite", "--keep-times"}).code, 0);
    EXPECT_EQ(contentOf(out / "orphan"), "lost");

    struct stat status {};

    ASSERT_EQ(::stat((out / "orphan").c_str(), &status), 0);
    EXPECT_LT(status.st_mtime, 0) << "the volume says the year 1601";
}

TEST_F(RecoverTest, ReportsWhatWasWrittenAndFromWhere) {
    NtfsBuilder builder;
    builder.directory(30, kRoot, u"<b>&", true)
        .deletedFile(40, 30, u"=1+\"x\",\n", "resident")
        .deletedFile(41, kRoot, std::u16string{u'a', 0xD800, 0x202E}, "resident");
    write(image, builder.build());
    std::map<std::string, std::string> reports;
    for (const std::string suffix : {".json", ".csv", ".html"}) {
        const fs::path report = out / ("report" + suffix);
        const Result result = recover({"--verify", "--report", report.string()});
        EXPECT_EQ(result.code, 0) << result.err;
        EXPECT_THAT(result.out, HasSubstr("Verified: 2 of 2 files read"));
        reports[suffix] = contentOf(report);
        EXPECT_EQ(recover({"--report", report.string(), "--overwrite"}).code, 4);
        EXPECT_EQ(contentOf(report), reports[suffix]);
    }
    const QJsonObject json =
        QJsonDocument::fromJson(QByteArray::fromStdString(reports[".json"])).object();
    const QJsonArray files = json["files"].toArray();
    ASSERT_EQ(files.size(), 2) << reports[".json"];
    const QByteArray sha = QCryptographicHash::hash("resident", QCryptographicHash::Sha256).toHex();
    for (const QJsonValue file : files)
        EXPECT_EQ(file["sha256"].toString().toLatin1(), sha);
    EXPECT_EQ(contentOf(out / files[1]["path"].toString().toStdString()), "resident");
    EXPECT_EQ(files[1]["name"].toString(), QStringLiteral("=1+\"x\",\n"));
    EXPECT_THAT(reports[".json"], HasSubstr("a\\uD800"));
    EXPECT_THAT(reports[".csv"],
                HasSubstr("\"'=1+\"\"x\"\",\n\",<b>&,8,8," + sha.toStdString() + ",yes"));
    EXPECT_THAT(reports[".html"],
                HasSubstr("<td>=1+&quot;x&quot;,[U+000A]</td><td>&lt;b&gt;&amp;"));
    EXPECT_THAT(reports[".html"], HasSubstr("<td>a[U+D800][U+202E]</td>"));

    EXPECT_EQ(run({"recover", "not there", "--to", "x", "--report", "report.txt"}).code, 2);
}

TEST_F(RecoverTest, RefusesAnOutputThatCannotBeOrMustNotBe) {
    makeTree();
    write(dir / "file", "x");
    const auto refusal = [&](const fs::path& to, const std::vector<std::string>& options = {}) {
        out = to;
        const Result result = recover(options);
        EXPECT_EQ(result.code, 4) << to << result.err;
        EXPECT_EQ(result.out, "");
        return result.err;
    };
    const std::string bytes = contentOf(image);
    fs::create_symlink(image, dir / "link");
    EXPECT_THAT(refusal(image), HasSubstr("the image that is read"));
    EXPECT_THAT(refusal(dir / "link"), HasSubstr("the image that is read"));
    EXPECT_THAT(refusal(dir / "file"), HasSubstr("is a file"));
    EXPECT_THAT(refusal(dir / "file" / "below"), HasSubstr("cannot be created"));
    fs::create_directory_symlink(dir.path().parent_path(), dir / "above");
    EXPECT_THAT(refusal(dir / "above", {"--overwrite"}), HasSubstr("--overwrite"));
    EXPECT_EQ(contentOf(image), bytes);
    out = dir.path();
    EXPECT_EQ(recover().code, 0) << "beside the image is no harm while nothing is replaced";
    EXPECT_EQ(contentOf(image), bytes);
}

TEST_F(RecoverTest, RefusesADirectoryInAMountOfTheImage) {
    const fs::path mount = dir / "mount";
    platform::test::makeNtfs(image, 16 << 20);
    fs::create_directory(mount);
    if (!succeeds("ntfs-3g '" + image.string() + "' '" + mount.string() + "'"))
        GTEST_SKIP() << "no FUSE here";
    out = mount / "new" / "out";
    const Result result = recover();
    const bool created = fs::exists(mount / "new");
    EXPECT_EQ(run({"scan", image.string(), "--deep", "--save", (mount / "s").string()}).code, 4);
    succeeds("umount '" + mount.string() + "'");
    EXPECT_FALSE(created);
    EXPECT_EQ(result.code, 4) << result.err;
    EXPECT_THAT(result.err, HasSubstr("lies on the drive that is read"));
}

TEST_F(RecoverTest, WritesToAPlaceThatNothingTellsOnlyWhenForced) {
    makeTree();
    fs::create_directory(dir / "behind");
    fs::create_directory(dir / "view");
    const std::string view = "'" + (dir / "view").string() + "'";
    if (!succeeds("bindfs '" + (dir / "behind").string() + "' " + view))
        GTEST_SKIP() << "no FUSE or no bindfs here";
    fs::rename(dir / "behind", dir / "moved");
    out = dir / "view" / "out";
    const Result refused = recover();
    EXPECT_EQ(refused.code, 4);
    EXPECT_THAT(refused.err, AllOf(HasSubstr("(fuse) to a place that is not known"),
                                   HasSubstr("--force-output")));
    EXPECT_TRUE(fs::is_empty(dir / "moved"));
    EXPECT_EQ(recover({"--force-output"}).code, 0);
    EXPECT_EQ(contentOf(dir / "moved/out/gone/a_b.jpg"), "picture");
    succeeds("umount " + view);
}

TEST_F(RecoverTest, GivesWhatASavedSearchHasFoundWithoutSearching) {
    platform::test::makeFat(image, 8 << 20, "-F 16 -s 1");
    platform::test::run("mmd -i '" + image.string() + "' ::/above ::/above/below");
    write(dir / "film.bin", noise(3 << 20, 5));
    const fs::path pictures = fs::path(ORVANE_SOURCE_DIR) / "tests" / "pictures";
    platform::test::run("mcopy -i '" + image.string() + "' '" + (dir / "film.bin").string() +
                        "' '" + (pictures / "small.jpg").string() + "' '" +
                        (pictures / "small.psd").string() + "' ::/above/below");
    platform::test::run("mkfs.fat -F 16 -s 1 '" + image.string() + "'");
    std::string other = contentOf(image); // Begins alike.
    std::fill(other.begin() + 8192, other.end(), '\0');
    write(dir / "other.img", other);
    const std::string saved = (dir / "found.jsonl").string();
    EXPECT_EQ(recover({"--deep", "--save", saved}).code, 0);
    const auto found = filesBelow(out);
    EXPECT_GE(found.size(), 3U);
    out = dir / "later";
    EXPECT_EQ(recover({"--from", saved}).code, 0);
    EXPECT_EQ(filesBelow(out), found);
    EXPECT_EQ(recover({"--deep", "--save", saved}).code, 4) << "there is a search in it";
    const Result refused = run({"scan", (dir / "other.img").string(), "--resume", saved});
    EXPECT_EQ(refused.code, 3);
    EXPECT_THAT(refused.err, HasSubstr("another drive"));
    std::string damaged = contentOf(saved);
    damaged[damaged.size() / 2] ^= 1;
    write(saved, damaged);
    const Result result = recover({"--from", saved});
    EXPECT_EQ(result.code, 2);
    EXPECT_THAT(result.err, HasSubstr("is damaged"));
}

/// A drive that hangs in the middle of a search: Ctrl-C is heard, and what was found is kept.
TEST_F(RecoverTest, KeepsWhatASearchHasFoundOnADriveThatHangs) {
    const fs::path mount = dir / "mount";
    const fs::path saved = dir / "found.jsonl";
    image = mount / "drive.img";
    fs::create_directory(mount);
    platform::test::makeNtfs(dir / "outer", 5ULL << 30);
    QProcess server;
    server.start(QStringLiteral("ntfs-3g"), {QStringLiteral("-o"), QStringLiteral("no_detach"),
                                             QString::fromStdString((dir / "outer").string()),
                                             QString::fromStdString(mount.string())});
    for (int i = 0; i < 100 && !succeeds("mountpoint -q '" + mount.string() + "'"); ++i)
        server.waitForFinished(20);
    if (!succeeds("mountpoint -q '" + mount.string() + "'"))
        GTEST_SKIP() << "no FUSE here";
    const auto pictures = fs::path(ORVANE_SOURCE_DIR) / "tests" / "pictures";
    fs::copy_file(pictures / "small.png", image);
    fs::resize_file(image, 4ULL << 30);
    QProcess search;
    auto environment = QProcessEnvironment::systemEnvironment();
    // A leak check would wait for the thread that the drive holds.
    environment.insert(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("detect_leaks=0"));
    search.setProcessEnvironment(environment);
    start(search, {"scan", image.string(), "--deep", "--save", saved.string()});
    while (search.state() != QProcess::NotRunning && !fs::exists(saved))
        search.waitForFinished(5);
    search.waitForFinished(300); // So that it has come to something.
    const auto daemon = static_cast<pid_t>(server.processId());
    ::kill(daemon, SIGSTOP);
    search.waitForFinished(300);
    ::kill(static_cast<pid_t>(search.processId()), SIGINT);
    EXPECT_TRUE(search.waitForFinished(10'000)) << "it waits for the drive";
    ::kill(daemon, SIGCONT);
    const Result stopped = waitFor(search);
    EXPECT_EQ(stopped.code, 130) << stopped.err;
    EXPECT_THAT(stopped.err, HasSubstr("what was found is kept in \"" + saved.string()));
    const Result found = run({"scan", image.string(), "--from", saved.string(), "--list"});
    EXPECT_THAT(found.out, HasSubstr("PNG/00001.png"));
    EXPECT_THAT(found.err, HasSubstr("was broken off"));
    succeeds("umount '" + mount.string() + "'");
    server.waitForFinished();
}

/// The output lies on a thin volume: what is written is taken, and lost when it is written back.
class ThinOutputTest : public RecoverTest, public testing::WithParamInterface<bool> {};

TEST_P(ThinOutputTest, SaysWhatTheOutputDriveHasLost) {
    FatBuilder builder({.sectorsPerCluster = 16});
    constexpr int kFiles = 40;
    for (int i = 0; i < kFiles; ++i)
        builder.addFile(
            0, {.name = "F" + std::to_string(i) + ".PNG", .longName = u"", .deleted = true},
            noise(100'000, static_cast<unsigned>(i)));
    builder.addFile(0, {.name = "LARGE.DAT", .longName = u"", .deleted = true},
                    noise(17 << 20, 1)); // So large that it is waited for by itself.
    write(image, builder.bytes());
    const fs::path room = dir / "room";
    const fs::path mount = dir / "mount";
    const fs::path view = GetParam() ? dir / "view" : mount;
    for (const fs::path& folder : {room, mount, view})
        fs::create_directories(folder);
    if (::mount("tmpfs", room.c_str(), "tmpfs", 0, "size=3M") != 0)
        GTEST_SKIP() << "no right to mount";
    platform::test::makeFile(room / "thin", 64 << 20);
    const bool mounted =
        succeeds("mkfs.ext2 -q -F '" + (room / "thin").string() + "' && mount -o loop '" +
                 (room / "thin").string() + "' '" + mount.string() + "'");
    const bool isSeen =
        mounted &&
        (!GetParam() || succeeds("bindfs '" + mount.string() + "' '" + view.string() + "'"));
    Result result;
    if (isSeen) {
        out = view / "out";
        result = recover();
        ::umount2(view.c_str(), MNT_DETACH); // What shows it may take a moment to end.
    }
    ::umount2(mount.c_str(), MNT_DETACH);
    ::umount2(room.c_str(), MNT_DETACH);
    if (!isSeen)
        GTEST_SKIP() << "no loop devices here, or no bindfs";
    EXPECT_EQ(result.code, 4) << result.out;
    EXPECT_THAT(result.err, HasSubstr("cannot be written"));
    EXPECT_THAT(result.lines(),
                AllOf(Contains(HasSubstr("may be lost")), Contains(testing::EndsWith("_7.PNG")),
                      testing::Not(Contains(HasSubstr(" whole, ")))))
        << "none is there to have a state";
}

INSTANTIATE_TEST_SUITE_P(DirectlyAndThroughAView, ThinOutputTest, testing::Bool());

TEST_F(RecoverTest, WhatAnAdministratorRecoversBelongsToWhoAsked) {
    makeTree();
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs administrator rights";
    for (const auto& [variables, owner] : std::map<std::string, uid_t>{
             {"PKEXEC_UID=12345 SUDO_UID=1", 12345},
             {"SUDO_UID=65534", 65534},
             {"PKEXEC_UID=me SUDO_UID=12345", 12345},
             {"SUDO_UID=0", 0},
             {"SUDO_UID=-1", 0},
             {"SUDO_UID=4294967295", 0}, // That is "no user" to the system.
             {"SUDO_UID=4294979641", 0}}) {
        const std::string to = " --to '" + out.string() + "'";
        fs::create_directory(out.parent_path());
        // The group of a folder that is shared stays.
        ASSERT_EQ(::chown(out.parent_path().c_str(), owner, 54321), 0);
        ASSERT_EQ(::chmod(out.parent_path().c_str(), S_ISGID | S_IRWXU), 0);
        EXPECT_EQ(shell(variables + " $CLI recover '" + image.string() + "'" + to).code, 0);
        for (const fs::path& path : {out, out / "gone", out / "gone/a_b.jpg"}) {
            struct stat status {};

            ASSERT_EQ(::lstat(path.c_str(), &status), 0) << path;
            EXPECT_EQ(status.st_uid, owner) << path << " with " << variables;
            EXPECT_EQ(status.st_gid, 54321U) << path;
        }
        fs::remove_all(dir / "new");
    }
}

TEST_F(RecoverTest, SaysWhatIsNotWhole) {
    FatBuilder builder;
    builder.addFile(0, {.name = "WHOLE.TXT", .longName = u"whole.txt", .deleted = true}, "whole");
    const std::string data = noise(20'000, 1);
    const kova::uint32 cluster =
        builder.addFile(0, {.name = "CUT.BIN", .longName = u"cut.bin", .deleted = true}, data);
    auto bytes = builder.bytes();
    bytes.resize(builder.offsetOf(cluster) + 8192);
    write(image, bytes);
    const Result result = recover();
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.lines(),
                ElementsAre("Recovered 1 file to \"" + out.string() + "\"; 1 failed.",
                            "Failed:", HasSubstr("cut.bin: a part of it lies beyond the end")));
    EXPECT_EQ(contentOf(out / "whole.txt"), "whole");
    EXPECT_EQ(contentOf(out / "cut.bin").substr(0, 8192), data.substr(0, 8192));
}

TEST_F(RecoverTest, WarnsOfFilesThatComeToMoreThanTheDriveHolds) {
    FatBuilder builder;
    for (int i = 0; i < 4; ++i)
        builder.addFile(
            0, {.name = "F" + std::to_string(i) + ".BIN", .longName = u"", .deleted = true},
            noise(5000, static_cast<unsigned>(i)));
    auto bytes = builder.bytes();
    for (std::size_t at = 0; at + 32 < bytes.size() && at < 200'000; at += 32) {
        if (std::string(bytes.begin() + static_cast<std::ptrdiff_t>(at) + 1,
                        bytes.begin() + static_cast<std::ptrdiff_t>(at) + 11)
                .ends_with("BIN"))
            bytes[at + 30] = 0x10; // 1 MiB more
    }
    write(image, bytes);
    EXPECT_THAT(recover().err, HasSubstr("the files found come to 4.0"));
}

/// A FAT volume of a real tool with a small deleted file, one of nearly 4 GiB and another small
/// one.
class LongRecoverTest : public RecoverTest {
protected:
    void SetUp() override {
        constexpr std::uintmax_t kImageBytes = 6ULL << 30;
        platform::test::makeFat(image, kImageBytes, "-F 32");
        write(dir / "data", small);
        const std::string name = "'" + image.string() + "'";
        platform::test::run("mcopy -i " + name + " '" + (dir / "data").string() +
                            "' ::/FIRST.BIN && mcopy -i " + name + " '" + (dir / "data").string() +
                            "' ::/SECOND.BIN && mcopy -i " + name + " '" + (dir / "data").string() +
                            "' ::/THIRD.BIN && mdel -i " + name +
                            " ::/FIRST.BIN ::/SECOND.BIN ::/THIRD.BIN");
        std::string start(64 << 20, '\0');
        std::ifstream(image, std::ios::binary)
            .read(start.data(), static_cast<std::streamsize>(start.size()));
        const std::size_t entry = start.find("\xE5"
                                             "ECOND  BIN");
        ASSERT_NE(entry, std::string::npos);
        constexpr std::size_t kSizeField = 28;
        platform::test::overwrite(image, entry + kSizeField, {0xFF, 0xFF, 0xFF, 0xFF});
    }

    const std::string small = noise(5000, 2);
};

TEST_F(LongRecoverTest, StopsWithoutAHalfWrittenFile) {
    QProcess process;
    start(process, {"recover", image.string(), "--to", out.string()});
    std::error_code missing;
    // Once the folder has been looked at, it is held and written to wherever it is moved.
    const std::string held = "test -n \"$(find /proc/" + std::to_string(process.processId()) +
                             "/fd -lname '" + out.string() + "')\"";
    while (process.state() != QProcess::NotRunning && !succeeds(held))
        process.waitForFinished(1);
    fs::rename(out, dir / "moved");
    fs::create_directory(dir / "elsewhere");
    fs::create_directory_symlink(dir / "elsewhere", out);
    const fs::path second = dir / "moved/_ECOND.BIN";
    while (process.state() != QProcess::NotRunning && fs::file_size(second, missing) + 1 <= 1)
        process.waitForFinished(1);
    ::kill(static_cast<pid_t>(process.processId()), SIGINT);
    const Result result = waitFor(process);
    EXPECT_EQ(result.code, 130) << result.err;
    EXPECT_THAT(result.lines(),
                ElementsAre("Recovered 1 file to \"" + out.string() + "\"; 0 failed.",
                            "2 files not recovered yet."));
    EXPECT_EQ(result.err, "orvane-cli: stopped\n");
    EXPECT_THAT(filesBelow(dir / "moved"), ElementsAre(Pair("_IRST.BIN", small)));
    EXPECT_TRUE(fs::is_empty(dir / "elsewhere"));
}

TEST_F(LongRecoverTest, WritesWhatFitsWhenTheOutputIsFull) {
    const fs::path mount = dir / "small";
    fs::create_directory(mount);
    if (::mount("tmpfs", mount.c_str(), "tmpfs", 0, "size=1M") != 0)
        GTEST_SKIP() << "no right to mount";
    out = mount / "out";
    const Result result = recover();
    EXPECT_EQ(result.code, 4);
    // The long one would lie over the third.
    EXPECT_THAT(result.lines(),
                AllOf(Contains("Recovered 2 files to \"" + out.string() + "\"; 1 failed."),
                      Contains(HasSubstr("_ECOND.BIN: there is no room for it"))));
    EXPECT_THAT(result.err, HasSubstr("the output drive is full; make room"));
    EXPECT_THAT(filesBelow(out), UnorderedElementsAre(Key("_IRST.BIN"), Key("_HIRD.BIN")));
    EXPECT_TRUE(contentOf(out / "_HIRD.BIN") == small);

    // Room for one of the small ones: the third is not come to.
    fs::remove_all(out);
    write(mount / "filler", std::string((1 << 20) - 8192, 'x'));
    const Result early = recover();
    EXPECT_EQ(early.code, 4);
    EXPECT_THAT(early.lines(), Contains("1 file not recovered yet."));
    EXPECT_THAT(early.err, HasSubstr("so the recovery ended early"));
    EXPECT_THAT(filesBelow(out), ElementsAre(Pair("_IRST.BIN", small)));

    fs::resize_file(out / "_IRST.BIN", 0);
    write(out / "filler", std::string(1 << 20, 'x'));
    const Result before = recover();
    EXPECT_EQ(before.code, 4) << "full from the start";
    EXPECT_THAT(before.err, HasSubstr("cannot be written"));
    ::umount(mount.c_str());
}

/// A volume written by the system: what was deleted comes back byte for byte.
TEST_F(RecoverTest, FilesDeletedFromARealVolume) {
    const std::map<std::string, std::string> files{
        {"Photos/Gr\u00FC\u00DFe.jpg", noise(300'000, 3)},
        {"Photos/\u5199\u771F.png", noise(70'001, 4)},
        {"Letters/Year 2024/to whom it may concern.txt", "Dear all,\n"},
    };
    const fs::path mount = dir / "mount";
    fs::create_directory(mount);
    platform::test::makeNtfs(image, 32 << 20);
    if (!succeeds("ntfs-3g '" + image.string() + "' '" + mount.string() + "'"))
        GTEST_SKIP() << "no FUSE here";
    fs::create_directories(mount / "Photos");
    fs::create_directories(mount / "Letters" / "Year 2024");
    for (const auto& [path, content] : files)
        write(mount / path, content);
    write(mount / "Photos" / "live.jpg", "live");
    EXPECT_TRUE(succeeds("umount '" + mount.string() + "' && ntfs-3g '" + image.string() + "' '" +
                         mount.string() + "'"));
    fs::remove_all(mount / "Letters");
    fs::remove(mount / "Photos/Gr\u00FC\u00DFe.jpg");
    fs::remove(mount / "Photos/\u5199\u771F.png");
    EXPECT_TRUE(succeeds("umount '" + mount.string() + "'"));

    EXPECT_EQ(recover().code, 0);
    auto found = filesBelow(out);
    for (const auto& [path, content] : files)
        EXPECT_EQ(found[path], content) << path;
    EXPECT_EQ(found.size(), files.size() + 3);
}

} // namespace
} // namespace cli::test
