#pragma once

#include <QFrame>
#include <QSize>

#include <memory>

namespace Ui {
class ModalFrame;
}

/// Shows a widget as a panel in the middle of a window, above an overlay that darkens it and takes
/// its clicks, while what the window normally shows is disabled. Frame and overlay are children of
/// the window.
///
/// The frame goes when its close cross, the overlay or Escape is pressed, each only while closing
/// is allowed, and when its content is deleted; then the window is as it was. Content that has a
/// signal `modalAllowClose(bool)` decides by it whether closing is allowed.
class ModalFrame : public QFrame {
    Q_OBJECT

public:
    /// Takes over `content`. `blocked` is disabled until the frame goes; it and `parent`, the
    /// window, must outlive the frame.
    ModalFrame(QWidget* content, QWidget* blocked, QWidget* parent);
    ModalFrame(const ModalFrame&) = delete;
    ModalFrame& operator=(const ModalFrame&) = delete;
    ~ModalFrame() override;

signals:
    void unblock(bool val);

public slots:
    /// Covers a window that is now `parentSize` and moves to its middle.
    void updatePosition(QSize parentSize);

    /// Closing is allowed exactly while the close cross is visible.
    void setAllowClose(bool allow);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    [[nodiscard]] bool allowsClose() const;
    void followContent(const QWidget& content);
    void takeFocus(const QWidget& content);

    std::unique_ptr<Ui::ModalFrame> ui;
    QWidget* overlay = nullptr;
    QWidget* blockedWidget = nullptr;
};
