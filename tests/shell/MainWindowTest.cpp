#include "app/MainWindow.h"
#include "model/FileModel.h"
#include "model/texts.h"
#include "pages/ElidedLabel.h"
#include "pages/RecoveryWidget.h"
#include "pages/ResultFrame.h"
#include "pages/ScanFrame.h"
#include "pages/SourceFrame.h"
#include "platform/Drives.h"
#include "tests/platform/Tools.h"
#include "tests/support/Answers.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestMedia.h"
#include "tests/support/contentsBelow.h"

#include <QAccessible>
#include <QCheckBox>
#include <QDirIterator>
#include <QFile>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QListWidget>

#include <QProcess>
#include <QRadioButton>
#include <QScreen>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QTreeView>
#include <QWindow>

#include <gtest/gtest.h>

#include <map>
#include <set>

namespace {

using kova::test::TempDir;

constexpr Qt::WindowFlags kMinMaxHints = Qt::WindowMinMaxButtonsHint;

enum Page { Welcome, Source, Formats, Scan, Results };

const QString kQuitScan = QStringLiteral("Scanning is in progress. Are you sure you want to quit?");
const QString kQuitResults =
    QStringLiteral("The results will be lost. Are you sure you want to quit?");
const QString kScanAnother =
    QStringLiteral("The results will be lost. Are you sure you want to scan another drive?");

/// Contents of the files that a recovery of everything on a sample has to give, with their paths.
std::multimap<QString, QString> expectedContents(const QString& image) {
    QFile manifest(QStringLiteral(ORVANE_SOURCE_DIR "/samples/manifest.json"));
    EXPECT_TRUE(manifest.open(QIODevice::ReadOnly));
    std::multimap<QString, QString> contents;
    const QJsonObject root = QJsonDocument::fromJson(manifest.readAll()).object();
    for (const QJsonValueConstRef volume : root[QStringLiteral("volumes")].toArray()) {
        if (volume[QStringLiteral("image")].toString() != image)
            continue;
        for (const QJsonValueConstRef file : volume[QStringLiteral("files")].toArray()) {
            const QString hash = file[QStringLiteral("recoveredSha256")].toString();
            if (!hash.isEmpty())
                contents.emplace(hash, file[QStringLiteral("path")].toString());
        }
    }
    return contents;
}

/// Its one file never ends, other than by what an interrupted output throws.
class EndlessVolume : public kova::ZVolume {
public:
    EndlessVolume(kova::ZCustomMedia* media, bool& isRead) : ZVolume(media), isRead_(isRead) {}

    EndlessVolume(const EndlessVolume&) = delete;
    EndlessVolume& operator=(const EndlessVolume&) = delete;

    ~EndlessVolume() override { EXPECT_FALSE(isRead_); }

    bool init() override { return true; }

    void scan(kova::ZFileTree* /*tree*/) override {}

    bool extract(const kova::ZFileTreeNode& /*node*/, kova::ZStream* out) override {
        struct Reading {
            explicit Reading(bool& flag) : isRead(flag) { isRead = true; }

            Reading(const Reading&) = delete;
            Reading& operator=(const Reading&) = delete;

            ~Reading() { isRead = false; }

            bool& isRead;
        } const reading(isRead_);

        for (;;) {
            out->seek(0, 0);
            out->write("more", 4);
        }
    }

private:
    bool& isRead_;
};

class MainWindowTest : public testing::Test {
protected:
    MainWindowTest() : window(std::make_unique<MainWindow>()) {
        window->show();
        pages = child<QStackedWidget>("frameContainer");
        resultFrame()->setDirectoryChooser([this](const QString&) { return outputPath(); });
    }

    template <typename Widget>
    Widget* child(const char* name) {
        return window->findChild<Widget*>(QLatin1String(name));
    }

    ResultFrame* resultFrame() { return window->findChild<ResultFrame*>(); }

    static QPushButton* searchButton(const QWidget* on) {
        return on->findChild<QPushButton*>(QStringLiteral("btnSearch"));
    }

    ScanFrame* scanFrame() { return window->findChild<ScanFrame*>(); }

    void click(const char* button) {
        QTest::mouseClick(child<QPushButton>(button), Qt::LeftButton);
    }

    int page() { return pages->currentIndex(); }

    int buttonBarFace() { return child<QStackedWidget>("stackButtons")->currentIndex(); }

    bool isEnabled(const char* name) { return child<QWidget>(name)->isEnabled(); }

    QString outputPath() { return QString::fromStdString(output.path().string()); }

    /// Attaches a sample; the drive list shows it from then on.
    void attachSample(const QString& name) {
        const QString image = QString::fromStdString((images / name.toStdString()).string());
        QProcess xz;
        xz.setStandardOutputFile(image);
        xz.start(QStringLiteral("xz"),
                 {QStringLiteral("-dc"),
                  QStringLiteral(ORVANE_SOURCE_DIR "/samples/") + name + QStringLiteral(".xz")});
        ASSERT_TRUE(xz.waitForFinished());
        attach(image);
    }

    void attach(const QString& image) {
        const platform::AttachResult attached = platform::attachImage(toWide(image));
        ASSERT_EQ(attached.drives.size(), 1U);
        letter = attached.drives.front().letter;
        window->findChild<SourceFrame*>()->showSources();
    }

    /// Clicks the attached drive in the list.
    QPoint clickDrive() {
        auto* list = child<QListWidget>("lstSource");
        for (int row = 0; row < list->count(); ++row) {
            QListWidgetItem* item = list->item(row);
            if (item->data(Qt::UserRole).toInt() != letter)
                continue;
            list->scrollToItem(item);
            const QPoint place = list->visualItemRect(item).center();
            QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, place);
            return place;
        }
        ADD_FAILURE() << "The drive is not listed";
        return {};
    }

    /// From Welcome to the page of file types.
    void chooseDrive() {
        click("btnNext");
        clickDrive();
        click("btnNext");
        ASSERT_EQ(page(), Formats);
    }

    /// Shows results that can be recovered for ever.
    void showEndlessResults() {
        auto* media = new kova::test::TestMedia;
        media->open(L"\\\\.\\Q:");
        auto* tree = new kova::ZFileTree;
        tree->rootId = 5;
        kova::ZFileTreeNode node;
        node.id = 5;
        node.parentId = kova::kNoParent;
        node.isDirectory = true;
        tree->insert(node);
        node.id = 6;
        node.parentId = 5;
        node.isDirectory = false;
        node.name = L"endless";
        tree->insert(node);
        pages->setCurrentIndex(Scan);
        emit scanFrame()->finished(new EndlessVolume(media, isRead), tree);
        ASSERT_EQ(page(), Results);
    }

    bool isRead = false;
    TempDir images;
    TempDir output;
    char letter = 0;
    std::unique_ptr<MainWindow> window;
    QStackedWidget* pages = nullptr;
};

TEST_F(MainWindowTest, LeadsFromPageToPage) {
    Answers answers(QMessageBox::Ok);
    EXPECT_EQ(window->size(), QSize(641, 474));
    EXPECT_EQ(window->minimumSize(), QSize(400, 300));
    EXPECT_FALSE(window->windowFlags() & kMinMaxHints);
    EXPECT_EQ(page(), Welcome);
    EXPECT_FALSE(isEnabled("btnBack"));
    EXPECT_TRUE(isEnabled("btnNext"));

    click("btnNext");
    EXPECT_EQ(page(), Source);
    EXPECT_TRUE(isEnabled("btnBack"));
    child<QListWidget>("lstSource")->clearSelection();
    click("btnNext");
    EXPECT_EQ(answers.takeTexts(), QStringList(QStringLiteral("Please, select drive to scan")));
    EXPECT_EQ(page(), Source);

    attachSample(QStringLiteral("fat.img"));
    clickDrive();
    click("btnNext");
    EXPECT_EQ(page(), Formats);
    click("btnBack");
    EXPECT_EQ(page(), Source);
    const QPoint drive = clickDrive();
    QTest::mouseDClick(child<QListWidget>("lstSource")->viewport(), Qt::LeftButton, {}, drive);
    EXPECT_EQ(page(), Formats);

    QTest::mouseClick(child<QRadioButton>("rbSome"), Qt::LeftButton, {}, QPoint(25, 8));
    click("btnNext");
    EXPECT_EQ(answers.takeTexts(),
              QStringList(QStringLiteral("Please select at least one file format")));
    EXPECT_EQ(page(), Formats);
    EXPECT_EQ(buttonBarFace(), 0);
    EXPECT_EQ(window->size(), QSize(641, 474));

    window->close();
    EXPECT_FALSE(window->isVisible());
    EXPECT_EQ(answers.takeTexts(), QStringList());
}

TEST_F(MainWindowTest, GoesFromWelcomeToTheFilesOnDisk) {
    attachSample(QStringLiteral("ntfs.img"));
    chooseDrive();
    click("btnNext");
    ASSERT_EQ(page(), Results);
    EXPECT_EQ(buttonBarFace(), 1);
    EXPECT_EQ(window->windowFlags() & kMinMaxHints, kMinMaxHints);
    EXPECT_EQ(window->size(), QSize(641, 474));
    window->resize(300, 200);
    EXPECT_EQ(window->size(), QSize(300, 200));
    window->resize(800, 600);

    auto* tree = child<QTreeView>("tree");
    tree->setFocus();
    QTest::keyClick(tree, Qt::Key_A, Qt::ControlModifier);
    click("btnRecover");
    auto* progress = window->findChild<RecoveryWidget*>();
    ASSERT_NE(progress, nullptr);
    EXPECT_FALSE(child<QWidget>("wgtCentral")->isEnabled());
    auto* result = progress->findChild<QStackedWidget*>(QStringLiteral("stackResult"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return result->currentIndex() == 1; }, 60'000));
    QTest::keyClick(window.get(), Qt::Key_Escape);
    ASSERT_TRUE(QTest::qWaitFor([&] { return child<QWidget>("wgtCentral")->isEnabled(); }));

    const auto expected = expectedContents(QStringLiteral("ntfs.img"));
    ASSERT_FALSE(expected.empty());
    std::multiset<QString> written = contentsBelow(outputPath());
    for (const auto& [hash, path] : expected) {
        const auto found = written.find(hash);
        EXPECT_NE(found, written.end()) << path.toStdString();
        if (found != written.end())
            written.erase(found);
    }
}

TEST_F(MainWindowTest, ScansAnotherDriveWithAnotherFilter) {
    attachSample(QStringLiteral("fat.img"));
    chooseDrive();
    click("btnNext");
    ASSERT_EQ(page(), Results);
    Answers answers(QMessageBox::No);
    click("btnScanAgain");
    EXPECT_EQ(answers.takeTexts(), QStringList(kScanAnother));
    EXPECT_EQ(page(), Results);
    const int allRows = child<QTreeView>("tree")->model()->rowCount();
    window->showMaximized();
    const QSignalSpy flicker(window->windowHandle(), &QWindow::visibleChanged);
    QSize mostWhenRestored; // One of a fixed size would not be restored everywhere.
    QObject::connect(window->windowHandle(), &QWindow::windowStateChanged, window.get(),
                     [&](Qt::WindowState state) {
                         if (state == Qt::WindowNoState)
                             mostWhenRestored = window->maximumSize();
                     });

    answers.press(QMessageBox::Yes);
    click("btnScanAgain");
    ASSERT_EQ(page(), Source);
    EXPECT_FALSE(window->isMaximized());
    EXPECT_EQ(mostWhenRestored, QSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX));
    EXPECT_EQ(window->size(), QSize(640, 480));
    EXPECT_FALSE(window->windowFlags() & kMinMaxHints);
    EXPECT_EQ(window->frameGeometry().center(),
              QGuiApplication::primaryScreen()->availableGeometry().center());
    EXPECT_TRUE(window->isVisible());
    click("btnNext");
    ASSERT_EQ(page(), Formats) << "the drive is no longer selected";

    QTest::mouseClick(child<QRadioButton>("rbSome"), Qt::LeftButton, {}, QPoint(25, 8));
    QTest::mouseClick(child<QCheckBox>("cbPrograms"), Qt::LeftButton, {}, QPoint(45, 8));
    click("btnNext");
    ASSERT_EQ(page(), Results);
    const QAbstractItemModel* model = child<QTreeView>("tree")->model();
    EXPECT_LT(model->rowCount(), allRows);
    for (int row = 0; row < model->rowCount(); ++row)
        EXPECT_FALSE(model->index(row, 0).data().toString().endsWith(QStringLiteral(".txt")));
    // A window that is hidden and shown again is not the active one everywhere.
    EXPECT_TRUE(flicker.isEmpty());
}

TEST_F(MainWindowTest, IsUsedFromTheKeyboard) {
    attachSample(QStringLiteral("fat.img"));
    const auto press = [this](Qt::Key key) {
        QTest::keyClick(window->focusWidget(), key);
        QCoreApplication::processEvents();
    };
    window->activateWindow();
    press(Qt::Key_Return);
    ASSERT_EQ(page(), Source);
    auto* list = child<QListWidget>("lstSource");
    ASSERT_EQ(window->focusWidget(), list);
    press(Qt::Key_End);
    press(Qt::Key_Space);
    press(Qt::Key_Return);
    ASSERT_EQ(page(), Formats);
    EXPECT_EQ(window->focusWidget(), child<QRadioButton>("rbAll"));
    press(Qt::Key_Tab);
    EXPECT_EQ(window->focusWidget(), child<QPushButton>("btnBack"));
    press(Qt::Key_Return);
    ASSERT_EQ(page(), Source);

    press(Qt::Key_F1);
    ASSERT_TRUE(QTest::qWaitFor([this] { return child<QLabel>("logo") != nullptr; }));
    EXPECT_FALSE(child<QWidget>("wgtCentral")->isEnabled());
    press(Qt::Key_Return); // On the close cross.
    EXPECT_TRUE(QTest::qWaitFor([this] { return child<QLabel>("logo") == nullptr; }));
    EXPECT_EQ(page(), Source);
}

TEST_F(MainWindowTest, TheFocusIsNeverLeftOnWhatIsGone) {
    pages->setCurrentIndex(Scan);
    window->updateView();
    ASSERT_EQ(window->focusWidget(), child<QPushButton>("btnClose"));
    window->showAbout();
    showEndlessResults();
    QTest::keyClick(window->focusWidget(), Qt::Key_Return); // On the close cross.
    ASSERT_TRUE(QTest::qWaitFor([this] { return child<QLabel>("logo") == nullptr; }));
    EXPECT_EQ(window->focusWidget(), child<QTreeView>("tree"));
}

TEST_F(MainWindowTest, LooksTheSameOnScaledScreens) {
    for (const qreal scale : {1.0, 1.25, 1.5, 2.0}) {
        QImage picture(window->size() * scale, QImage::Format_RGB32);
        picture.setDevicePixelRatio(scale);
        window->render(&picture);
        const int column = picture.width() / 2;
        const auto isWhite = [&](int row) { return picture.pixelColor(column, row) == Qt::white; };
        // Between the header and the page's text there is nothing.
        int row = static_cast<int>(50 * scale);
        while (row < picture.height() && !isWhite(row))
            ++row;
        EXPECT_LT(row, 62 * scale);
        while (row < picture.height() && isWhite(row))
            ++row;
        EXPECT_GT(row, 115 * scale) << scale;
    }
    EXPECT_EQ(QPixmap(QStringLiteral(":/images/logo@2x")).size(), QSize(290, 200));
    for (const char* icon :
         {"24/harddisk", "24/flashdisk", "16/lostFolder", "16/play", "16/stop"}) {
        const QString file = QStringLiteral(":/icons/") + QLatin1String(icon);
        EXPECT_EQ(QPixmap(file + QStringLiteral("@2x")).size(), QPixmap(file).size() * 2) << icon;
    }
    EXPECT_EQ(window->windowIcon().actualSize(QSize(32, 32)), QSize(32, 32));
}

TEST_F(MainWindowTest, PagesAreMirroredWhereReadingStartsAtTheRight) {
    QApplication::setLayoutDirection(Qt::RightToLeft);
    window = std::make_unique<MainWindow>();
    child<QStackedWidget>("frameContainer")->setCurrentIndex(Formats);
    window->show();
    const auto blankAtTheRight = [this](const char* name) {
        const QImage picture = child<QWidget>(name)->grab().toImage();
        int blank = 0;
        while (picture.pixelColor(picture.width() - 1 - blank, picture.height() / 2) == Qt::white)
            ++blank;
        return blank;
    };
    EXPECT_GT(blankAtTheRight("cbPictures"), blankAtTheRight("rbSome") + 15);

    auto* progress = new RecoveryWidget;
    window->showModalFrame(progress);
    EXPECT_TRUE(progress->findChild<QLabel*>(QStringLiteral("lblSubtitle"))->alignment() &
                Qt::AlignRight);
    ElidedLabel sentence;
    sentence.setText(QStringLiteral("12 files saved."));
    sentence.setAlignment(Qt::AlignRight | Qt::AlignAbsolute);
    sentence.resize(300, 20);
    const QImage turned = sentence.grab().toImage();
    QApplication::setLayoutDirection(Qt::LeftToRight);
    EXPECT_EQ(sentence.grab().toImage(), turned);
}

TEST_F(MainWindowTest, WhatTabStopsAtHasANameForScreenReaders) {
    for (QWidget* widget : window->findChildren<QWidget*>()) {
        if ((widget->focusPolicy() & Qt::TabFocus) == 0 || widget->window() != window.get())
            continue;
        QAccessibleInterface* spoken = QAccessible::queryAccessibleInterface(widget);
        EXPECT_FALSE(spoken->text(QAccessible::Name).isEmpty())
            << widget->metaObject()->className();
    }
}

TEST_F(MainWindowTest, StaysDarkOnLightOnADarkDesktop) {
    QApplication::setPalette(QPalette(QColor(60, 60, 60), QColor(30, 30, 30)));
    const MainWindow another;
    for (const QWidget* widget : another.findChildren<QWidget*>()) {
        const QPalette& colors = widget->palette();
        for (const auto ground : {QPalette::Window, QPalette::Base, QPalette::Button})
            EXPECT_GT(colors.color(ground).lightness(), 200) << widget->objectName().toStdString();
    }
    const QPalette& list = another.findChild<QListWidget*>()->palette();
    EXPECT_LT(list.color(QPalette::Text).lightness(), 50);
}

TEST_F(MainWindowTest, AnAbandonedScanEndsTheProgram) {
    attachSample(QStringLiteral("fat.img"));
    chooseDrive();
    Answers answers(QMessageBox::No);
    const auto closeTwice = [&] {
        EXPECT_EQ(page(), Scan);
        EXPECT_FALSE(isEnabled("btnBack"));
        EXPECT_FALSE(isEnabled("btnNext"));
        click("btnClose");
        EXPECT_EQ(answers.takeTexts(), QStringList(kQuitScan));
        EXPECT_TRUE(window->isVisible());
        answers.press(QMessageBox::Yes);
        click("btnClose");
        EXPECT_EQ(answers.takeTexts(), QStringList(kQuitScan));
        answers.press(QMessageBox::No);
    };
    QTimer::singleShot(0, window.get(), [&] {
        QTimer::singleShot(0, window.get(), closeTwice); // Comes up while the scan runs.
        click("btnNext");
    });
    QApplication::setQuitOnLastWindowClosed(true);
    QTimer watchdog;
    QObject::connect(&watchdog, &QTimer::timeout, [] { QApplication::exit(1); });
    watchdog.start(60'000);
    EXPECT_EQ(QApplication::exec(), 0);
    QApplication::setQuitOnLastWindowClosed(false);
    EXPECT_FALSE(window->isVisible());
    EXPECT_EQ(answers.takeTexts(), QStringList());
    EXPECT_EQ(page(), Results);
}

TEST_F(MainWindowTest, ClosingEndsARecoveryBeforeFreeingWhatItReads) {
    showEndlessResults();
    child<QTreeView>("tree")->selectAll();
    click("btnRecover");
    ASSERT_TRUE(QTest::qWaitFor([this] { return isRead; }));
    Answers answers(QMessageBox::No);
    window->close();
    EXPECT_EQ(answers.takeTexts(), QStringList(kQuitResults));
    EXPECT_TRUE(window->isVisible());
    EXPECT_TRUE(resultFrame()->isRecovering());
    answers.press(QMessageBox::Yes);
    window->close();
    EXPECT_EQ(answers.takeTexts(), QStringList(kQuitResults));
    EXPECT_FALSE(window->isVisible());
    EXPECT_FALSE(resultFrame()->isRecovering());
    EXPECT_FALSE(isRead);
}

TEST_F(MainWindowTest, AScanThatCannotStartCanOnlyGoBack) {
    attachSample(QStringLiteral("fat.img"));
    auto* source = window->findChild<SourceFrame*>();
    source->setProperty("volumeLetter", int(letter));
    std::filesystem::remove(images / "fat.img");
    pages->setCurrentIndex(Formats);
    window->onNextClicked();
    ASSERT_EQ(page(), Results);
    EXPECT_FALSE(scanFrame()->failureReason().isEmpty());
    EXPECT_FALSE(isEnabled("btnRecover"));
    EXPECT_FALSE(isEnabled("edtSearch"));
    EXPECT_EQ(window->focusWidget(), child<QPushButton>("btnScanAgain"));
    bool repeated = false;
    for (const QLabel* label : resultFrame()->findChildren<QLabel*>())
        repeated = repeated ||
                   (label->isVisible() && label->text().contains(scanFrame()->failureReason()));
    EXPECT_TRUE(repeated);

    Answers yes(QMessageBox::Yes);
    click("btnScanAgain");
    EXPECT_EQ(page(), Source);
    attachSample(QStringLiteral("fat.img"));
    clickDrive();
    click("btnNext");
    click("btnNext");
    EXPECT_EQ(page(), Results);
    EXPECT_TRUE(isEnabled("btnRecover"));
}

TEST_F(MainWindowTest, WhereNothingIsFoundOnlyASearchIsOffered) {
    const std::filesystem::path empty = images / "empty.img";
    platform::test::makeFat(empty, 4U << 20, "");
    attach(QString::fromStdString(empty.string()));
    chooseDrive();
    click("btnNext");
    ASSERT_EQ(page(), Results);
    EXPECT_FALSE(isEnabled("btnRecover"));
    EXPECT_EQ(window->focusWidget(), searchButton(resultFrame()));
}

TEST_F(MainWindowTest, SearchesADriveWithoutFileSystemOnlyWhenAsked) {
    const QString image = QString::fromStdString((images / "noise.img").string());
    QFile noise(image);
    ASSERT_TRUE(noise.open(QIODevice::WriteOnly));
    noise.write(QByteArray(1 << 20, 'x'));
    noise.close();
    attach(image);
    window->findChild<SourceFrame*>()->setProperty("volumeLetter", int(letter));
    pages->setCurrentIndex(Formats);
    click("btnNext");
    ASSERT_EQ(page(), Scan);
    EXPECT_TRUE(scanFrame()->offersSearch());
    EXPECT_EQ(window->focusWidget(), searchButton(scanFrame()));
    EXPECT_FALSE(isEnabled("btnNext"));
    click("btnBack");
    EXPECT_EQ(page(), Formats);
    EXPECT_FALSE(scanFrame()->offersSearch());
    click("btnNext");
    ASSERT_EQ(page(), Scan);
    const Answers answers(QMessageBox::No);
    click("btnClose"); // Nothing is to be lost: nobody asks.
    EXPECT_FALSE(window->isVisible());
}

/// A stick on which files were saved, which was then formatted, and got another file that was
/// deleted.
class FormattedStick : public MainWindowTest {
protected:
    static constexpr int kFiles = 30;

    static QByteArray contentOf(int file) {
        return QByteArray("file ") + QByteArray(700 * (file + 1), char('A' + file));
    }

    void save(const std::string& image, int file, const std::string& name) {
        QFile content(QString::fromStdString((images / "content").string()));
        ASSERT_TRUE(content.open(QIODevice::WriteOnly));
        content.write(contentOf(file));
        content.close();
        platform::test::run("mcopy -i " + image + " " +
                            platform::test::forShell(images / "content") + " '" + name + "'");
    }

    /// The files lie at the beginning, behind one that newer ones overwrite.
    void make(std::uintmax_t bytes) {
        const std::filesystem::path image = images / "stick.img";
        platform::test::makeFat(image, bytes, "-F 32 -s 8");
        const std::string path = platform::test::forShell(image);
        platform::test::run("mmd -i " + path + " ::/Before");
        save(path, 5, "::/Before/first.txt"); // Of two clusters.
        platform::test::run("mmd -i " + path + " ::/Holiday");
        for (int i = 0; i < kFiles; ++i)
            save(path, i, "::/Holiday/On the beach " + std::to_string(i) + ".dat");
        // Clusters lie elsewhere, or the scan would find the folders that were there.
        platform::test::run("mkfs.fat -F 32 -s 8 -R 40 " + path);
        platform::test::run("mmd -i " + path + " ::/New");
        save(path, 0, "::/New/The last.txt");
        platform::test::run("mdel -i " + path + " '::/New/The last.txt'");
        attach(QString::fromStdString(image.string()));
        chooseDrive();
        click("btnNext");
        ASSERT_EQ(page(), Results);
    }

    /// Recovers everything and compares it.
    void expectRecovered() {
        auto* tree = child<QTreeView>("tree");
        tree->selectAll();
        click("btnRecover");
        auto* progress = window->findChild<RecoveryWidget*>();
        ASSERT_NE(progress, nullptr);
        auto* result = progress->findChild<QStackedWidget*>(QStringLiteral("stackResult"));
        ASSERT_TRUE(QTest::qWaitFor([&] { return result->currentIndex() == 1; }, 60'000));
        QTest::keyClick(window.get(), Qt::Key_Escape);
        std::set<QString> recovered;
        QDirIterator files(outputPath(), QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            QFile file(files.next());
            ASSERT_TRUE(file.open(QIODevice::ReadOnly));
            const QString name = files.fileName();
            if (!name.startsWith(QStringLiteral("On the beach ")))
                continue;
            const int number = name.mid(13).chopped(4).toInt();
            EXPECT_EQ(file.readAll(), contentOf(number)) << name.toStdString();
            recovered.insert(name);
        }
        EXPECT_EQ(int(recovered.size()), kFiles);
    }
};

TEST_F(FormattedStick, GrowsTheResultsAndLeavesThemAsTheyWere) {
    make(300U << 20);
    auto* tree = child<QTreeView>("tree");
    ASSERT_EQ(tree->model()->rowCount(), 1);
    tree->expand(tree->model()->index(0, 0));
    const QModelIndex file = tree->model()->index(0, 0, tree->model()->index(0, 0));
    tree->setCurrentIndex(file);
    window->resize(900, 600);
    auto* button = searchButton(resultFrame());
    ASSERT_TRUE(button->isVisible());
    EXPECT_EQ(child<QLabel>("lblSearchTime")->text(), QStringLiteral("Takes less than a minute"));

    button->click();
    ASSERT_EQ(page(), Results);
    EXPECT_EQ(window->size(), QSize(900, 600));
    EXPECT_FALSE(button->isVisible());
    EXPECT_EQ(tree->model()->rowCount(), 2);
    EXPECT_TRUE(tree->isExpanded(tree->model()->index(0, 0)));
    const QModelIndexList selected = tree->selectionModel()->selectedRows();
    ASSERT_EQ(selected.size(), 1);
    EXPECT_EQ(selected.first().data().toString(), QStringLiteral("The last.txt"));
    expectRecovered();
}

TEST_F(FormattedStick, StopsASearchAndShowsWhatItHasFound) {
    make(std::uintmax_t{8} << 30); // Goes on long after the files.
    bool asked = false;
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, [&] {
        const QString found = scanFrame()->findChild<QLabel*>(QStringLiteral("lblSearch"))->text();
        if (asked || !found.contains(QStringLiteral("FAT folders: 1")))
            return;
        asked = true;
        EXPECT_EQ(page(), Scan);
        EXPECT_FALSE(isEnabled("btnBack"));
        click("btnStopSearch");
    });
    watch.start(1);
    searchButton(resultFrame())->click();
    EXPECT_TRUE(asked);
    ASSERT_EQ(page(), Results);
    expectRecovered();
}

TEST_F(FormattedStick, ASearchCanBeLeft) {
    make(std::uintmax_t{8} << 30);
    Answers answers(QMessageBox::No);
    QTimer::singleShot(300, window.get(), [&] {
        ASSERT_TRUE(scanFrame()->isSearching());
        click("btnClose");
        EXPECT_TRUE(window->isVisible());
        answers.press(QMessageBox::Yes);
        click("btnClose");
        answers.press(QMessageBox::No);
    });
    searchButton(resultFrame())->click(); // Ends at once.
    EXPECT_EQ(answers.takeTexts().size(), 2);
    EXPECT_FALSE(window->isVisible());
}

} // namespace
