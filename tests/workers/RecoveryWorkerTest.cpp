#include "workers/RecoveryWorker.h"

#include "tests/platform/Tools.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestMedia.h"
#include "workers/recoveryTexts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCryptographicHash>
#include <QMetaObject>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using kova::int64;
using platform::test::contentOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;
using ExistingFile = RecoveryWorker::ExistingFile;
using Problem = RecoveryWorker::Problem;

/// Gives each node the data, or the misbehaviour, that the test has set.
class ScriptedVolume : public kova::ZVolume {
public:
    using Extract = std::function<bool(kova::ZStream&)>;

    explicit ScriptedVolume(kova::ZCustomMedia* media = nullptr) : ZVolume(media) {}

    bool init() override { return true; }

    void scan(kova::ZFileTree* /*tree*/) override {}

    bool extract(const kova::ZFileTreeNode& node, kova::ZStream* out) override {
        extractReport_ = reports[node.id];
        return extracts.at(node.id)(*out);
    }

    kova::FileState assess(const kova::ZFileTreeNode& node) override { return states[node.id]; }

    std::map<int64, Extract> extracts;
    std::map<int64, kova::ExtractReport> reports;
    std::map<int64, kova::FileState> states;
};

void put(kova::ZStream& out, const std::string& bytes) {
    out.write(bytes.data(), static_cast<kova::uint32>(bytes.size()));
}

void write(const fs::path& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

const std::string kFolder = "(folder)";
const std::string kLink = "(link to a folder)";

/// A tree with the root 0, a volume with its files' data, and what the worker has said.
class RecoveryWorkerTest : public testing::Test {
protected:
    RecoveryWorkerTest() {
        fs::create_directory(out);
        addFolder(0, kova::kNoParent, L"");
        QObject::connect(&worker, &RecoveryWorker::statusChanged,
                         [this](const QString& status) { said.push_back(status.toStdString()); });
        QObject::connect(&worker, &RecoveryWorker::progressChanged,
                         [this](double value) { progress.push_back(value); });
        QObject::connect(&worker, &RecoveryWorker::finished, [this](uint total, uint recovered) {
            finished.emplace_back(total, recovered);
        });
        QObject::connect(&worker, &RecoveryWorker::fileFinished,
                         [this](const QString& path, bool extracted, uint processed, uint total) {
                             files.emplace_back(below(path), extracted);
                             EXPECT_EQ(processed, files.size());
                             EXPECT_GE(total, processed);
                         });
        QObject::connect(&worker, &RecoveryWorker::ended,
                         [this](const RecoveryOutcome& of) { outcome = of; });
        QObject::connect(&worker, &RecoveryWorker::fileFailed,
                         [this](const QString& path, Problem problem, const QString& detail) {
                             failures.emplace_back(below(path), problem);
                             EXPECT_EQ(detail.isEmpty(), problem == Problem::Unreadable ||
                                                             problem == Problem::Mismatch);
                         });
    }

    void add(int64 id, int64 parentId, std::wstring name, bool isDirectory, int64 size = 0) {
        kova::ZFileTreeNode node;
        node.id = id;
        node.parentId = parentId;
        node.name = std::move(name);
        node.isDirectory = isDirectory;
        node.size = size;
        tree.insert(node);
    }

    void addFolder(int64 id, int64 parentId, std::wstring name) {
        add(id, parentId, std::move(name), true);
    }

    void addFile(int64 id, int64 parentId, std::wstring name, const std::string& content) {
        add(id, parentId, std::move(name), false, static_cast<int64>(content.size()));
        volume.extracts[id] = [content](kova::ZStream& stream) {
            put(stream, content);
            return true;
        };
    }

    void recover(const QSet<int64>& ids) {
        worker.init(QString::fromStdString(out.string()), &volume, &tree, ids);
        worker.start();
    }

    /// Every path in the output directory with its content.
    [[nodiscard]] std::map<std::string, std::string> written() const {
        std::map<std::string, std::string> found;
        for (const auto& entry : fs::recursive_directory_iterator(out)) {
            const std::string path = below(QString::fromStdString(entry.path().string()));
            if (entry.is_directory())
                found[path] = entry.is_symlink() ? kLink : kFolder;
            else
                found[path] = contentOf(entry.path());
        }
        return found;
    }

    [[nodiscard]] std::string below(const QString& path) const {
        return path.toStdString().substr(out.string().size() + 1);
    }

    kova::test::TempDir dir;
    fs::path out = dir / "out";
    kova::ZFileTree tree;
    ScriptedVolume volume;
    RecoveryWorker worker;

    std::vector<std::string> said;
    std::vector<double> progress;
    std::vector<std::pair<uint, uint>> finished;
    std::vector<std::pair<std::string, bool>> files;
    std::vector<std::pair<std::string, Problem>> failures;
    RecoveryOutcome outcome;
};

TEST_F(RecoveryWorkerTest, WritesAFolderWithAllBelowItOnce) {
    addFolder(1, 0, L"mail");
    addFolder(2, 1, L"\u00e9t\u00e9 \U0001F600");
    addFile(3, 2, L"?EPORT.TXT", "report");
    addFile(4, 1, L"b", std::string("\0\xff", 2));
    addFile(5, 0, L"empty", "");
    recover({1, 2, 4, 5, 99});
    EXPECT_THAT(written(),
                UnorderedElementsAre(Pair("mail", kFolder),
                                     Pair("mail/\u00e9t\u00e9 \U0001F600", kFolder),
                                     Pair("mail/\u00e9t\u00e9 \U0001F600/_EPORT.TXT", "report"),
                                     Pair("mail/b", std::string("\0\xff", 2)), Pair("empty", "")));
    EXPECT_THAT(said, ElementsAre("Preparing", "Recovering", "Completed"));
    EXPECT_THAT(progress, ElementsAre(0.0, 0.0, 1.0, 1.0));
    EXPECT_THAT(finished, ElementsAre(Pair(3, 3)));
    EXPECT_THAT(files, ElementsAre(Pair("mail/\u00e9t\u00e9 \U0001F600/_EPORT.TXT", true),
                                   Pair("mail/b", true), Pair("empty", true)));
    EXPECT_THAT(failures, IsEmpty());
}

TEST_F(RecoveryWorkerTest, StopsBeforeTheNextFile) {
    addFile(1, 0, L"a", "1");
    addFile(2, 0, L"b", "2");
    addFile(3, 0, L"c", "3");
    volume.extracts[2] = [this](kova::ZStream& stream) {
        // As it comes from the thread of the window.
        QMetaObject::invokeMethod(&worker, "stop", Qt::QueuedConnection);
        put(stream, "2");
        return true;
    };
    recover({1, 2, 3});
    EXPECT_THAT(said, ElementsAre("Preparing", "Recovering", "Canceling", "Cancelled"));
    EXPECT_THAT(finished, ElementsAre(Pair(3, 2)));
    EXPECT_THAT(progress, ElementsAre(0.0, 0.0));
    EXPECT_THAT(written(), ElementsAre(Pair("a", "1"), Pair("b", "2")));
}

TEST_F(RecoveryWorkerTest, OpensWhatExistsWithoutEmptyingIt) {
    write(out / "old", "a longer text");
    addFile(1, 0, L"old", "NEW");
    addFile(2, 0, L"same", "first one");
    addFile(3, 0, L"same", "SECOND");
    recover({1, 2, 3});
    EXPECT_THAT(written(), ElementsAre(Pair("old", "NEWonger text"), Pair("same", "SECONDone")));
    EXPECT_THAT(finished, ElementsAre(Pair(3, 3)));
}

TEST_F(RecoveryWorkerTest, CreatesTheOutputFolderOnlyForFoldersWhenOpening) {
    fs::remove(out);
    addFile(1, 0, L"file", "lost");
    addFolder(2, 0, L"folder");
    recover({1, 2});
    EXPECT_THAT(failures, ElementsAre(Pair("file", Problem::CannotCreate)));
    EXPECT_THAT(written(), ElementsAre(Pair("folder", kFolder)));
}

TEST_F(RecoveryWorkerTest, KeepsBoth) {
    fs::remove(out);
    fs::create_directories(out / "photos");
    fs::create_directory(dir / "elsewhere");
    fs::create_directory_symlink(dir / "elsewhere", out / "link");
    write(out / "a.txt", "old");
    write(out / "a (3).txt", "old too");
    addFile(1, 0, L"a.txt", "1");
    addFile(2, 0, L"a.txt", "2");
    addFile(3, 0, L"a.txt", "3");
    addFolder(4, 0, L"photos");
    addFile(5, 4, L"x", "in the folder that was there");
    addFolder(6, 0, L"link");
    addFile(7, 6, L"x", "not through the link");
    // A file and a folder of one name, either way round, and a second such folder.
    addFile(8, 0, L"foo.d", "8");
    addFolder(9, 0, L"foo.d");
    addFile(10, 9, L"x", "10");
    addFile(11, 0, L"photos", "11");
    addFolder(12, 0, L"photos");
    addFile(13, 12, L"x", "13");
    worker.setExistingFile(ExistingFile::KeepBoth);
    recover({1, 2, 3, 4, 6, 8, 9, 11, 12});
    EXPECT_THAT(written(),
                UnorderedElementsAre(
                    Pair("a.txt", "old"), Pair("a (3).txt", "old too"), Pair("a (2).txt", "1"),
                    Pair("a (4).txt", "2"), Pair("a (5).txt", "3"), Pair("photos", kFolder),
                    Pair("photos/x", "in the folder that was there"), Pair("photos/x (2)", "13"),
                    Pair("link", kLink), Pair("link (2)", kFolder),
                    Pair("link (2)/x", "not through the link"), Pair("foo.d", "8"),
                    Pair("foo.d (2)", kFolder), Pair("foo.d (2)/x", "10"),
                    Pair("photos (2)", "11")));
    EXPECT_TRUE(fs::is_empty(dir / "elsewhere"));
    EXPECT_THAT(failures, IsEmpty());
    EXPECT_THAT(files[1], Pair("a (4).txt", true)) << "the path that was written is told";
}

TEST_F(RecoveryWorkerTest, ReplacesWhatItHasNotWrittenItself) {
    write(out / "a", "old and long");
    write(out / "a (2)", "old");
    write(dir / "kept", "kept");
    fs::create_hard_link(dir / "kept", out / "hard");
    fs::create_symlink(dir / "kept", out / "soft");
    fs::create_directory(out / "folder");
    ASSERT_EQ(::mkfifo((out / "pipe").c_str(), 0600), 0);
    pollfd reader{::open((out / "pipe").c_str(), O_RDONLY | O_NONBLOCK), POLLIN, 0};
    addFile(1, 0, L"a", "1");
    addFile(2, 0, L"a", "2");
    addFile(3, 0, L"hard", "3");
    addFile(4, 0, L"soft", "4");
    addFile(5, 0, L"folder", "5");
    addFile(6, 0, L"pipe", "6");
    worker.setExistingFile(ExistingFile::Replace);
    recover({1, 2, 3, 4, 5, 6});
    ::poll(&reader, 1, 0);
    EXPECT_EQ(reader.revents, 0) << "the pipe was opened to write";
    ::close(reader.fd);
    EXPECT_TRUE(fs::remove(out / "pipe"));
    EXPECT_THAT(written(),
                UnorderedElementsAre(Pair("a", "1"), Pair("a (2)", "2"), Pair("hard", "kept"),
                                     Pair("hard (2)", "3"), Pair("soft", "kept"),
                                     Pair("soft (2)", "4"), Pair("folder", kFolder),
                                     Pair("folder (2)", "5"), Pair("pipe (2)", "6")));
    EXPECT_EQ(contentOf(dir / "kept"), "kept");
    EXPECT_THAT(failures, IsEmpty());
}

TEST_F(RecoveryWorkerTest, CountsTheFilesThatWereThereAlready) {
    for (const int64 id : {1, 2, 3})
        addFile(id, 0, id == 3 ? L"b" : L"a", "x");
    write(out / "b", "of another run");
    for (const kova::uint32 there : {1U, 3U}) {
        RecoveryWorker again;
        QObject::connect(&again, &RecoveryWorker::ended,
                         [this](const RecoveryOutcome& of) { outcome = of; });
        again.setExistingFile(ExistingFile::KeepBoth);
        again.init(QString::fromStdString(out.string()), &volume, &tree, {1, 2, 3});
        again.start();
        EXPECT_EQ(outcome.gaveWay, there) << "equal names within a run are no such files";
    }
}

TEST_F(RecoveryWorkerTest, IsNotLedElsewhereByALinkThatReplacesAFolder) {
    fs::create_directory(dir / "elsewhere");
    addFolder(1, 0, L"photos");
    addFile(2, 1, L"a", "1");
    addFile(3, 1, L"b", "2");
    volume.extracts[2] = [this](kova::ZStream& stream) {
        fs::rename(out / "photos", out / "moved");
        fs::create_directory_symlink(dir / "elsewhere", out / "photos");
        put(stream, "1");
        return true;
    };
    worker.setExistingFile(ExistingFile::KeepBoth);
    recover({1});
    EXPECT_TRUE(fs::is_empty(dir / "elsewhere"));
    EXPECT_THAT(written(), UnorderedElementsAre(Pair("photos", kLink), Pair("moved", kFolder),
                                                Pair("moved/a", "1"), Pair("moved/b", "2")));
}

/// Interrupted between two writes; the one engine lets the stream's exception pass.
class InterruptedRecovery : public RecoveryWorkerTest,
                            public testing::WithParamInterface<std::pair<ExistingFile, bool>> {};

TEST_P(InterruptedRecovery, LeavesNoHalfOfAFileBehind) {
    const auto [policy, throwing] = GetParam();
    addFile(1, 0, L"1", "whole");
    addFile(2, 0, L"2", "");
    addFile(3, 0, L"3", "never begun");
    volume.extracts[2] = [this, throws = throwing](kova::ZStream& stream) {
        put(stream, "half");
        worker.interrupt();
        if (throws) {
            stream.fill(0, 1);
            return true;
        }
        try {
            put(stream, "other half");
            return true;
        } catch (...) {
            return false;
        }
    };
    if (policy == ExistingFile::Replace)
        write(out / "2", "old");
    worker.setExistingFile(policy);
    recover({1, 2, 3});
    EXPECT_THAT(written(), ElementsAre(Pair("1", "whole")));
    EXPECT_THAT(said, ElementsAre("Preparing", "Recovering", "Canceling", "Cancelled"));
    EXPECT_THAT(finished, ElementsAre(Pair(3, 1)));
    EXPECT_THAT(files, ElementsAre(Pair("1", true)));
    EXPECT_THAT(failures, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Policies, InterruptedRecovery,
                         testing::Values(std::pair(ExistingFile::Open, true),
                                         std::pair(ExistingFile::KeepBoth, false),
                                         std::pair(ExistingFile::Replace, true)));

TEST_F(RecoveryWorkerTest, KeepsAnExistingFileThatItWasInterruptedIn) {
    write(out / "2", "OLD TEXT");
    add(2, 0, L"2", false, 8);
    volume.extracts[2] = [this](kova::ZStream& stream) {
        put(stream, "new");
        worker.interrupt();
        put(stream, "never");
        return true;
    };
    recover({2});
    EXPECT_THAT(written(), ElementsAre(Pair("2", "new TEXT")));
    EXPECT_THAT(finished, ElementsAre(Pair(1, 0)));
}

TEST_F(RecoveryWorkerTest, WritesNothingWhenInterruptedBeforeTheStart) {
    addFile(1, 0, L"1", "never");
    worker.interrupt();
    recover({1});
    EXPECT_THAT(written(), IsEmpty());
    EXPECT_THAT(finished, ElementsAre(Pair(1, 0)));
    EXPECT_EQ(said.back(), "Cancelled");
}

TEST_F(RecoveryWorkerTest, TellsAFullDriveFromOtherFailures) {
    fs::create_symlink("/dev/full", out / "1");
    addFile(1, 0, L"1", "no room");
    addFile(2, 0, L"2", "fine");
    recover({1, 2});
    EXPECT_THAT(failures, ElementsAre(Pair("1", Problem::OutputFull)));
    EXPECT_THAT(files, ElementsAre(Pair("1", false), Pair("2", true)));
    EXPECT_THAT(finished, ElementsAre(Pair(2, 2))) << "failed files have been attempted, too";
    EXPECT_EQ(contentOf(out / "2"), "fine");
}

TEST_F(RecoveryWorkerTest, EndsWhenTheOutputFolderVanishes) {
    addFile(1, 0, L"1", "one");
    addFile(2, 0, L"2", "two");
    addFolder(3, 0, L"3");
    addFile(4, 3, L"4", "four");
    addFile(5, 0, L"5", "five");
    volume.extracts[1] = [this](kova::ZStream& stream) {
        fs::remove_all(out);
        put(stream, "one");
        return true;
    };
    worker.setExistingFile(ExistingFile::KeepBoth);
    recover({1, 2, 3, 5});
    EXPECT_THAT(failures, ElementsAre(Pair("2", Problem::CannotCreate)));
    EXPECT_THAT(files, ElementsAre(Pair("1", true), Pair("2", false)));
    EXPECT_THAT(finished, ElementsAre(Pair(4, 2)));
    EXPECT_EQ(outcome.end, RecoveryOutcome::End::OutputUnwritable);
    EXPECT_FALSE(outcome.detail.isEmpty());
    EXPECT_EQ(outcome.notAttempted(), 2U) << "files are counted, not folders";
    EXPECT_FALSE(fs::exists(out));
}

TEST_F(RecoveryWorkerTest, EndsWhenTheSourceIsGone) {
    kova::test::TestMedia media(std::vector<kova::uint8>(4096, 'x'));
    ScriptedVolume leaving(&media);
    for (const int64 id : {1, 2, 3}) {
        add(id, 0, std::to_wstring(id), false, 1024);
        leaving.extracts[id] = [&media, id](kova::ZStream& stream) {
            for (int piece = 0; piece < 2; ++piece) {
                if (id == 2 && piece == 1)
                    media.unplugAfter(0);
                std::string sector(512, '-');
                media.read(sector.data(), 1);
                put(stream, sector);
            }
            return true;
        };
    }
    worker.setExistingFile(ExistingFile::KeepBoth);
    worker.init(QString::fromStdString(out.string()), &leaving, &tree, {1, 2, 3});
    worker.start();
    EXPECT_EQ(outcome.end, RecoveryOutcome::End::SourceGone);
    EXPECT_THAT(files, ElementsAre(Pair("1", true), Pair("2", false)));
    EXPECT_EQ(outcome.incomplete, 1U);
    EXPECT_EQ(contentOf(out / "2"), std::string(512, 'x')) << "what was read before is kept";
}

/// Why a file is not complete is told, and counted, as the volume says it.
TEST_F(RecoveryWorkerTest, TellsFilesApartByWhatTheVolumeSaysOfThem) {
    using Reason = kova::ExtractReport::Reason;
    using Kind = kova::FileState::Kind;

    const struct {
        kova::ExtractReport report;
        kova::FileState state;
        const char* remark;
    } cases[] = {
        {{}, {Kind::Whole, 2, 0}, ""},
        {{.encrypted = true}, {}, "encrypted"},
        {{}, {Kind::Partly, 5, 2}, "written over 2 of its 5 clusters"},
        {{}, {Kind::Erased, 2, 0}, "only zeros"},
        {{.reason = Reason::InCloud}, {}, "in the cloud"},
        {{.reason = Reason::BeyondDevice, .unreadableBytes = 2}, {}, "beyond the end"},
    };

    std::vector<std::string> remarks;
    QObject::connect(&worker, &RecoveryWorker::fileReported, [&](const RecoveredFile& file) {
        remarks.push_back(remarkOn(file).toStdString());
    });
    int64 id = 0;
    for (const auto& c : cases) {
        ++id;
        addFile(id, 0, std::to_wstring(id), "data");
        volume.states[id] = c.state;
        volume.reports[id] = c.report;
    }
    recover({1, 2, 3, 4, 5, 6});
    ASSERT_EQ(remarks.size(), std::size(cases));
    for (std::size_t i = 0; i < remarks.size(); ++i) {
        EXPECT_THAT(remarks[i], testing::HasSubstr(cases[i].remark));
        EXPECT_EQ(remarks[i].empty(), *cases[i].remark == '\0');
    }
    EXPECT_EQ(outcome.complete, 2U);
    EXPECT_EQ(outcome.incomplete, 4U);
    EXPECT_EQ(outcome.encrypted, 1U);
    EXPECT_EQ(outcome.partlyOverwritten, 1U);
}

TEST_F(RecoveryWorkerTest, ReportsWhatTheVolumeDoesNotGive) {
    addFile(1, 0, L"refused", "");
    volume.extracts[1] = [](kova::ZStream& stream) {
        put(stream, "begun");
        return false;
    };
    addFile(2, 0, L"thrown", "");
    volume.extracts[2] = [](kova::ZStream&) -> bool { throw 0; };
    add(3, 0, L"short", false, 10);
    volume.extracts[3] = [](kova::ZStream& stream) {
        put(stream, "half");
        return true;
    };
    addFile(4, 0, L"whole", "fine");
    recover({1, 2, 3, 4});
    EXPECT_THAT(failures, ElementsAre(Pair("refused", Problem::Unreadable),
                                      Pair("thrown", Problem::Unreadable),
                                      Pair("short", Problem::Unreadable)));
    EXPECT_THAT(finished, ElementsAre(Pair(4, 4)));
    EXPECT_THAT(written(), ElementsAre(Pair("refused", "begun"), Pair("short", "half"),
                                       Pair("thrown", ""), Pair("whole", "fine")));
}

TEST_F(RecoveryWorkerTest, ReportsZerosInThePlaceOfBadSectors) {
    kova::test::TestMedia media(std::vector<kova::uint8>(1536, 'x'));
    media.failSector(1);
    ScriptedVolume damaged(&media);
    for (const int64 id : {1, 2, 3}) {
        add(id, 0, std::to_wstring(id), false, 512);
        damaged.extracts[id] = [&media, id](kova::ZStream& stream) {
            std::string sector(512, '-');
            media.seek(static_cast<kova::uint64>(id - 1));
            media.read(sector.data(), 1);
            put(stream, sector);
            return true;
        };
    }
    worker.init(QString::fromStdString(out.string()), &damaged, &tree, {1, 2, 3});
    worker.start();
    EXPECT_THAT(files, ElementsAre(Pair("1", true), Pair("2", false), Pair("3", true)));
    EXPECT_THAT(failures, ElementsAre(Pair("2", Problem::Unreadable)));
}

TEST_F(RecoveryWorkerTest, HashesAndVerifiesWhatStandsInTheOutput) {
    using Write = std::function<void(kova::ZStream&)>;
    const std::vector<Write> ways{[](auto& stream) { put(stream, "in order"); },
                                  [](auto& stream) {
                                      put(stream, "hole");
                                      stream.fillZeros(3 << 20);
                                      stream.fill('x', (2 << 20) + 1);
                                      stream.resize(7 << 20);
                                  },
                                  [](auto& stream) {
                                      put(stream, "cut short");
                                      stream.resize(3);
                                  },
                                  [](auto& stream) {
                                      put(stream, "written twice");
                                      stream.seek(2, 0);
                                      put(stream, "W");
                                  },
                                  [](auto& stream) {
                                      stream.seek(5, 0);
                                      put(stream, "a gap");
                                  },
                                  [this](auto& stream) {
                                      put(stream, "changed");
                                      std::fstream(out / "5", std::ios::in | std::ios::out) << 'C';
                                  }};
    for (std::size_t i = 0; i < ways.size(); ++i) {
        const auto id = static_cast<int64>(i) + 1;
        addFile(id, 0, std::to_wstring(i), "");
        volume.extracts[id] = [way = ways[i]](kova::ZStream& stream) {
            way(stream);
            return true;
        };
    }
    std::map<std::string, RecoveredFile> reported;
    QObject::connect(&worker, &RecoveryWorker::fileReported,
                     [&](const RecoveredFile& file) { reported[below(file.path)] = file; });
    worker.setVerifying(true);
    recover({1, 2, 3, 4, 5, 6});
    for (const auto& [name, file] : reported) {
        const auto content = QByteArray::fromStdString(contentOf(out / name));
        const bool isRight =
            file.sha256 == QCryptographicHash::hash(content, QCryptographicHash::Sha256);
        EXPECT_EQ(isRight, name != "5") << name;
        EXPECT_EQ(file.isVerified, name != "5") << name;
    }
    EXPECT_EQ(outcome.verified, 5U);
    EXPECT_THAT(remarkOn(reported["5"]).toStdString(), testing::HasSubstr("does not give back"));
    EXPECT_FALSE(reported["5"].isComplete());
}

TEST_F(RecoveryWorkerTest, KeepsTimes) {
    addFile(1, 0, L"dated", "x");
    addFile(2, 0, L"undated", "x");
    tree.node(1).modificationTime = 116444736000000000 + 1'000'000'000LL * 10'000'000;
    worker.setKeepTimes(true);
    recover({1, 2});
    const auto secondsOf = [this](const char* name) {
        const auto time = fs::file_time_type::clock::to_sys(fs::last_write_time(out / name));
        return std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count();
    };
    EXPECT_EQ(secondsOf("dated"), 1'000'000'000);
    EXPECT_GT(secondsOf("undated"), 1'600'000'000);
}

TEST_F(RecoveryWorkerTest, NoNameLeadsOutOfTheOutputFolder) {
    write(dir / "target", "untouched");
    addFile(1, 0, L"../target", "1");
    addFile(2, 0, (dir / "target").wstring(), "2");
    addFolder(3, 0, L"..");
    addFile(4, 3, std::wstring(L"a\0b", 3), "4");
    addFolder(5, 3, L"");
    addFile(6, 5, L"target", "6");
    addFile(7, 0, std::wstring(300, L'n') + L".txt", "7");
    worker.setExistingFile(ExistingFile::Replace);
    recover({1, 2, 3, 7});
    EXPECT_EQ(contentOf(dir / "target"), "untouched");
    EXPECT_THAT(failures, IsEmpty());
    const auto all = written();
    EXPECT_EQ(all.at(".._target"), "1");
    EXPECT_EQ(all.at("__/a_b"), "4");
    EXPECT_EQ(all.at("__/_/target"), "6");
    EXPECT_EQ(all.at(std::string(251, 'n') + ".txt"), "7");
    EXPECT_EQ(all.size(), 7U);
}

TEST_F(RecoveryWorkerTest, TakesAFileWithTheIdOfTheRootAsAFile) {
    addFolder(1, 0, L"folder");
    addFile(2, 0, L"b", "2");
    tree.node(0).creationTime = -1;
    addFile(0, 1, L"empty", "");
    recover({1, 2});
    EXPECT_THAT(written(),
                ElementsAre(Pair("b", "2"), Pair("folder", kFolder), Pair("folder/empty", "")));
    EXPECT_THAT(finished, ElementsAre(Pair(2, 2)));
}

TEST_F(RecoveryWorkerTest, WritesEachNodeOfACircleOnce) {
    addFolder(1, 3, L"one");
    addFolder(2, 1, L"two");
    addFolder(3, 2, L"three");
    addFile(4, 3, L"x", "4");
    addFile(5, 4, L"below a file", "5");
    recover({1, 2, 3, 4, 5});
    EXPECT_THAT(written(),
                UnorderedElementsAre(Pair("one", kFolder), Pair("one/two", kFolder),
                                     Pair("one/two/three", kFolder), Pair("one/two/three/x", "4"),
                                     Pair("below a file", "5")));
    EXPECT_THAT(finished, ElementsAre(Pair(2, 2)));
}

TEST_F(RecoveryWorkerTest, MovesFoldersWhosePathsAreTooLong) {
    constexpr int64 kDepth = 45;
    for (int64 id = 1; id <= kDepth; ++id)
        addFolder(id, id - 1, std::wstring(200, L'n'));
    addFile(kDepth + 1, kDepth, std::wstring(255, L'f'), "reached");
    worker.setExistingFile(ExistingFile::KeepBoth);
    recover({1});
    EXPECT_EQ(outcome.complete, 1U);
    ASSERT_EQ(files.size(), 1U);
    EXPECT_EQ(contentOf(out / files[0].first), "reached") << "by its path";
    EXPECT_TRUE(files[0].first.starts_with("Deep folders/nnn")) << files[0].first;
}

TEST_F(RecoveryWorkerTest, AHugeHoleTakesNoTimeAndNoRoom) {
    constexpr int64 kHole = int64{100} << 30;
    addFile(1, 0, L"sparse", "");
    tree.node(1).size = kHole + 4;
    volume.extracts[1] = [](kova::ZStream& stream) {
        for (int64 left = kHole; left > 0; left -= int64{1} << 30)
            stream.fill(0, 1U << 30);
        put(stream, "tail");
        return true;
    };
    const auto begun = std::chrono::steady_clock::now();
    worker.setExistingFile(ExistingFile::KeepBoth);
    recover({1});
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(2));
    EXPECT_EQ(outcome.complete, 1U);
    EXPECT_EQ(fs::file_size(out / "sparse"), static_cast<std::uintmax_t>(kHole + 4));
    fs::remove(out / "sparse");
}

TEST_F(RecoveryWorkerTest, LosesNothingInEndlessDepth) {
    constexpr int64 kDepth = int64{2} * kova::ZTreeListing::kDeepest;
    for (int64 id = 1; id <= kDepth; ++id)
        addFolder(id, id - 1, std::to_wstring(id % 10));
    addFile(kDepth + 1, kDepth, L"bottom", "reached");
    addFile(kDepth + 2, 600, L"midway", "reached");
    recover({1});
    EXPECT_THAT(failures, IsEmpty());
    EXPECT_THAT(finished, ElementsAre(Pair(2, 2)));
    ASSERT_EQ(files.size(), 2U);
    for (const auto& [path, extracted] : files)
        EXPECT_EQ(contentOf(out / path), "reached") << path;
}

} // namespace
