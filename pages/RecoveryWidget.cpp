#include "pages/RecoveryWidget.h"

#include "model/counted.h"
#include "model/texts.h"
#include "ui_RecoveryWidget.h"
#include "workers/recoveryTexts.h"
#include "workers/stateTexts.h"

#include <QDir>
#include <QEvent>
#include <QLayout>
#include <QTextCursor>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iterator>
#include <utility>

using End = RecoveryOutcome::End;

namespace {

constexpr std::chrono::milliseconds kRefreshInterval{50};

/// Files of each kind that are named; more are only counted. A drive that goes away can fail every
/// file.
constexpr int kMostNamed = 10'000;

} // namespace

RecoveryWidget::RecoveryWidget(QWidget* parent)
    : QWidget(parent), ui(std::make_unique<Ui::RecoveryWidget>()) {
    ui->setupUi(this);
    setFocusPolicy(Qt::StrongFocus);
    ui->progress->setValue(0);
    ui->lblResult->clear();
    missing_.heading = tr("Missing or incomplete:");
    overwritten_.heading = tr("Overwritten in part:");
    encrypted_.heading = tr("Encrypted:");
    doubtful_.heading = tr("Complete, but doubtful:");
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

void RecoveryWidget::setOutcome(const RecoveryOutcome& outcome) {
    outcome_ = outcome;
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
    RecoveryOutcome outcome = outcome_.value_or(RecoveryOutcome());
    if (!outcome_) {
        outcome.files = totalFiles;
        outcome.complete = recoveredFiles;
    }
    // The worker's number has the files in it that were attempted in vain.
    const uint recovered = outcome.complete;
    const QString word = totalFiles == 1 ? tr("file was") : tr("files were");
    const QString text =
        totalFiles == recovered || totalFiles == 1
            ? tr("%1 %2 successfully recovered").arg(recovered).arg(word)
            : tr("%1 out of %2 %3 successfully recovered").arg(recovered).arg(totalFiles).arg(word);
    ui->lblResult->setText(text);
    finished_ = true;
    if (outcome.end != End::Done && outcome.end != End::Stopped)
        ui->lblSubtitle->setText(tr("Not completed"));
    if (!reachedEnd_)
        ui->btnCancel->setText(tr("Close"));
    showOutcome(outcome);
}

/// Says beside that line why the recovery ended, where the files are, and what else to know.
void RecoveryWidget::showOutcome(const RecoveryOutcome& outcome) {
    const QString directory = displayName(QDir::toNativeSeparators(outputDirectory_));
    const QString saved =
        outcome.complete == 0 || outcome.outputIsGone
            ? QString()
            : tr("%1 saved in %2").arg(counted(outcome.complete, "complete file"), directory);
    QStringList notes;
    count_.clear();
    if (outcome.end == End::Done && reachedEnd_) {
        line_ =
            saved.isEmpty() && outcome.files > 0 ? tr("No complete file could be saved") : saved;
    } else {
        const QString reason = reasonForEnd(outcome);
        line_ = (outcome.outputIsGone ? tr("%1 written, %2 not recovered")
                                      : tr("%1 complete, %2 not recovered"))
                    .arg(outcome.complete)
                    .arg(outcome.files - outcome.complete);
        notes += reason.isEmpty() ? tr("Stopped.") : sentence(reason);
        if (!saved.isEmpty())
            notes += sentence(saved);
    }
    if (outcome.gaveWay > 0)
        notes += tr("%1 there already; the recovered ones got a number in their names.")
                     .arg(outcome.gaveWay == 1 ? tr("1 file was")
                                               : tr("%1 files were").arg(outcome.gaveWay));
    for (const QString& path : outcome.inDoubt) {
        ++missing_.count;
        if (missing_.lines.size() < kMostNamed)
            missing_.lines.append(tr("%1: may not have arrived").arg(shownPath(path)));
    }
    if (outcome.end != End::Stopped) // Who has stopped it knows of those that it did not come to.
        missing_.count = outcome.files - outcome.complete - overwritten_.count;
    ui->lblNotes->setText(notes.join(QLatin1Char('\n')));
    ui->lblNotes->setVisible(!notes.isEmpty());
    refresh();
    showRemarks();
}

/// Lists the kinds apart, each below its heading, where there are several or a list alone would
/// look like one of failures.
void RecoveryWidget::showRemarks() {
    const Remarks* const all[] = {&missing_, &overwritten_, &encrypted_, &doubtful_};
    const auto kindsThere =
        std::count_if(std::begin(all), std::end(all),
                      [](const Remarks* remarks) { return !remarks->lines.isEmpty(); });
    QStringList kinds;
    for (const Remarks* remarks : all) {
        if (remarks->lines.isEmpty())
            continue;
        QStringList lines = remarks->lines;
        const auto named = static_cast<uint>(lines.size());
        if (kindsThere > 1 || remarks == &doubtful_)
            lines.prepend(remarks->heading);
        if (remarks->count > named)
            lines.append(tr("... and %1 more").arg(remarks->count - named));
        kinds.append(lines.join(QLatin1Char('\n')));
    }
    if (kinds.isEmpty())
        return;
    newLines_.clear();
    ui->txtFailed->show();
    ui->txtFailed->setPlainText(kinds.join(QStringLiteral("\n\n")));
}

void RecoveryWidget::fileStarted(const QString& path, uint number, uint totalFiles) {
    count_ = tr("%1 of %2").arg(number).arg(totalFiles);
    if (!cancelled_)
        line_ = shownPath(path);
    scheduleRefresh();
}

void RecoveryWidget::fileReported(const RecoveredFile& file) {
    QString remark = remarkOn(file);
    const bool isDoubtful = remark.isEmpty();
    if (isDoubtful)
        remark = doubtAbout(file.state);
    if (remark.isEmpty())
        return;
    Remarks& remarks = isDoubtful ? doubtful_ : remarksFor(file);
    remarks.count += file.isFolder ? 0 : 1;
    scheduleRefresh();
    if (remarks.lines.size() >= kMostNamed)
        return;
    remarks.lines.append(QStringLiteral("%1: %2").arg(shownPath(file.path), remark));
    if (!isDoubtful) // These come at the end.
        newLines_.append(remarks.lines.constLast());
}

RecoveryWidget::Remarks& RecoveryWidget::remarksFor(const RecoveredFile& file) {
    if (file.problem || file.isErased())
        return missing_;
    return file.isComplete() ? encrypted_ : overwritten_;
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
    const uint lost = missing_.count + overwritten_.count;
    ui->lblFailed->setText(tr("%1 missing or incomplete").arg(lost));
    ui->lblFailed->setVisible(lost > 0);
    if (newLines_.isEmpty())
        return;
    // Not by the view's own cursor, which would take the view along.
    QTextCursor end(ui->txtFailed->document());
    end.beginEditBlock();
    for (const QString& line : std::as_const(newLines_)) {
        end.movePosition(QTextCursor::End);
        if (!end.atStart())
            end.insertBlock();
        end.insertText(line);
    }
    end.endEditBlock();
    newLines_.clear();
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
