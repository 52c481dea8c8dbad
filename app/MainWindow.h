#pragma once

#include <QMainWindow>
#include <QSize>

#include <memory>

class FormatsFrame;
class ModalFrame;
class QStackedWidget;
class ResultFrame;
class ScanFrame;
class SourceFrame;
class WelcomeFrame;

namespace Ui {
class MainWindow;
}

/// The program's one window: a header, a stack of five pages and a bar of buttons. It decides
/// how the user gets from page to page, starts the scan, and asks before anything is lost.
///
/// A scan runs inside `onNextClicked`, on the GUI thread, and lets events through: clicks made
/// meanwhile are handled in calls nested in it.
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    explicit MainWindow(QWidget* parent = nullptr);
    MainWindow(const MainWindow&) = delete;
    MainWindow& operator=(const MainWindow&) = delete;
    ~MainWindow() override;

signals:
    void resized(QSize newSize);
    void startScan(char volumeLetter);
    void scanFinished();

public slots:
    /// Goes to the next page unless the current one has to be completed first.
    void onNextClicked();
    void onBackClicked();

    /// Brings buttons, window flags and size in line with the current page.
    void updateView();

    /// Opens the product's home page when the title asks for it.
    void launchBrowser();

    /// Shows `widget`, which it takes over, in a frame above everything else.
    void showModalFrame(QWidget* widget);
    void showAbout();

    /// Lets the results go, if the user agrees, and returns to the choice of a drive.
    void scanAgain();

protected:
    void resizeEvent(QResizeEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

    /// Enter presses the button that has the focus, else the default button, as in a dialog.
    void keyPressEvent(QKeyEvent* event) override;

private:
    void initPages();
    void onScanEnded();
    void searchWholeDrive();
    void shrinkToWizard();
    void growForResults();
    void changeFlags(Qt::WindowFlags flags);
    void focusPage();

    std::unique_ptr<Ui::MainWindow> ui;
    QStackedWidget* pageStack = nullptr;
    ModalFrame* modalFrame = nullptr;
    ResultFrame* resultFrame = nullptr;
    WelcomeFrame* welcomeFrame = nullptr;
    SourceFrame* sourceFrame = nullptr;
    FormatsFrame* formatsFrame = nullptr;
    ScanFrame* scanFrame = nullptr;

    bool closing_ = false; ///< The user has agreed to close the window.
};
