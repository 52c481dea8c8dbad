#include "pages/RecoveryWidget.h"

#include "model/texts.h"
#include "ui_RecoveryWidget.h"

#include <QDir>
#include <QEvent>
#include <QLayout>
#include <QTextCursor>

#include <chrono>
#include <cmath>
#include <utility>

using Problem = RecoveryWorker::Problem;

namespace {

constexpr std::chrono::milliseconds kRefreshInterval{50};

/// Failures that are named; more are only counted. A drive that goes away can fail every file.
constexpr uint kMostNamed = 10'000;

} // namespace

RecoveryWidget::RecoveryWidget(QWidget* parent)
    : QWidget(parent), ui(std::make_unique<Ui::RecoveryWidget>()) {
    ui->setupUi(this);
    setFocusPolicy(Qt::StrongFocus);
    ui->progress->setValue(0);
    refreshTimer_.setSingleShot(true);
    refreshTimer_.setInterval(kRefreshInterval);
    connect(ui->btnCancel, &QPushButton::clicked, this, &RecoveryWidget::cancel);
    connect(ui->btnCancel, &QPushButton::clicked, this, &RecoveryWidget::onCancelClicked);
    connect(&refreshTimer_, &QTimer::timeout, this, &RecoveryWidget::refresh);
}

RecoveryWidget::~RecoveryWidget() = default;

void RecoveryWidget::setOutputDirectory(const QString& directory) {
    outputDirectory_ = directory;
}

void RecoveryWidget::setEndReason(const QString& reason) {
    endReason_ = reason;
}

void RecoveryWidget::progressChanged(double value) {
    if (ui->progress->value() == 0)
        emit modalAllowClose(false);
    reachedEnd_ = reachedEnd_ || value >= 1.0;
    const int target = static_cast<int>(std::ceil(ui->progress->maximum() * value));
    for (int step = ui->progress->value(); step <= target; ++step)
        QTimer::singleShot(0, this, &RecoveryWidget::incrementProgress);
}

void RecoveryWidget::incrementProgress() {
    ui->progress->setValue(ui->progress->value() + 1);
    if (ui->progress->value() < ui->progress->maximum())
        return;
    if (ui->btnCancel->hasFocus())
        setFocus();
    ui->stackResult->setCurrentIndex(1);
    emit modalAllowClose(true);
}

void RecoveryWidget::statusChanged(const QString& newStatus) {
    // A request that comes when all is done is still answered, but nothing is being cancelled.
    if (!finished_)
        ui->lblSubtitle->setText(newStatus);
}

void RecoveryWidget::finished(uint totalFiles, uint recoveredFiles) {
    const QString word = totalFiles == 1 ? tr("file was") : tr("files were");
    const QString text = totalFiles == recoveredFiles || totalFiles == 1
                             ? tr("%1 %2 successfully recovered").arg(recoveredFiles).arg(word)
                             : tr("%1 out of %2 %3 successfully recovered")
                                   .arg(recoveredFiles)
                                   .arg(totalFiles)
                                   .arg(word);
    ui->lblResult->setText(text);

    finished_ = true;
    count_.clear();
    if (!endReason_.isEmpty())
        line_ = endReason_;
    else if (!reachedEnd_)
        line_ = tr("Stopped");
    else
        line_ =
            totalFiles == 0
                ? QString()
                : tr("Saved in %1").arg(displayName(QDir::toNativeSeparators(outputDirectory_)));
    if (!reachedEnd_)
        count_ = tr("%1 of %2").arg(recoveredFiles).arg(totalFiles);
    if (failed_ > kMostNamed)
        newFailures_.append(tr("... and %1 more").arg(failed_ - kMostNamed));
    refresh();
}

void RecoveryWidget::fileStarted(const QString& path, uint number, uint totalFiles) {
    count_ = tr("%1 of %2").arg(number).arg(totalFiles);
    if (!cancelled_)
        line_ = shownPath(path);
    scheduleRefresh();
}

void RecoveryWidget::fileFailed(const QString& path, Problem problem, const QString& detail) {
    ++failed_;
    scheduleRefresh();
    if (failed_ > kMostNamed)
        return;
    QString reason;
    switch (problem) {
    case Problem::Unreadable:
        reason = detail.isEmpty()
                     ? tr("cannot be read in full: compressed, damaged or gone in part")
                     : tr("could not be read in full");
        break;
    case Problem::CannotCreate:
        reason = tr("could not be created");
        break;
    case Problem::CannotWrite:
        reason = tr("could not be written");
        break;
    case Problem::OutputFull:
        reason = tr("no room left for it");
        break;
    }
    if (!detail.isEmpty())
        reason += QStringLiteral(" (%1)").arg(detail);
    newFailures_.append(QStringLiteral("%1: %2").arg(shownPath(path), reason));
}

QString RecoveryWidget::shownPath(const QString& path) const {
    const QString above = outputDirectory_ + QLatin1Char('/');
    return displayName(path.startsWith(above) ? path.mid(above.size()) : path);
}

void RecoveryWidget::onCancelClicked() {
    if (finished_) {
        if (!reachedEnd_)
            deleteLater();
        return;
    }
    if (cancelled_)
        emit cancelAtOnce();
    cancelled_ = true;
    line_ = tr("Cancel again to stop at once");
    refresh();
}

void RecoveryWidget::scheduleRefresh() {
    if (!refreshTimer_.isActive())
        refreshTimer_.start();
}

void RecoveryWidget::refresh() {
    refreshTimer_.stop();
    ui->lblFile->setText(line_);
    ui->lblCount->setText(count_);
    if (failed_ == 0)
        return;
    ui->lblFailed->setText(tr("Missing or incomplete: %1").arg(failed_));
    // Not by the view's own cursor, which would take the view along.
    QTextCursor end(ui->txtFailed->document());
    end.beginEditBlock();
    for (const QString& failure : std::as_const(newFailures_)) {
        end.movePosition(QTextCursor::End);
        if (!end.atStart())
            end.insertBlock();
        end.insertText(failure);
    }
    end.endEditBlock();
    newFailures_.clear();
    ui->lblFailed->show();
    ui->txtFailed->show();
}

bool RecoveryWidget::event(QEvent* event) {
    const bool handled = QWidget::event(event);
    if (event->type() == QEvent::LayoutRequest)
        growFrame();
    return handled;
}

/// The frame around the page fits itself to it only once, when it takes it. Grows it about its
/// centre when the page has come to need more.
void RecoveryWidget::growFrame() {
    QWidget* frame = parentWidget();
    if (frame == nullptr || frame->layout() == nullptr)
        return;
    frame->layout()->activate();
    const QSize needed = frame->sizeHint().expandedTo(frame->size());
    if (needed == frame->size())
        return;
    QRect geometry({}, needed);
    geometry.moveCenter(frame->geometry().center());
    frame->setGeometry(geometry);
}

void RecoveryWidget::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    ui->btnCancel->setFocus();
}
