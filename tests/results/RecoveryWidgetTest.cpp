#include "pages/RecoveryWidget.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QHelpEvent>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QTest>
#include <QToolTip>
#include <QVBoxLayout>

namespace {

using Problem = RecoveredFile::Problem;

RecoveredFile failed(const std::string& path, Problem problem, const char* detail) {
    RecoveredFile file;
    file.path = QString::fromStdString(path);
    file.problem = problem;
    file.detail = QString::fromLatin1(detail);
    return file;
}

class RecoveryWidgetTest : public testing::Test {
protected:
    RecoveryWidgetTest()
        : page(new RecoveryWidget), closing(page, &RecoveryWidget::modalAllowClose) {
        page->setOutputDirectory(QStringLiteral("/out"));
        page->show();
    }

    RecoveryWidgetTest(const RecoveryWidgetTest&) = delete;
    RecoveryWidgetTest& operator=(const RecoveryWidgetTest&) = delete;

    ~RecoveryWidgetTest() override { delete page; }

    template <typename Widget>
    Widget* child(const char* name) {
        return page->findChild<Widget*>(QLatin1String(name));
    }

    QString label(const char* name) { return child<QLabel>(name)->text(); }

    int shownResult() { return child<QStackedWidget>("stackResult")->currentIndex(); }

    int barValue() { return child<QProgressBar>("progress")->value(); }

    void clickCancel() { QTest::mouseClick(child<QPushButton>("btnCancel"), Qt::LeftButton); }

    QPointer<RecoveryWidget> page;
    QSignalSpy closing;
};

TEST_F(RecoveryWidgetTest, TheBarFillsByItselfOnCoarseReports) {
    EXPECT_EQ(label("lblSubtitle"), QStringLiteral("Recovering..."));
    page->progressChanged(0.5);
    ASSERT_EQ(closing.size(), 1);
    EXPECT_FALSE(closing[0][0].toBool());
    QTest::qWait(1);
    EXPECT_TRUE(QTest::qWaitFor([&] { return barValue() == 501; }));
    page->progressChanged(0.1);
    QCoreApplication::processEvents();
    EXPECT_EQ(barValue(), 501);
    EXPECT_EQ(shownResult(), 0);

    page->progressChanged(1.0);
    page->progressChanged(1.0);
    page->statusChanged(QStringLiteral("Completed"));
    EXPECT_EQ(label("lblResult"), QString()); // Until there is a result.
    page->finished(5, 5);
    EXPECT_TRUE(QTest::qWaitFor([&] { return closing.size() >= 3; }));
    EXPECT_EQ(barValue(), 1000);
    EXPECT_EQ(shownResult(), 1);
    EXPECT_TRUE(closing[1][0].toBool());
    EXPECT_TRUE(closing[2][0].toBool());
    EXPECT_EQ(label("lblSubtitle"), QStringLiteral("Completed"));
    EXPECT_EQ(label("lblFile"), QStringLiteral("5 complete files saved in /out"));
    EXPECT_EQ(child<QStackedWidget>("stackedWidget")->currentIndex(), 0);
}

TEST_F(RecoveryWidgetTest, CountsWhatWasRecovered) {
    const auto textAfter = [this](uint total, uint recovered) {
        page->finished(total, recovered);
        return label("lblResult").toStdString();
    };
    EXPECT_EQ(textAfter(1, 0), "0 file was successfully recovered");
    EXPECT_EQ(textAfter(5, 5), "5 files were successfully recovered");
    EXPECT_EQ(textAfter(5, 3), "3 out of 5 files were successfully recovered");
    EXPECT_EQ(textAfter(0, 0), "0 files were successfully recovered");
}

TEST_F(RecoveryWidgetTest, NamesTheFileBeingWritten) {
    page->fileStarted(QStringLiteral("/out/folder/a\u202Eb.txt"), 12, 300);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !label("lblFile").isEmpty(); }));
    EXPECT_EQ(label("lblFile"), QStringLiteral("folder/a\uFFFDb.txt"));
    EXPECT_EQ(label("lblCount"), QStringLiteral("12 of 300"));

    page->fileStarted(QStringLiteral("/out/") + QString(200, QLatin1Char('x')), 13, 300);
    EXPECT_TRUE(QTest::qWaitFor([&] { return label("lblFile").size() == 200; }));
    QHelpEvent pointing(QEvent::ToolTip, {}, {});
    QApplication::sendEvent(child<QLabel>("lblFile"), &pointing);
    EXPECT_TRUE(QToolTip::text().contains(label("lblFile")));
}

TEST_F(RecoveryWidgetTest, CancelClosesThePageOnceTheWorkerHasFinished) {
    QSignalSpy cancelled(page, &RecoveryWidget::cancel);
    QSignalSpy atOnce(page, &RecoveryWidget::cancelAtOnce);
    page->progressChanged(0.0);
    page->fileStarted(QStringLiteral("/out/a"), 1, 3);
    clickCancel();
    EXPECT_EQ(cancelled.size(), 1);
    EXPECT_EQ(atOnce.size(), 0);
    clickCancel();
    EXPECT_EQ(atOnce.size(), 1);

    RecoveredFile folder = failed("/out/folder", Problem::CannotCreate, {});
    folder.isFolder = true;
    page->fileReported(folder);
    page->statusChanged(QStringLiteral("Canceling"));
    page->statusChanged(QStringLiteral("Cancelled"));
    RecoveryOutcome outcome;
    outcome.end = RecoveryOutcome::End::Stopped;
    outcome.files = 3;
    outcome.complete = 1;
    page->setOutcome(outcome);
    page->finished(3, 1);
    page->statusChanged(QStringLiteral("Canceling")); // The second click's answer.
    EXPECT_EQ(label("lblSubtitle"), QStringLiteral("Cancelled"));
    EXPECT_EQ(label("lblFile"), QStringLiteral("1 complete, 2 not recovered"));
    EXPECT_EQ(label("lblNotes"), QStringLiteral("Stopped.\n1 complete file saved in /out."));
    EXPECT_FALSE(child<QLabel>("lblFailed")->isVisible()) << "a folder is no file";
    EXPECT_EQ(shownResult(), 0);
    EXPECT_EQ(closing.size(), 1);

    clickCancel();
    EXPECT_TRUE(QTest::qWaitFor([&] { return page.isNull(); }));
}

TEST_F(RecoveryWidgetTest, SaysWhatIsMissingAndFindsRoomForIt) {
    QWidget window;
    window.resize(400, 300);
    QFrame frame(&window);
    QVBoxLayout layout(&frame);
    layout.addWidget(page);
    frame.adjustSize();
    window.show();
    const QSize before = frame.size();
    EXPECT_FALSE(child<QLabel>("lblFailed")->isVisible());

    page->fileReported(failed("/out/a.txt", Problem::Unreadable, {}));
    page->fileReported(failed("/out/b/c\n.txt", Problem::CannotWrite, "No such device"));
    RecoveredFile file;
    file.path = QStringLiteral("/out/half.jpg");
    file.writtenBytes = 1;
    file.state = {kova::FileState::Kind::Partly, 9, 3};
    page->fileReported(file);
    file.path = QStringLiteral("/out/secret.doc");
    file.state = {};
    file.report.encrypted = true;
    page->fileReported(file);
    file.path = QStringLiteral("/out/somewhere.png");
    file.report = {};
    file.state.kind = kova::FileState::Kind::Uncertain;
    page->fileReported(file);
    RecoveryOutcome outcome;
    outcome.end = RecoveryOutcome::End::OutputFull;
    outcome.files = 9;
    outcome.complete = 2;
    page->setOutcome(outcome);
    page->finished(9, 5);
    EXPECT_EQ(label("lblSubtitle"), QStringLiteral("Not completed"));
    EXPECT_EQ(child<QPushButton>("btnCancel")->text(), QStringLiteral("Close"));
    EXPECT_EQ(label("lblFailed"), QStringLiteral("7 missing or incomplete"));
    EXPECT_EQ(child<QPlainTextEdit>("txtFailed")->toPlainText(),
              QStringLiteral("Missing or incomplete:\n"
                             "a.txt: cannot be read: the file system had compressed it, or what "
                             "described it is damaged\n"
                             "b/c\uFFFD.txt: cannot be written: No such device\n"
                             "... and 4 more\n\n"
                             "Overwritten in part:\n"
                             "half.jpg: other files have been written over 3 of its 9 clusters\n\n"
                             "Encrypted:\n"
                             "secret.doc: encrypted: only who has the key can open it\n\n"
                             "Complete, but doubtful:\n"
                             "somewhere.png: where it lay is a guess"));
    EXPECT_EQ(label("lblFile"), QStringLiteral("2 complete, 7 not recovered"));
    EXPECT_EQ(label("lblNotes"),
              QStringLiteral("The output drive is full.\n2 complete files saved in /out."));
    EXPECT_TRUE(QTest::qWaitFor([&] { return frame.height() > before.height(); }));
    EXPECT_TRUE(child<QPlainTextEdit>("txtFailed")->isVisible());
    EXPECT_TRUE(window.rect().contains(frame.geometry().size().isValid() ? QRect({}, frame.size())
                                                                         : QRect()));
    EXPECT_GE(frame.height(), frame.sizeHint().height());
    page->setParent(nullptr);
}

TEST_F(RecoveryWidgetTest, ManyFailuresAreNamedUpToALimit) {
    constexpr int kMany = 10'003;
    for (int i = 0; i < kMany; ++i)
        page->fileReported(failed("/out/" + std::to_string(i), Problem::Unreadable, {}));
    RecoveryOutcome outcome;
    outcome.files = kMany;
    page->progressChanged(1.0);
    page->setOutcome(outcome);
    page->finished(kMany, kMany);
    EXPECT_EQ(label("lblFailed"), QStringLiteral("%1 missing or incomplete").arg(kMany));
    EXPECT_EQ(label("lblFile"), QStringLiteral("No complete file could be saved"));
    EXPECT_EQ(label("lblResult"),
              QStringLiteral("0 out of 10003 files were successfully recovered"));
    const auto* list = child<QPlainTextEdit>("txtFailed");
    EXPECT_EQ(list->blockCount(), 10'001);
    EXPECT_TRUE(list->toPlainText().endsWith(QStringLiteral("... and 3 more")));
}

} // namespace
