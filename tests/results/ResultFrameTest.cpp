#include "model/FileModel.h"
#include "pages/RecoveryWidget.h"
#include "tests/results/ResultPage.h"
#include "tests/support/Answers.h"
#include "tests/support/TestMedia.h"
#include "tests/support/contentsBelow.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QDirIterator>
#include <QFile>
#include <QHelpEvent>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTimer>
#include <QToolTip>

#include <fstream>
#include <functional>
#include <semaphore>
#include <set>

#include <sys/mount.h>

namespace {

using kova::int64;
using kova::ZFileTree;
using kova::ZFileTreeNode;
using kova::test::TempDir;
using kova::test::TestMedia;

QString toPath(const TempDir& folder) {
    return QString::fromStdString(folder.path().string());
}

/// A volume whose files wait to be let go, one at a time. Each holds its name.
class GatedVolume : public kova::ZVolume {
public:
    GatedVolume(kova::ZCustomMedia* media, bool& alive) : ZVolume(media), alive_(alive) {
        alive_ = true;
    }

    GatedVolume(const GatedVolume&) = delete;
    GatedVolume& operator=(const GatedVolume&) = delete;

    ~GatedVolume() override { alive_ = false; }

    bool init() override { return true; }

    void scan(ZFileTree* /*tree*/) override {}

    bool extract(const ZFileTreeNode& node, kova::ZStream* out) override {
        out->write(node.name.data(), static_cast<kova::uint32>(node.name.size()));
        // An interrupted output ends the wait by what it throws.
        while (!gate.try_acquire_for(std::chrono::milliseconds(1)))
            out->write(node.name.data(), 1);
        return !fails;
    }

    kova::FileState assess(const ZFileTreeNode& /*node*/) override { return state; }

    std::counting_semaphore<> gate{0};
    bool fails = false;
    kova::FileState state;

private:
    bool& alive_;
};

/// Runs `action` and answers the message boxes it shows; returns their texts.
template <typename Action>
QStringList boxesOf(Action action, QMessageBox::StandardButton button = QMessageBox::Ok) {
    Answers answers(button);
    action();
    return answers.takeTexts();
}

class ResultFrameTest : public ResultPage {
protected:
    ResultFrameTest() {
        page->setDirectoryChooser([this](const QString& start) {
            starts.append(start);
            return answer;
        });
        QObject::connect(page.get(), &ResultFrame::showOverlay, [this](QWidget* shown) {
            progress = qobject_cast<RecoveryWidget*>(shown);
            progress->show();
        });
        answer = toPath(output);
    }

    ResultFrameTest(const ResultFrameTest&) = delete;
    ResultFrameTest& operator=(const ResultFrameTest&) = delete;

    ~ResultFrameTest() override {
        page.reset();
        delete progress;
    }

    QString progressLabel(const char* name) {
        return progress->findChild<QLabel*>(QLatin1String(name))->text();
    }

    void clickCancel() {
        QTest::mouseClick(progress->findChild<QPushButton*>(QStringLiteral("btnCancel")),
                          Qt::LeftButton);
    }

    void recover() { page->recoverSelectedFiles(); }

    bool waitUntilRecovered() {
        return QTest::qWaitFor([this] { return !page->isRecovering(); }, 60'000);
    }

    bool waitForCount(const QString& text) {
        return QTest::qWaitFor([&] { return progressLabel("lblCount") == text; });
    }

    /// A drive "Q:" with the files a, b and c. Its scan met so many sectors that it could not read.
    GatedVolume& openGated(kova::uint32 badSectors = 0, bool unplugged = false) {
        media = new TestMedia(std::vector<kova::uint8>(2048));
        media->open(L"\\\\.\\Q:");
        std::vector<kova::uint8> read(2048);
        for (kova::uint32 sector = 0; sector < badSectors; ++sector)
            media->failSector(sector);
        if (unplugged)
            media->unplugAfter(0);
        media->read(read.data(), badSectors);
        auto* volume = new GatedVolume(media, volumeAlive);
        auto* tree = new ZFileTree;
        tree->rootId = 5;
        ZFileTreeNode node;
        node.id = 5;
        node.parentId = kova::kNoParent;
        node.isDirectory = true;
        tree->insert(node);
        for (const wchar_t* name : {L"a", L"b", L"c"}) {
            ++node.id;
            node.parentId = 5;
            node.name = name;
            node.isDirectory = false;
            tree->insert(node);
        }
        page->init(volume, tree);
        return *volume;
    }

    TempDir output;
    QString answer;
    QStringList starts;
    bool volumeAlive = false;
    TestMedia* media = nullptr; ///< Of the gated volume; belongs to the page.
    QPointer<RecoveryWidget> progress;
};

/// The page on one of the sample volumes, attached and scanned.
class SampleResults : public ResultFrameTest, public testing::WithParamInterface<const char*> {
protected:
    void SetUp() override {
        QFile file(QStringLiteral(ORVANE_SOURCE_DIR "/samples/manifest.json"));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        for (const QJsonValueConstRef volume : QJsonDocument::fromJson(file.readAll())
                                                   .object()[QStringLiteral("volumes")]
                                                   .toArray()) {
            if (volume[QStringLiteral("image")].toString() == QLatin1String(GetParam()))
                files = volume[QStringLiteral("files")].toArray();
        }
        openSample(GetParam());
    }

    QJsonArray files;
};

TEST_P(SampleResults, ShowsTheTreeAndRecoversAllOfIt) {
    const QAbstractItemModelTester tester(view()->model(),
                                          QAbstractItemModelTester::FailureReportingMode::Fatal);
    EXPECT_EQ(label("lblSubtitle"), QStringLiteral("Results for drive %1:").arg(QChar(letter)));
    EXPECT_EQ(shownPreview(), QStringLiteral("pageText"));
    const QModelIndex lost = rowNamed(QStringLiteral("Files with unknown path"));
    const bool isNtfs = std::string(GetParam()).starts_with("ntfs");
    EXPECT_EQ(lost.isValid(), isNtfs);
    if (isNtfs) {
        EXPECT_EQ(lost.row(), view()->model()->rowCount() - 1);
    }

    std::multiset<QString> wanted;
    int fails = 0;
    int others = 0; ///< Files in whose place others' content lies.
    for (const QJsonValueConstRef file : std::as_const(files)) {
        const QString recovery = file[QStringLiteral("recovery")].toString();
        fails += recovery == QLatin1String("fails") ? 1 : 0;
        others += recovery == QLatin1String("other content") ? 1 : 0;
        if (recovery != QLatin1String("not listed") && recovery != QLatin1String("fails"))
            wanted.insert(file[QStringLiteral("recoveredSha256")].toString());
    }
    view()->selectAll();
    recover();
    ASSERT_NE(progress, nullptr);
    ASSERT_TRUE(waitUntilRecovered());

    EXPECT_TRUE(QTest::qWaitFor([&] {
        return progress->findChild<QStackedWidget*>(QStringLiteral("stackResult"))
                   ->currentIndex() == 1;
    }));
    EXPECT_EQ(progressLabel("lblSubtitle"), QStringLiteral("Completed"));
    const auto* missing = progress->findChild<QPlainTextEdit*>(QStringLiteral("txtFailed"));
    const QString failures =
        missing->toPlainText().section(QStringLiteral("Complete, but doubtful:"), 0, 0);
    const auto named = failures.split(QLatin1Char('\n'), Qt::SkipEmptyParts).size();
    EXPECT_GE(named, fails);
    EXPECT_LE(named, fails + others); // Whether they are others' an engine may not know.
    std::multiset<QString> written = contentsBelow(answer);
    for (const QString& content : wanted) {
        const auto found = written.find(content);
        ASSERT_NE(found, written.end());
        written.erase(found);
    }
    EXPECT_EQ(static_cast<int>(written.size()), fails);
}

TEST_P(SampleResults, RecoversTheRowsThatAreClickedBesideWhatExists) {
    const QModelIndex folder = rowNamed(QStringLiteral("Documents"));
    ASSERT_TRUE(folder.isValid());
    view()->expand(folder);
    click(folder.siblingAtColumn(2));
    EXPECT_EQ(label("whyNoPreview"), QStringLiteral("Please, select a file"));
    click(view()->model()->index(0, 0, folder), Qt::ControlModifier);

    std::multiset<QString> wanted;
    for (const QJsonValueConstRef file : std::as_const(files)) {
        if (file[QStringLiteral("path")].toString().startsWith(QLatin1String("Documents/")) &&
            file[QStringLiteral("recovery")] != QLatin1String("not listed"))
            wanted.insert(file[QStringLiteral("recoveredSha256")].toString());
    }
    recover();
    ASSERT_TRUE(waitUntilRecovered());
    EXPECT_EQ(contentsBelow(answer), wanted);

    // A second run keeps what the first has written.
    recover();
    ASSERT_TRUE(waitUntilRecovered());
    std::multiset<QString> twice = wanted;
    twice.insert(wanted.begin(), wanted.end());
    EXPECT_EQ(contentsBelow(answer), twice);
    QCoreApplication::processEvents();
    EXPECT_TRUE(progressLabel("lblNotes").contains(QStringLiteral("there already")));
    EXPECT_EQ(starts, QStringList({QString(), answer}));
}

TEST_P(SampleResults, RefusesADirectoryOnTheScannedDrive) {
    view()->selectAll();
    const QStringList refusal{QStringLiteral("Please, select another logical drive to avoid "
                                             "overwriting of your deleted files")};
    answer = QStringLiteral("%1:/out").arg(QChar(letter));
    EXPECT_EQ(boxesOf([this] { recover(); }), refusal);
    EXPECT_FALSE(page->isRecovering());

    const TempDir mountPoint;
    const std::string mount =
        "mount -o loop,ro " + unpacked + " " + mountPoint.path().string() + " 2>/dev/null";
    const bool mounted = std::system(mount.c_str()) == 0; // NOLINT(cert-env33-c): as above
    if (mounted) {
        answer = toPath(mountPoint) + QStringLiteral("/out");
        EXPECT_EQ(boxesOf([this] { recover(); }), refusal);
        umount2(mountPoint.path().c_str(), MNT_DETACH);
    }
    // Neither starts the next dialog.
    answer.clear();
    EXPECT_TRUE(boxesOf([this] { recover(); }).isEmpty());
    EXPECT_TRUE(starts.constLast().isEmpty());
    EXPECT_EQ(progress, nullptr);
    if (!mounted)
        GTEST_SKIP() << "the volume cannot be mounted here";
}

INSTANTIATE_TEST_SUITE_P(Volumes, SampleResults, testing::Values("ntfs.img", "fat.img"),
                         [](const auto& parameter) {
                             return std::string(parameter.param).starts_with("ntfs") ? "Ntfs"
                                                                                     : "Fat";
                         });

TEST_F(ResultFrameTest, AsksForASelection) {
    openGated();
    EXPECT_EQ(boxesOf([this] { recover(); }),
              QStringList{QStringLiteral("Please, select files you want to recover")});
    EXPECT_TRUE(starts.isEmpty());
}

TEST_F(ResultFrameTest, TheContextMenuRecovers) {
    openGated().gate.release(2); // One of them for the preview.
    click(view()->model()->index(1, 0));
    QStringList texts;
    QTimer::singleShot(0, [&] {
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        ASSERT_NE(menu, nullptr);
        for (const QAction* action : menu->actions())
            texts.append(action->text());
        for (const QAction* action : menu->actions().constLast()->menu()->actions())
            texts.append(action->text());
        QTest::mouseClick(menu, Qt::LeftButton, {},
                          menu->actionGeometry(menu->actions().constFirst()).center());
    });
    emit view()->customContextMenuRequested({});
    EXPECT_EQ(texts, QStringList({QStringLiteral("Recover the file(s)..."), QString(),
                                  QStringLiteral("Force preview"), QStringLiteral("as text"),
                                  QStringLiteral("as sound"), QStringLiteral("as image")}));
    ASSERT_TRUE(waitUntilRecovered());
    EXPECT_TRUE(QFile::exists(answer + QStringLiteral("/b")));
}

TEST_F(ResultFrameTest, CancelEndsAfterTheFileOrOnASecondClickInIt) {
    GatedVolume& volume = openGated();
    view()->selectAll();
    recover();
    ASSERT_TRUE(waitForCount(QStringLiteral("1 of 3")));
    EXPECT_TRUE(page->isRecovering());
    recover(); // Ignored while one runs.
    EXPECT_EQ(starts.size(), 1);
    clickCancel();
    volume.gate.release();
    ASSERT_TRUE(waitUntilRecovered());
    QCoreApplication::processEvents();
    EXPECT_EQ(progressLabel("lblSubtitle"), QStringLiteral("Cancelled"));
    EXPECT_EQ(progressLabel("lblFile"), QStringLiteral("1 complete, 2 not recovered"));
    EXPECT_EQ(QDir(answer).entryList(QDir::Files), QStringList{QStringLiteral("a")});
    clickCancel();
    ASSERT_TRUE(QTest::qWaitFor([&] { return progress.isNull(); }));

    recover();
    ASSERT_TRUE(waitForCount(QStringLiteral("1 of 3")));
    clickCancel();
    clickCancel();
    ASSERT_TRUE(waitUntilRecovered());
    QCoreApplication::processEvents();
    EXPECT_EQ(progressLabel("lblFile"), QStringLiteral("0 complete, 3 not recovered"));
    EXPECT_EQ(QDir(answer).entryList(QDir::Files), QStringList{QStringLiteral("a")});
}

TEST_F(ResultFrameTest, WhatIsReadIsFreedOnlyAfterTheRecovery) {
    for (const bool byCleanup : {true, false}) {
        openGated();
        view()->selectAll();
        recover();
        ASSERT_TRUE(waitForCount(QStringLiteral("1 of 3")));
        if (byCleanup)
            page->cleanup();
        else
            page.reset();
        EXPECT_FALSE(volumeAlive);
        EXPECT_TRUE(QDir(answer).entryList(QDir::Files).isEmpty());
        ASSERT_TRUE(QTest::qWaitFor(
            [&] { return progressLabel("lblSubtitle") == QStringLiteral("Cancelled"); }));
        delete progress;
    }
}

TEST_F(ResultFrameTest, ClosingTheProgressStopsAndSaysSo) {
    openGated();
    view()->selectAll();
    recover();
    ASSERT_TRUE(waitForCount(QStringLiteral("1 of 3")));
    const QStringList boxes = boxesOf([this] {
        delete progress;
        EXPECT_TRUE(waitUntilRecovered());
    });
    EXPECT_EQ(boxes, QStringList{QStringLiteral(
                         "The recovery was stopped. 0 complete files recovered, 3 not.")});
}

TEST_F(ResultFrameTest, ADriveThatGoesAwayIsToldAsGone) {
    openGated(2, true);
    EXPECT_THAT(label("lblGaps").toStdString(), testing::HasSubstr("was removed"));
    page->cleanup();

    GatedVolume& volume = openGated();
    volume.gate.release(3);
    media->unplugAfter(0); // Its zeros are no content.
    click(view()->model()->index(0, 0));
    EXPECT_EQ(label("whyNoPreview"), QStringLiteral("Can't recover file for preview"));
    media->unplugAfter(-1);
    click(view()->model()->index(1, 0));
    EXPECT_NE(label("whyNoPreview"), QStringLiteral("Can't recover file for preview"));

    view()->selectAll();
    recover();
    ASSERT_TRUE(waitForCount(QStringLiteral("2 of 3")));
    media->unplugAfter(0);
    ASSERT_TRUE(waitUntilRecovered());
    QCoreApplication::processEvents();
    EXPECT_TRUE(progressLabel("lblNotes").startsWith(QStringLiteral("The drive was removed.")));
    EXPECT_EQ(progressLabel("lblFile"), QStringLiteral("1 complete, 2 not recovered"));
}

/// An output that takes no more, in the middle of a recovery of three files.
class OutputEnds : public ResultFrameTest {
protected:
    /// Recovers until the second file waits, does `harm` and lets it go on.
    void recoverWith(const std::function<void()>& harm) {
        GatedVolume& volume = openGated();
        volume.gate.release();
        view()->selectAll();
        recover();
        ASSERT_TRUE(waitForCount(QStringLiteral("2 of 3")));
        harm();
        volume.gate.release(2);
        ASSERT_TRUE(waitUntilRecovered());
        QCoreApplication::processEvents();
    }
};

TEST_F(OutputEnds, ItIsToldThatItIsFull) {
    const TempDir small;
    const std::string place = small.path().string();
    const std::string mount = "mount -t tmpfs -o size=64k tmpfs '" + place + "' 2>/dev/null";
    if (std::system(mount.c_str()) != 0) // NOLINT(cert-env33-c): a test's own words
        GTEST_SKIP() << "nothing can be mounted here";
    answer = toPath(small);
    recoverWith([&] {
        std::ofstream filling(place + "/filling", std::ios::binary);
        while (filling.write(std::string(4096, 'x').data(), 4096).flush()) {
        }
    });
    EXPECT_TRUE(progressLabel("lblNotes").startsWith(QStringLiteral("The output drive is full.")));
    // The second one had its room already.
    EXPECT_EQ(progressLabel("lblFile"), QStringLiteral("2 complete, 1 not recovered"));
    umount2(place.c_str(), MNT_DETACH);
}

TEST_F(OutputEnds, ItIsToldThatItIsGone) {
    recoverWith([this] { QDir(answer).removeRecursively(); });
    EXPECT_EQ(progressLabel("lblNotes"),
              QStringLiteral("The output directory is gone, perhaps with all that was written "
                             "there."));
    EXPECT_EQ(progressLabel("lblFile"), QStringLiteral("2 written, 1 not recovered"));
}

TEST_F(OutputEnds, OneThatTakesNothingIsRefusedBefore) {
    openGated();
    view()->selectAll();
    answer = QStringLiteral("/proc");
    const QStringList boxes = boxesOf([this] { recover(); });
    ASSERT_EQ(boxes.size(), 1);
    EXPECT_TRUE(boxes.constFirst().startsWith(QStringLiteral("Nothing can be written to")));
    EXPECT_FALSE(page->isRecovering());

    const TempDir folder;
    const std::string view = "cd " + folder.path().string() +
                             " && mkdir behind view && bindfs behind view 2>/dev/null && "
                             "mv behind moved";
    if (std::system(view.c_str()) != 0) // NOLINT(cert-env33-c): nobody else writes this line
        GTEST_SKIP() << "no bindfs here";
    answer = toPath(folder) + QStringLiteral("/view");
    const QStringList refusals = boxesOf([this] { recover(); });
    umount2((folder / "view").c_str(), MNT_DETACH);
    ASSERT_EQ(refusals.size(), 1) << "nothing tells where that leads";
    EXPECT_TRUE(refusals.constFirst().startsWith(QStringLiteral("Please, select another")));
    EXPECT_FALSE(page->isRecovering());
}

TEST_F(ResultFrameTest, NothingFoundIsSaidWhereTheTreeWouldBe) {
    auto* empty = new ZFileTree;
    page->init(new GatedVolume(new TestMedia, volumeAlive), empty);
    EXPECT_FALSE(view()->isVisible());
    EXPECT_THAT(label("lblFailure").toStdString(),
                testing::AllOf(testing::StartsWith("No deleted files were found."),
                               testing::HasSubstr("some types of files")));
    EXPECT_FALSE(child<QLineEdit>("edtSearch")->isEnabled());
    page->cleanup();
    auto* folders = new ZFileTree;
    ZFileTreeNode folder;
    folder.id = 6;
    folder.parentId = folders->rootId = 5;
    folder.isDirectory = true;
    folders->insert(folder);
    page->init(new GatedVolume(new TestMedia, volumeAlive), folders);
    EXPECT_TRUE(view()->isVisible());
    EXPECT_TRUE(label("lblGaps").startsWith(QStringLiteral("Only folders were found.")));
    page->cleanup();
    openGated();
    EXPECT_TRUE(view()->isVisible());
}

TEST_F(ResultFrameTest, CleanupCanBeRepeatedAndThePageUsedAgain) {
    page->cleanup();
    openGated(3);
    EXPECT_TRUE(page->hasVolume());
    auto* gaps = child<QLabel>("lblGaps");
    EXPECT_TRUE(gaps->isVisible());
    EXPECT_TRUE(gaps->text().startsWith(QLatin1Char('3')));
    page->cleanup();
    page->cleanup();
    EXPECT_FALSE(volumeAlive);
    EXPECT_FALSE(page->hasVolume());
    EXPECT_EQ(view()->model(), nullptr);
    EXPECT_EQ(shownPreview(), QStringLiteral("pageNoPreview"));
    EXPECT_EQ(label("whyNoPreview"), QStringLiteral("Please, select a file"));
    openGated();
    EXPECT_FALSE(gaps->isVisible());
    EXPECT_EQ(view()->model()->rowCount(), 3);
    EXPECT_EQ(label("lblSubtitle"), QStringLiteral("Results for drive Q:"));
}

TEST_F(ResultFrameTest, WithoutAVolumeItOnlySaysWhy) {
    page->init(nullptr, new ZFileTree);
    page->showFailure(QStringLiteral("The drive is gone <b>"));
    const auto* reason = page->findChild<QLabel*>(QStringLiteral("lblFailure"));
    EXPECT_TRUE(reason->isVisible());
    EXPECT_EQ(reason->text(), QStringLiteral("The drive is gone <b>"));
    EXPECT_FALSE(view()->isVisible());
    EXPECT_TRUE(boxesOf([this] { recover(); }).isEmpty());
    EXPECT_TRUE(starts.isEmpty());

    page->cleanup();
    openGated();
    EXPECT_FALSE(reason->isVisible());
    EXPECT_TRUE(view()->isVisible());
}

/// A search in folders with a few files, each of which is as large as its name is long.
class SearchTest : public ResultFrameTest {
protected:
    SearchTest() {
        auto* shown = new ZFileTree;
        shown->rootId = 5;
        add(*shown, 5, kova::kNoParent, L"", true);
        add(*shown, 10, 5, L"photos", true);
        add(*shown, 11, 10, L"beach.JPG");
        add(*shown, 12, 10, L"notes.txt");
        add(*shown, 13, 10, L"dune.jpg");
        add(*shown, 20, 5, L"letters", true);
        add(*shown, 21, 20, L"to the Beach.doc");
        add(*shown, 30, 31, L"circle", true);
        add(*shown, 31, 30, L"round.jpg", true);
        media = new TestMedia(std::vector<kova::uint8>(2048));
        media->open(L"\\\\.\\Q:");
        auto* again = new GatedVolume(media, volumeAlive);
        again->gate.release(100);
        page->init(again, shown);
    }

    static void add(ZFileTree& tree, int64 id, int64 parentId, std::wstring name,
                    bool isDirectory = false) {
        ZFileTreeNode node;
        node.id = id;
        node.parentId = parentId;
        node.isDirectory = isDirectory;
        node.size = isDirectory ? 0 : static_cast<int64>(name.size());
        node.name = std::move(name);
        tree.insert(node);
    }

    void search(const QString& text) {
        auto* line = child<QLineEdit>("edtSearch");
        QTest::keyClick(page.get(), Qt::Key_F, Qt::ControlModifier);
        line->clear();
        QTest::keyClicks(line, text);
        QTest::keyClick(line, Qt::Key_Down);
    }

    /// The rows that can be seen, those selected with "+" before their names.
    QStringList rows() {
        QStringList rows;
        for (QModelIndex row = view()->model()->index(0, 0); row.isValid();
             row = view()->indexBelow(row))
            rows += (view()->selectionModel()->isSelected(row) ? QStringLiteral("+") : QString()) +
                    row.data().toString();
        return rows;
    }

    QStringList written() {
        recover();
        EXPECT_TRUE(waitUntilRecovered());
        QStringList names;
        QDirIterator files(answer, QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext())
            names += QDir(answer).relativeFilePath(files.next());
        names.sort();
        return names;
    }
};

TEST_F(SearchTest, NarrowsTheTreeAndGivesItBack) {
    const QModelIndex photos = rowNamed(QStringLiteral("photos"));
    view()->expand(photos);
    click(rowNamed(QStringLiteral("notes.txt"), photos));
    EXPECT_EQ(label("lblSelected"), QStringLiteral("Selected: 1 file, 9 bytes"));

    search(QStringLiteral("BEACH"));
    EXPECT_EQ(rows(), QStringList({QStringLiteral("photos"), QStringLiteral("beach.JPG"),
                                   QStringLiteral("letters"), QStringLiteral("to the Beach.doc")}));
    EXPECT_EQ(label("lblFound"), QStringLiteral("2 found"));
    EXPECT_EQ(label("lblSelected"),
              QStringLiteral("Selected: 1 file, 9 bytes (1 hidden by the search)"));
    const QAbstractItemModelTester tester(view()->model(),
                                          QAbstractItemModelTester::FailureReportingMode::Fatal);
    click(rowNamed(QStringLiteral("beach.JPG"), rowNamed(QStringLiteral("photos"))));

    search(QStringLiteral("*.jp?"));
    EXPECT_EQ(rows(),
              QStringList({QStringLiteral("photos"), QStringLiteral("+beach.JPG"),
                           QStringLiteral("dune.jpg"), QStringLiteral("Files with unknown path"),
                           QStringLiteral("circle"), QStringLiteral("round.jpg")}));

    QTest::keyClick(child<QLineEdit>("edtSearch"), Qt::Key_Escape);
    EXPECT_EQ(rows(),
              QStringList({QStringLiteral("photos"), QStringLiteral("+beach.JPG"),
                           QStringLiteral("+notes.txt"), QStringLiteral("dune.jpg"),
                           QStringLiteral("letters"), QStringLiteral("Files with unknown path")}));
    EXPECT_EQ(label("lblFound"), QString());
    EXPECT_EQ(label("lblSelected"), QStringLiteral("Selected: 2 files, 18 bytes"));
}

TEST_F(SearchTest, WhatItHidesIsNotRecoveredWithoutAWord) {
    search(QStringLiteral("dune"));
    click(rowNamed(QStringLiteral("photos")));
    QStringList names;
    EXPECT_EQ(boxesOf([&] { names = written(); }, QMessageBox::Cancel),
              QStringList{QStringLiteral("The search hides 2 of the 3 files that are selected or "
                                         "lie in a selected folder.")});
    EXPECT_TRUE(names.isEmpty());
    boxesOf([&] { names = written(); }, QMessageBox::No);
    EXPECT_EQ(names, QStringList{QStringLiteral("photos/dune.jpg")});
    boxesOf([&] { names = written(); }, QMessageBox::Yes);
    EXPECT_EQ(names.size(), 4);
    EXPECT_TRUE(names.contains(QStringLiteral("photos/notes.txt")));
}

TEST_F(SearchTest, SpaceIsAClickAndAnAsteriskOpensAllBelow) {
    const QSignalSpy clicks(view(), &QTreeView::clicked);
    view()->setCurrentIndex(rowNamed(QStringLiteral("letters")));
    QTest::keyClick(view(), Qt::Key_Space);
    ASSERT_EQ(clicks.size(), 1);
    EXPECT_EQ(clicks[0][0].toModelIndex().data(), QStringLiteral("letters"));
    EXPECT_EQ(shownPreview(), QStringLiteral("pageNoPreview"));
    QTest::keyClicks(view(), QStringLiteral("f w"));
    EXPECT_EQ(clicks.size(), 1) << "a blank within a name";
    QTest::keyClick(view(), Qt::Key_Asterisk);
    EXPECT_EQ(rows().mid(3), QStringList({QStringLiteral("circle"), QStringLiteral("round.jpg")}));
}

TEST_F(SearchTest, ANameThatDoesNotFitHasAToolTip) {
    const auto toolTip = [this](const QString& name) {
        const QPoint place = view()->visualRect(rowNamed(name)).center();
        QHelpEvent event(QEvent::ToolTip, place, view()->viewport()->mapToGlobal(place));
        QApplication::sendEvent(view()->viewport(), &event);
        return QToolTip::text();
    };
    page->resize(520, 480);
    EXPECT_EQ(toolTip(QStringLiteral("photos")), QString());
    EXPECT_EQ(toolTip(QStringLiteral("Files with unknown path")),
              QStringLiteral("<qt>Files with unknown path</qt>"));
}

TEST_F(ResultFrameTest, SaysWhatStateTheClickedFileIsIn) {
    GatedVolume& volume = openGated();
    volume.gate.release(2);
    const auto* line = child<QLabel>("lblState");
    using Kind = kova::FileState::Kind;
    volume.state = {Kind::Partly, 40, 12};
    click(view()->model()->index(0, 0));
    EXPECT_EQ(line->text(),
              QStringLiteral("12 of 40 clusters belong to other files now: expect damage."));
    EXPECT_TRUE(line->isVisible());
    volume.state = {Kind::Whole, 40, 0};
    click(view()->model()->index(1, 0));
    EXPECT_EQ(line->text(), QStringLiteral("Nothing has been written over this file."));
    page->cleanup();
    EXPECT_FALSE(line->isVisible());
}

TEST_F(ResultFrameTest, AsksWhenTheFilesComeToMoreThanTheDriveOrTheRoomForThem) {
    GatedVolume& volume = openGated();
    volume.gate.release(3);
    auto* node = const_cast<ZFileTreeNode*>(
        qobject_cast<FileModel*>(view()->model())->nodeFromIndex(view()->model()->index(0, 0)));
    node->size = int64{1} << 55;
    view()->selectAll();
    EXPECT_EQ(boxesOf([this] { recover(); }, QMessageBox::Cancel).size(), 1);
    EXPECT_FALSE(page->isRecovering());
    const QStringList asked = boxesOf([this] { recover(); }, QMessageBox::Yes);
    ASSERT_EQ(asked.size(), 2);
    EXPECT_TRUE(asked[0].contains(QStringLiteral(", more than the drive holds (2")));
    EXPECT_TRUE(asked[1].startsWith(QStringLiteral("The selected files come to 33554432.00")));
    ASSERT_TRUE(waitUntilRecovered());
    EXPECT_TRUE(QFile::exists(answer + QStringLiteral("/c")));
}

} // namespace
