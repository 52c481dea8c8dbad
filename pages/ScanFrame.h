#pragma once

#include <QSet>
#include <QString>
#include <QWidget>

#include <memory>

namespace Ui {
class ScanFrame;
}

namespace kova {
class ZFileTree;
class ZVolume;
} // namespace kova

/// The page that scans a drive and shows how far it is.
///
/// The scan runs inside `startScan`, on the GUI thread; events are processed all along, so `stop`
/// can be called and the window answers.
class ScanFrame : public QWidget {
    Q_OBJECT

public:
    explicit ScanFrame(QWidget* parent = nullptr);
    ScanFrame(const ScanFrame&) = delete;
    ScanFrame& operator=(const ScanFrame&) = delete;
    ~ScanFrame() override;

    /// Why the last scan could not start, in words for people; empty when it could. Holds when
    /// `finished` is emitted; a damaged drive has a reason and a volume.
    [[nodiscard]] QString failureReason() const { return reason_; }

public slots:
    /// Scans the drive with this letter; returns after `finished`. Ignored while a scan runs.
    void startScan(char volumeLetter);

    /// Ends the running scan soon. It still emits `finished`.
    void stop();

    /// What the next scans keep: see `ExtensionFilter`. Both sets empty: everything.
    void installFilter(QSet<QString> allowedSuffixes, QSet<QString> deniedSuffixes);

    /// Shows a progress of 0 to 1.
    void progressChanged(double value);

    void statusChanged(const QString& newStatus);

signals:
    /// Once at the end of every scan, whatever came of it. Whoever receives it owns the tree, the
    /// volume and the volume's media. The volume is null when there is none to read from.
    void finished(kova::ZVolume* volume, kova::ZFileTree* tree);

private slots:
    void incrementProgress();

private:
    std::unique_ptr<Ui::ScanFrame> ui;
    bool stopRequested = false;
    QSet<QString> allowed;
    QSet<QString> denied;
    bool isRunning_ = false;
    QString reason_;
};
