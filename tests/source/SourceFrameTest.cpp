#include "pages/SourceFrame.h"

#include "tests/source/Attached.h"
#include "tests/support/FatBuilder.h"

#include <QApplication>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QStyleOptionSlider>
#include <QTest>
#include <QTimer>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using platform::Drive;
using platform::DriveKind;

Drive drive(char letter, const std::wstring& name, DriveKind kind = DriveKind::Fixed) {
    Drive drive;
    drive.letter = letter;
    drive.kind = kind;
    drive.volumeName = name;
    return drive;
}

/// The page on drives that a test puts in and takes out.
class SourceFrameTest : public testing::Test {
protected:
    std::vector<Drive> drives{drive('C', L"System"), drive('E', L"", DriveKind::Removable),
                              drive('F', L"Pictures", DriveKind::Removable)};
    SourceFrame page{nullptr, [this] { return drives; }};
    QListWidget& list = *page.findChild<QListWidget*>(QStringLiteral("lstSource"));

    void click(int row) const {
        QTest::mouseClick(list.viewport(), Qt::LeftButton, {},
                          list.visualItemRect(list.item(row)).center());
    }

    [[nodiscard]] QStringList labels() const {
        QStringList texts;
        for (int row = 0; row < list.count(); ++row)
            texts << list.item(row)->text();
        return texts;
    }
};

TEST_F(SourceFrameTest, ListsFixedAndRemovableDrivesByLetter) {
    drives.push_back(drive('G', L"Share", DriveKind::Other));
    // A label is for a person to read: it neither turns the line around nor takes in the letter.
    drives.push_back(drive('H', L"\u202Egnp %2 %1\n"));
    drives[1].model = L"San\u202EDisk Ultra";
    page.showSources();
    EXPECT_EQ(labels(), QStringList({QStringLiteral("System (C:)"), QStringLiteral(" (E:)"),
                                     QStringLiteral("Pictures (F:)"),
                                     QStringLiteral("\uFFFDgnp %2 %1\uFFFD (H:)")}));
    EXPECT_EQ(list.item(3)->data(Qt::UserRole), QVariant(int('H')));

    QList<DriveInfo> infos;
    page.listDrives(infos);
    ASSERT_EQ(infos.size(), 4);
    EXPECT_EQ(infos[0].removable, 0);
    EXPECT_EQ(infos[1].removable, 1);
    EXPECT_EQ(infos[1].details, QStringLiteral("San\uFFFDDisk Ultra, removable"));
}

TEST_F(SourceFrameTest, TheChoiceStaysWithItsDriveWhileOthersComeAndGo) {
    page.show();
    click(2);
    drives.insert(drives.begin(), drive('A', L"Floppy", DriveKind::Removable));
    page.showSources();
    EXPECT_EQ(page.selectedLetter(), 'F');
    drives.erase(drives.begin() + 1, drives.begin() + 3);
    page.showSources();
    EXPECT_EQ(labels().size(), 2);
    EXPECT_EQ(page.selectedLetter(), 'F');
    QTest::keyClick(&list, Qt::Key_Up); // The keyboard goes on from the drive chosen.
    EXPECT_EQ(page.selectedLetter(), 'A');
}

TEST_F(SourceFrameTest, TheChoiceGoesWithItsDriveOrItsLabel) {
    page.show();
    click(2);
    drives[2].volumeName = L"Photos";
    page.showSources();
    EXPECT_EQ(labels().last(), QStringLiteral("Photos (F:)"));
    EXPECT_EQ(page.selectedLetter(), 0);

    click(1);
    EXPECT_EQ(page.selectedLetter(), 'E');
    drives.erase(drives.begin() + 1);
    page.showSources();
    EXPECT_EQ(page.selectedLetter(), 0);
    const auto* why = list.findChild<QLabel*>();
    EXPECT_FALSE(why->isVisible());
    drives.clear();
    page.showSources();
    EXPECT_EQ(list.count(), 0);
    EXPECT_TRUE(why->isVisible());
    EXPECT_TRUE(list.viewport()->rect().contains(why->geometry()));
    EXPECT_EQ(list.accessibleDescription(), why->text());
}

TEST_F(SourceFrameTest, ALongListOfLongLabelsCanBeRead) {
    for (char letter = 'G'; letter <= 'Z'; ++letter)
        drives.push_back(drive(letter, std::wstring(200, L'x')));
    page.showSources();
    page.show();
    QScrollBar& bar = *list.verticalScrollBar();
    ASSERT_TRUE(bar.isVisible());
    QStyleOptionSlider option;
    option.initFrom(&bar);
    option.orientation = Qt::Vertical;
    option.maximum = bar.maximum();
    option.pageStep = bar.pageStep();
    const QRect slider = bar.style()->subControlRect(QStyle::CC_ScrollBar, &option,
                                                     QStyle::SC_ScrollBarSlider, &bar);
    const QImage picture = bar.grab().toImage();
    const QColor ground = picture.pixelColor(bar.rect().bottomRight() - QPoint(bar.width() / 2, 3));
    EXPECT_GT(ground.lightness() - picture.pixelColor(slider.center()).lightness(), 40);

    // The letter is what stays of a label that is too long.
    EXPECT_EQ(list.textElideMode(), Qt::ElideMiddle);
    EXPECT_LE(list.visualItemRect(list.item(5)).width(), list.viewport()->width());
    EXPECT_TRUE(list.item(5)->toolTip().contains(list.item(5)->text()));
}

TEST_F(SourceFrameTest, TheListIsReadAgainByItself) {
    auto* timer = page.findChild<QTimer*>();
    ASSERT_NE(timer, nullptr);
    EXPECT_TRUE(timer->isActive());
    EXPECT_EQ(timer->interval(), 2000);
    drives.pop_back();
    timer->setInterval(0);
    EXPECT_TRUE(QTest::qWaitFor([this] { return list.count() == 2; }, 60000));
}

TEST_F(SourceFrameTest, ADriveIsTakenByDoubleClickAndByEnterOnce) {
    page.show();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&page));
    QSignalSpy taken(&page, &SourceFrame::sourceSelected);
    list.setFocus(); // Frames the first drive without choosing it.
    QTest::keyClick(&list, Qt::Key_Return);
    EXPECT_EQ(taken.count(), 1);
    EXPECT_EQ(page.selectedLetter(), 'C');
    taken.clear();
    list.clearSelection();
    click(0);
    EXPECT_EQ(taken.count(), 0);
    page.showSources(); // Between the clicks of a double click.
    QTest::mouseDClick(list.viewport(), Qt::LeftButton, {},
                       list.visualItemRect(list.item(0)).center());
    EXPECT_EQ(taken.count(), 1);
    EXPECT_EQ(page.selectedLetter(), 'C');

    list.setFocus();
    QTest::keyClick(&list, Qt::Key_Down);
    QTest::keyClick(&list, Qt::Key_Return);
    EXPECT_EQ(taken.count(), 2);
    QTest::keyClick(&list, Qt::Key_Enter, Qt::KeypadModifier);
    EXPECT_EQ(taken.count(), 3);
    EXPECT_EQ(page.selectedLetter(), 'E');
}

TEST_F(SourceFrameTest, WithoutAChoiceTheUserIsAskedForOne) {
    QString title;
    QString text;
    QTimer::singleShot(0, &page, [&] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        ASSERT_NE(box, nullptr);
        title = box->windowTitle();
        text = box->text();
        QTest::mouseClick(box->button(QMessageBox::Ok), Qt::LeftButton);
    });
    EXPECT_FALSE(page.validateSelection());
    EXPECT_EQ(title, QStringLiteral(" "));
    EXPECT_EQ(text, QStringLiteral("Please, select drive to scan"));
    EXPECT_FALSE(page.property("volumeLetter").isValid());

    page.show();
    click(2);
    EXPECT_TRUE(page.validateSelection());
    EXPECT_EQ(page.property("volumeLetter"), QVariant(int('F')));
}

TEST(SourceFrameOnThisMachine, AttachedImagesComeAndGo) {
    const Attached image(kova::test::FatBuilder().bytes());
    SourceFrame page;
    const auto* list = page.findChild<QListWidget*>(QStringLiteral("lstSource"));
    const QString label = QStringLiteral("volume.img (%1:)").arg(QLatin1Char(image.letter()));
    EXPECT_EQ(list->findItems(label, Qt::MatchExactly).size(), 1);
    image.remove();
    page.showSources();
    EXPECT_EQ(list->findItems(label, Qt::MatchExactly).size(), 0);
}

} // namespace
