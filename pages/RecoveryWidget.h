#pragma once

#include "workers/RecoveredFile.h"
#include "workers/RecoveryOutcome.h"

#include <QStringList>
#include <QTimer>
#include <QWidget>

#include <memory>
#include <optional>

namespace Ui {
class RecoveryWidget;
} // namespace Ui

/// Shows how a recovery goes on, and at its end what came of it.
///
/// The bar fills by itself on the worker's coarse reports. After a cancellation it never does, and
/// Cancel stays; it deletes the page then. Pressed a second time while the worker still writes, it
/// asks for an end in the middle of the file.
class RecoveryWidget : public QWidget {
    Q_OBJECT

public:
    explicit RecoveryWidget(QWidget* parent = nullptr);
    RecoveryWidget(const RecoveryWidget&) = delete;
    RecoveryWidget& operator=(const RecoveryWidget&) = delete;
    ~RecoveryWidget() override;

    /// Before the worker starts: paths below it are shown from there on.
    void setOutputDirectory(const QString& directory);

public slots:
    void progressChanged(double value);
    void statusChanged(const QString& newStatus);
    void finished(uint totalFiles, uint recoveredFiles);
    void incrementProgress();

    void fileStarted(const QString& path, uint number, uint totalFiles);
    void fileReported(const RecoveredFile& file);

    /// Before `finished`; without it, `finished` has to be believed.
    void setOutcome(const RecoveryOutcome& outcome);

signals:
    void cancel();
    void modalAllowClose(bool allow);
    void cancelAtOnce();

protected:
    bool event(QEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    /// Files that there is something to say about, each a line.
    struct Remarks {
        QString heading;
        QStringList lines;
        uint count = 0; ///< Of which there may be more than are named.
    };

    void onCancelClicked();
    void refresh();
    void showOutcome(const RecoveryOutcome& outcome);
    void showRemarks();
    [[nodiscard]] Remarks& remarksFor(const RecoveredFile& file);
    void scheduleRefresh();
    void growFrame();

    [[nodiscard]] QString shownPath(const QString& path) const;

    std::unique_ptr<Ui::RecoveryWidget> ui;
    QString outputDirectory_;
    std::optional<RecoveryOutcome> outcome_;

    bool cancelled_ = false;  ///< The user has asked.
    bool reachedEnd_ = false; ///< The worker has reported all of it, and the bar fills.
    bool finished_ = false;

    /// The worker may report thousands of files a second; they are shown now and then.
    QTimer refreshTimer_;
    QString line_;
    QString count_;
    Remarks missing_;
    Remarks overwritten_;
    Remarks encrypted_;
    Remarks doubtful_;     ///< Complete, as far as can be told.
    QStringList newLines_; ///< Not shown yet.
};
