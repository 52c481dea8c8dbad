#include "pages/ModalFrame.h"
#include "pages/AboutWidget.h"

#include <QDesktopServices>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <QUrl>
#include <QVBoxLayout>

#include <gtest/gtest.h>

namespace {

/// Content that decides whether it can be closed.
class Guarded : public QWidget {
    Q_OBJECT

signals:
    void modalAllowClose(bool allow);
};

class ModalFrameTest : public testing::Test {
protected:
    ModalFrameTest() {
        window.resize(600, 400);
        blocked = new QWidget(&window);
        blocked->resize(600, 400);
        button = new QPushButton(blocked);
        window.show();
        button->setFocus();
    }

    void show(QWidget* shown) {
        content = shown;
        frame = new ModalFrame(shown, blocked, &window);
        frame->show();
        frame->setAllowClose(true);
    }

    QPushButton* cross() { return frame->findChild<QPushButton*>(QStringLiteral("closeModal")); }

    QWidget* overlay() { return window.findChild<QWidget*>(QStringLiteral("_overlay")); }

    /// Lets everything that is due happen; whether the window is as before then.
    bool isGone() {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return frame.isNull() && overlay() == nullptr;
    }

    QWidget window;
    QWidget* blocked = nullptr;
    QPushButton* button = nullptr;
    QPointer<ModalFrame> frame;
    QPointer<QWidget> content;
};

TEST_F(ModalFrameTest, ClosesByCrossOverlayEscapeAndWithItsContent) {
    const std::vector<std::function<void()>> ways{
        [this] { QTest::mouseClick(cross(), Qt::LeftButton); },
        [this] { QTest::mouseRelease(overlay(), Qt::LeftButton); },
        [this] { QTest::keyClick(window.focusWidget(), Qt::Key_Escape); },
        [this] { content->deleteLater(); },
    };
    for (const auto& close : ways) {
        show(new AboutWidget);
        EXPECT_FALSE(blocked->isEnabled());
        EXPECT_TRUE(frame->isAncestorOf(window.focusWidget()));
        EXPECT_FALSE(isGone());
        close();
        EXPECT_TRUE(isGone());
        EXPECT_TRUE(content.isNull());
        EXPECT_TRUE(blocked->isEnabled());
        EXPECT_EQ(window.focusWidget(), button);
    }
}

TEST_F(ModalFrameTest, ItsContentDecidesWhetherItCloses) {
    auto* guarded = new Guarded;
    show(guarded);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window)); // Or no shortcut works.
    cross()->setFocus();
    const QImage focused = cross()->grab().toImage();
    cross()->clearFocus();
    EXPECT_NE(cross()->grab().toImage(), focused);
    emit guarded->modalAllowClose(false);
    EXPECT_FALSE(cross()->isVisible());
    QTest::mouseClick(overlay(), Qt::LeftButton);
    frame->setFocus();
    ASSERT_NE(window.focusWidget(), nullptr);
    QTest::keyClick(window.focusWidget(), Qt::Key_Escape);
    EXPECT_FALSE(isGone());

    emit guarded->modalAllowClose(true);
    QTest::mousePress(overlay(), Qt::LeftButton);
    EXPECT_FALSE(isGone());
    QTest::mouseMove(frame);
    QTest::mouseRelease(overlay(), Qt::LeftButton);
    EXPECT_TRUE(isGone());
}

TEST_F(ModalFrameTest, StaysInTheMiddleAndLetsNoClickThrough) {
    show(new AboutWidget);
    for (const QSize size : {QSize(600, 400), QSize(900, 700), QSize(500, 350)}) {
        window.resize(size);
        frame->updatePosition(size);
        EXPECT_EQ(overlay()->geometry(), QRect(QPoint(0, 0), size));
        EXPECT_EQ(frame->geometry().center(), overlay()->geometry().center());
        EXPECT_TRUE(window.rect().contains(frame->geometry()));
    }
    EXPECT_EQ(window.childAt(frame->geometry().topLeft() - QPoint(5, 5)), overlay());
    QTest::mouseClick(frame, Qt::LeftButton);
    QTest::mouseClick(content, Qt::LeftButton);
    EXPECT_FALSE(isGone());
}

TEST_F(ModalFrameTest, TheWindowMayGoFirst) {
    auto owner = std::make_unique<QWidget>();
    auto* central = new QWidget(owner.get());
    auto* focused = new QPushButton(central);
    owner->show();
    focused->setFocus();
    const QPointer<ModalFrame> orphan(new ModalFrame(new AboutWidget, central, owner.get()));
    owner.reset();
    EXPECT_TRUE(orphan.isNull());
}

/// Catches the addresses that go to the browser.
class Browser : public QObject {
    Q_OBJECT

public:
    Browser() { QDesktopServices::setUrlHandler(QStringLiteral("https"), this, "open"); }

    Browser(const Browser&) = delete;
    Browser& operator=(const Browser&) = delete;

    ~Browser() override { QDesktopServices::unsetUrlHandler(QStringLiteral("https")); }

    QList<QUrl> opened;

public slots:

    void open(const QUrl& url) { opened.append(url); }
};

TEST_F(ModalFrameTest, TheAboutBoxSaysTheVersionAndLeadsHome) {
    Browser browser;
    show(new AboutWidget);
    EXPECT_EQ(content->findChild<QLabel*>(QStringLiteral("version"))->text(),
              QStringLiteral("version: 1.1.0"));
    EXPECT_EQ(content->findChild<QLabel*>(QStringLiteral("logo"))->pixmap().size(),
              QSize(145, 100));
    QTest::mouseClick(content->findChild<QPushButton*>(QStringLiteral("title")), Qt::LeftButton);
    ASSERT_EQ(browser.opened.size(), 1);
    EXPECT_TRUE(browser.opened.front().isValid());
    EXPECT_FALSE(isGone());
}

} // namespace

#include "ModalFrameTest.moc"
