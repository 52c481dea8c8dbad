#include "app/MainWindow.h"

#include "pages/AboutWidget.h"
#include "pages/FormatsFrame.h"
#include "pages/ModalFrame.h"
#include "pages/PagePalette.h"
#include "pages/ResultFrame.h"
#include "pages/ScanFrame.h"
#include "pages/SourceFrame.h"
#include "pages/WelcomeFrame.h"
#include "pages/firstFocus.h"
#include "pages/homePage.h"
#include "pages/mirrorSheets.h"
#include "platform/desktop/OpenUrl.h"

#include "ui_MainWindow.h"

#include <QApplication>
#include <QCloseEvent>
#include <QIcon>
#include <QKeyEvent>
#include <QLayout>
#include <QMessageBox>
#include <QScreen>
#include <QSet>
#include <QWindow>

namespace {

constexpr QSize kWizardSize(640, 480);

/// What the desktop knows the program by: the name of its menu entry and of its icon.
constexpr const char* kDesktopId = "com.kestrineresearch.orvane";

constexpr Qt::WindowFlags kMinMaxHints = Qt::WindowMinMaxButtonsHint;

enum ButtonBarFace { WizardFace, ResultsFace };

/// The desktop's, else the one built in: not every desktop knows the program, and some window
/// managers look nowhere but at what the window gives them.
QIcon programIcon() {
    QIcon builtIn;
    for (const int size : {16, 24, 32, 48, 64, 128})
        builtIn.addFile(QStringLiteral(":/icons/window/%1").arg(size), QSize(size, size));
    return QIcon::fromTheme(QString::fromLatin1(kDesktopId), builtIn);
}

/// No is what a hasty Enter gives.
QMessageBox::StandardButton ask(QWidget* window, const QString& question) {
    return QMessageBox::warning(window, QStringLiteral(" "), question,
                                QMessageBox::Yes | QMessageBox::No, QMessageBox::No);
}

} // namespace

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent), ui(std::make_unique<Ui::MainWindow>()) {
    QApplication::setPalette(pagePalette());
    QApplication::setWindowIcon(programIcon());
    QApplication::setDesktopFileName(QString::fromLatin1(kDesktopId)); // Wayland's way to the icon.
    ui->setupUi(this);
    pageStack = ui->frameContainer;

    setWindowFlags(Qt::WindowTitleHint | Qt::CustomizeWindowHint | Qt::WindowCloseButtonHint);
    layout()->setSizeConstraint(QLayout::SetNoConstraint); // Sizes are what this class sets.
    QFont font = QApplication::font();
    font.setStyleStrategy(QFont::PreferAntialias);
    QApplication::setFont(font);

    connect(ui->btnNext, &QPushButton::clicked, this, &MainWindow::onNextClicked);
    connect(ui->btnBack, &QPushButton::clicked, this, &MainWindow::onBackClicked);
    connect(ui->btnClose, &QPushButton::clicked, this, &MainWindow::close);
    connect(ui->lblTitle, &QPushButton::clicked, this, &MainWindow::launchBrowser);
    connect(ui->btnScanAgain, &QPushButton::clicked, this, &MainWindow::scanAgain);
    connect(ui->btnAbout, &QPushButton::clicked, this, &MainWindow::showAbout);

    initPages();
    if (layoutDirection() == Qt::RightToLeft)
        mirrorSheets(*this);
}

MainWindow::~MainWindow() = default;

void MainWindow::initPages() {
    while (QWidget* page = pageStack->widget(0)) {
        pageStack->removeWidget(page);
        delete page;
    }

    welcomeFrame = new WelcomeFrame;
    sourceFrame = new SourceFrame;
    formatsFrame = new FormatsFrame;
    scanFrame = new ScanFrame;
    resultFrame = new ResultFrame;
    for (QWidget* page : std::initializer_list<QWidget*>{welcomeFrame, sourceFrame, formatsFrame,
                                                         scanFrame, resultFrame})
        pageStack->addWidget(page);

    ui->btnBack->setEnabled(false);
    ui->btnNext->setEnabled(true);

    connect(sourceFrame, &SourceFrame::sourceSelected, ui->btnNext,
            [this] { emit ui->btnNext->clicked(); });
    // The results page is filled before it is shown, and shown before it learns of a failure.
    connect(scanFrame, &ScanFrame::finished, resultFrame, &ResultFrame::init);
    connect(scanFrame, &ScanFrame::finished, this, &MainWindow::onNextClicked);
    connect(scanFrame, &ScanFrame::finished, this, &MainWindow::onScanEnded);
    connect(scanFrame, &ScanFrame::searchOffered, this, &MainWindow::updateView);
    connect(scanFrame, &ScanFrame::searchBegun, this, &MainWindow::updateView);
    connect(resultFrame, &ResultFrame::searchRequested, this, &MainWindow::searchWholeDrive);
    connect(resultFrame, &ResultFrame::showOverlay, this, &MainWindow::showModalFrame);
    connect(this, &MainWindow::startScan, scanFrame, &ScanFrame::startScan);
    connect(ui->btnRecover, &QPushButton::clicked, resultFrame, &ResultFrame::recoverSelectedFiles);

    updateView();
}

void MainWindow::updateView() {
    const QWidget* const page = pageStack->currentWidget();
    const int index = pageStack->currentIndex();
    const bool onScan = page == scanFrame;
    ui->btnNext->setEnabled(index != pageStack->count() - 1 && !onScan);
    ui->btnBack->setEnabled(index != 0 && (!onScan || scanFrame->offersSearch()));

    if (page == resultFrame)
        growForResults();
    else if (!onScan && (windowFlags() & kMinMaxHints) == kMinMaxHints)
        shrinkToWizard();
    ui->stackButtons->setCurrentIndex(page == resultFrame ? ResultsFace : WizardFace);
    focusPage();
}

void MainWindow::shrinkToWizard() {
    changeFlags(windowFlags() & ~kMinMaxHints);
    // What is maximised keeps the screen's size whatever it is told, and without its hints there
    // is no button that restores it.
    setWindowState(windowState() & ~(Qt::WindowMaximized | Qt::WindowFullScreen));
    setFixedSize(kWizardSize);
    QRect frame = frameGeometry();
    frame.moveCenter(QGuiApplication::primaryScreen()->availableGeometry().center());
    move(frame.topLeft());
    show();
}

void MainWindow::growForResults() {
    changeFlags(windowFlags() | kMinMaxHints);
    setFixedSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
    // One that was closed while it scanned stays hidden, so that the program ends.
    if (!closing_)
        show();
}

/// As `setWindowFlags`, but without hiding the window: one that is hidden and shown in one turn
/// counts as inactive under X11, and nothing in it shows that it has the focus.
void MainWindow::changeFlags(Qt::WindowFlags flags) {
    overrideWindowFlags(flags);
    if (QWindow* handle = windowHandle())
        handle->setFlags(flags);
}

/// The page's first control has the focus, so that Tab goes through the page and on to the bar.
void MainWindow::focusPage() {
    QWidget* target = firstFocus(*pageStack->currentWidget());
    if (target == nullptr)
        target =
            ui->btnNext->isEnabled() ? ui->btnNext : firstFocus(*ui->stackButtons->currentWidget());
    if (target != nullptr)
        target->setFocus();
}

void MainWindow::onNextClicked() {
    const QWidget* const page = pageStack->currentWidget();
    if (page == sourceFrame && !sourceFrame->validateSelection())
        return;
    if (page == formatsFrame && !formatsFrame->hasSelection()) {
        QMessageBox::information(this, QStringLiteral(" "),
                                 tr("Please select at least one file format"));
        return;
    }

    pageStack->setCurrentIndex(pageStack->currentIndex() + 1);
    updateView();
    if (pageStack->currentWidget() != scanFrame)
        return;

    QSet<QString> allowed;
    QSet<QString> denied;
    formatsFrame->getFilter(allowed, denied);
    scanFrame->installFilter(allowed, denied);
    // Returns when the scan has ended and the results page is shown.
    emit startScan(static_cast<char>(sourceFrame->property("volumeLetter").toInt()));
}

void MainWindow::onBackClicked() {
    scanFrame->dropOffer();
    pageStack->setCurrentIndex(pageStack->currentIndex() - 1);
    updateView();
}

void MainWindow::searchWholeDrive() {
    if (resultFrame->isRecovering() || !resultFrame->hasVolume())
        return;
    pageStack->setCurrentWidget(scanFrame);
    // Returns when the search has ended and the results page is shown again.
    scanFrame->search(resultFrame->takeResults());
}

/// Without results there is only the way back, and perhaps a search.
void MainWindow::onScanEnded() {
    resultFrame->offerSearch(scanFrame->searchDuration());
    QApplication::alert(this); // A scan takes long enough to do something else meanwhile.
    const QString reason = scanFrame->failureReason();
    if (!reason.isEmpty())
        resultFrame->showFailure(reason);
    ui->btnRecover->setEnabled(resultFrame->showsTree());
    focusPage();
}

void MainWindow::scanAgain() {
    const auto answer =
        ask(this, tr("The results will be lost. Are you sure you want to scan another drive?"));
    if (answer == QMessageBox::No)
        return;
    resultFrame->cleanup();
    pageStack->setCurrentWidget(sourceFrame);
    updateView();
}

void MainWindow::launchBrowser() {
    QString target;
    if (sender() == ui->lblTitle)
        target = QString::fromLatin1(kHomePage);
    openUrl(target);
}

void MainWindow::showModalFrame(QWidget* widget) {
    modalFrame = new ModalFrame(widget, ui->wgtCentral, this);
    if (layoutDirection() == Qt::RightToLeft)
        mirrorSheets(*modalFrame);
    modalFrame->show();
    modalFrame->setAllowClose(true);
    connect(this, &MainWindow::resized, modalFrame, &ModalFrame::updatePosition);
}

void MainWindow::showAbout() {
    showModalFrame(new AboutWidget);
}

void MainWindow::resizeEvent(QResizeEvent* event) {
    emit resized(event->size());
}

void MainWindow::closeEvent(QCloseEvent* event) {
    const QWidget* const page = pageStack->currentWidget();
    if (page == scanFrame && !scanFrame->isRunning()) {
        closing_ = true; // There is nothing to lose.
    } else if (page == scanFrame) {
        closing_ = ask(this, scanFrame->isSearching()
                                 ? tr("The drive is being searched. What was found will be lost. "
                                      "Are you sure you want to quit?")
                                 : tr("Scanning is in progress. Are you sure you want to quit?")) ==
                   QMessageBox::Yes;
        if (closing_)
            scanFrame->stop();
        event->setAccepted(closing_);
    } else if (page == resultFrame) {
        closing_ = ask(this, tr("The results will be lost. Are you sure you want to quit?")) ==
                   QMessageBox::Yes;
        // Its thread reads what goes with the results page.
        if (closing_ && resultFrame->isRecovering())
            resultFrame->stopRecovery();
        event->setAccepted(closing_);
    }
}

void MainWindow::keyPressEvent(QKeyEvent* event) {
    const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (!enter || event->isAutoRepeat()) {
        QMainWindow::keyPressEvent(event);
        return;
    }
    auto* button = qobject_cast<QPushButton*>(focusWidget());
    if (button == nullptr || !button->isVisible())
        button = ui->stackButtons->currentIndex() == WizardFace ? ui->btnNext : ui->btnRecover;
    button->click();
}
