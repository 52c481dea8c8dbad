#include "cli/Recovery.h"

#include "cli/CommandError.h"
#include "cli/Interruption.h"
#include "cli/reportFormats.h"
#include "model/counted.h"
#include "workers/recoveryTexts.h"
#include "workers/stateTexts.h"

using End = RecoveryOutcome::End;

namespace {

void printRemarks(Output& output, const QString& heading, const auto& remarks) {
    if (remarks.empty())
        return;
    output.print(heading);
    for (const auto& [path, text] : remarks)
        output.print(QStringLiteral("  %1: %2").arg(path, text));
}

} // namespace

Recovery::Recovery(Source& source, const RecoveryList& list, const OutputDirectory& output,
                   const Options& options)
    : source_(source), output_(output), list_(list), verifies_(options.verify) {
    worker_.setExistingFile(options.existing);
    worker_.setKeepTimes(options.keepTimes);
    worker_.setVerifying(verifies_);
    worker_.setOutputFolder(output_.folder());
    worker_.init(output_.path(), &source_.volume(), list);
    QObject::connect(&worker_, &RecoveryWorker::fileReported,
                     [this](const RecoveredFile& file) { onReported(file); });
    QObject::connect(
        &worker_, &RecoveryWorker::fileFinished,
        [this](const QString& /*path*/, bool /*complete*/, uint processed, uint total) {
            processed_ = processed;
            total_ = total;
            stopIfAsked();
            showProgress();
        });
    QObject::connect(&worker_, &RecoveryWorker::working, [this] {
        stopIfAsked();
        showProgress();
    });
    QObject::connect(&worker_, &RecoveryWorker::ended,
                     [this](const RecoveryOutcome& outcome) { outcome_ = outcome; });
    source_.media().setReadHook([this] { onRead(); });
}

Recovery::~Recovery() {
    source_.media().setReadHook({});
}

void Recovery::reportTo(ReportFile& file) {
    account_.emplace(source_, list_, output_.path());
    file.reserve(account_->forecastBytes());
    reportFile_ = &file;
    worker_.setHashing(true);
}

void Recovery::run() {
    worker_.start();
    progress_.clear();
}

/// Comes often, also within one large file.
void Recovery::onRead() {
    stopIfAsked();
    Interruption::throwIfRequested(); // Out of a file that may be long; the worker catches it.
    showProgress();
}

void Recovery::onReported(const RecoveredFile& file) {
    if (account_)
        account_->add(file);
    lastName_ = file.path.mid(file.path.lastIndexOf(u'/') + 1);
    const QString text = remarkOn(file);
    if (!text.isEmpty())
        (file.isComplete() ? remarks_ : failures_).push_back({file.path, text});
    // Most files whose place is a guess are right; there may be thousands.
    if (file.isDoubtful() && file.state.kind != kova::FileState::Kind::Uncertain)
        doubtful_.push_back({file.path, doubtAbout(file.state)});
}

void Recovery::stopIfAsked() {
    if (Interruption::requested())
        worker_.interrupt();
}

void Recovery::showProgress() {
    if (!progress_.isDue())
        return;
    const QString total = total_ == 0 ? QString() : QStringLiteral(" of %1").arg(total_);
    progress_.show(QStringLiteral("Recovering: %1%2, %3  %4")
                       .arg(QString::number(processed_), total, progress_.elapsed(), lastName_));
}

void Recovery::report(Output& output) const {
    output.print(QStringLiteral("Recovered %1 to \"%2\"; %3 failed.")
                     .arg(counted(outcome_.complete, "file"), output_.path(),
                          QString::number(outcome_.incomplete + outcome_.failed)));
    printStates(output);
    printRemarks(output, QStringLiteral("Failed:"), failures_);
    printRemarks(output, QStringLiteral("To be known:"), remarks_);
    printRemarks(output, QStringLiteral("Doubtful:"), doubtful_);
    if (const uint left = outcome_.notAttempted(); left > 0)
        output.print(outcome_.end == End::Done
                         ? QStringLiteral("%1 left out with the folders that could not be created.")
                               .arg(counted(left, "file"))
                         : QStringLiteral("%1 not recovered yet.").arg(counted(left, "file")));
    if (const uint there = outcome_.gaveWay; there > 0)
        output.print(there == 1 ? QStringLiteral("1 file was there already; the recovered one has "
                                                 "another name.")
                                : QStringLiteral("%1 files were there already; the recovered ones "
                                                 "have other names.")
                                      .arg(there));
    if (!outcome_.inDoubt.isEmpty())
        output.print(QStringLiteral("Written, but the output drive did not confirm them, so they "
                                    "may be lost:"));
    for (const QString& path : outcome_.inDoubt)
        output.print(QStringLiteral("  ") + path);
    if (!reportPath_.isEmpty())
        output.print(QStringLiteral("The report is in \"%1\".").arg(reportPath_));
    printVerification(output);
    output.flush();
    printReasonForEnd();
}

void Recovery::writeReport() {
    if (!account_)
        return;
    account_->finish(outcome_);
    try {
        ::writeReport(*account_, *reportFile_);
        reportPath_ = reportFile_->finish();
    } catch (const CommandError& error) {
        printError(error.message);
    }
}

/// Nothing while all is as it was.
void Recovery::printStates(Output& output) const {
    if (outcome_.partlyOverwritten + outcome_.erased + outcome_.doubtful == 0)
        return;
    output.print(QStringLiteral("%1 whole, %2 overwritten at least in part, %3 erased, %4 "
                                "doubtful.")
                     .arg(outcome_.complete - outcome_.doubtful)
                     .arg(outcome_.partlyOverwritten)
                     .arg(outcome_.erased)
                     .arg(outcome_.doubtful));
    if (outcome_.guessed > 0)
        output.print(QStringLiteral("Where %1 lay is a guess: look at what \"--state uncertain\" "
                                    "shows before you rely on it.")
                         .arg(counted(outcome_.guessed, "file")));
}

/// Nothing is said of what was not read back.
void Recovery::printVerification(Output& output) const {
    const uint written = outcome_.complete + outcome_.incomplete;
    if (verifies_ && written > 0)
        output.print(QStringLiteral("Verified: %1 of %2 read back as written.")
                         .arg(outcome_.verified)
                         .arg(counted(written, "file")));
}

void Recovery::printReasonForEnd() const {
    const QString early =
        outcome_.notAttempted() > 0 ? QStringLiteral(", so the recovery ended early") : QString();
    switch (outcome_.end) {
    case End::Done:
        break;
    case End::Stopped:
        printError(QStringLiteral("stopped"));
        break;
    case End::OutputFull:
        printError(reasonForEnd(outcome_) + early +
                   QStringLiteral("; make room, or recover the rest to another drive"));
        break;
    case End::SourceGone:
    case End::OutputUnwritable:
        printError(reasonForEnd(outcome_) + early);
        break;
    }
}

ExitCode Recovery::exitCode() const {
    switch (outcome_.end) {
    case End::Done:
    case End::SourceGone:
        break;
    case End::Stopped:
        return ExitCode::Stopped;
    case End::OutputFull:
    case End::OutputUnwritable:
        return ExitCode::OutputRefused;
    }
    if (account_ && reportPath_.isEmpty())
        return ExitCode::OutputRefused;
    const bool all = failures_.empty() && outcome_.complete == outcome_.files;
    return all ? ExitCode::Done : ExitCode::SomeFailed;
}
