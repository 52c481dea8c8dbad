#include "cli/Recovery.h"

#include "cli/Interruption.h"
#include "cli/counted.h"
#include "cli/recoveryTree.h"
#include "model/texts.h"

#include <QFileInfo>

using Problem = RecoveryWorker::Problem;

Recovery::Recovery(Source& source, kova::ZFileTree& tree, const OutputDirectory& output,
                   RecoveryWorker::ExistingFile existing, bool keepTimes)
    : source_(source), tree_(tree), output_(output),
      unreadableBefore_(source.media().unreadableSectors()) {
    worker_.setExistingFile(existing);
    worker_.setKeepTimes(keepTimes);
    QObject::connect(&worker_, &RecoveryWorker::fileFailed,
                     [this](const QString& path, Problem problem, const QString& detail) {
                         onFileFailed(path, problem, detail);
                     });
    QObject::connect(&worker_, &RecoveryWorker::fileFinished,
                     [this](const QString& path, bool extracted, uint processed, uint total) {
                         total_ = total;
                         onFileFinished(path, extracted, processed);
                     });
    QObject::connect(&worker_, &RecoveryWorker::finished, [this](uint total, uint processed) {
        total_ = total;
        processed_ = processed;
    });
    source_.media().setReadHook([this] { onRead(); });
}

Recovery::~Recovery() {
    source_.media().setReadHook({});
}

void Recovery::run() {
    worker_.init(output_.path(), &source_.volume(), &tree_, {kOutputRoot});
    worker_.start();
    progress_.clear();
}

/// Comes often, also within one large file.
void Recovery::onRead() {
    if (Interruption::requested())
        endWith(End::Stopped);
    else if (source_.isGone())
        endWith(End::SourceGone);
    if (end_ != End::Done)
        throw Interruption::Stop(); // Out of a file that may be long; the worker catches it.
    showProgress();
}

void Recovery::onFileFinished(const QString& path, bool extracted, uint processed) {
    processed_ = processed;
    recovered_ += extracted ? 1 : 0;
    lastName_ = path.mid(path.lastIndexOf(u'/') + 1);
    unreadableBefore_ = source_.media().unreadableSectors();
    if (Interruption::requested())
        endWith(End::Stopped);
    showProgress();
}

void Recovery::onFileFailed(const QString& path, Problem problem, const QString& detail) {
    failures_.push_back({path, reasonFor(path, problem, detail)});
    if (problem == Problem::Unreadable) {
        if (source_.isGone())
            endWith(End::SourceGone);
        return;
    }
    endDetail_ = detail;
    if (problem == Problem::OutputFull)
        endWith(End::OutputFull);
    else if (!output_.isWritable(endDetail_))
        endWith(End::OutputUnwritable);
}

void Recovery::endWith(End end) {
    if (end_ == End::Done)
        end_ = end;
    worker_.interrupt();
}

void Recovery::showProgress() {
    if (!progress_.isDue())
        return;
    const QString total = total_ == 0 ? QString() : QStringLiteral(" of %1").arg(total_);
    progress_.show(QStringLiteral("Recovering: %1%2, %3  %4")
                       .arg(QString::number(processed_), total, progress_.elapsed(), lastName_));
}

QString Recovery::reasonFor(const QString& path, Problem problem, const QString& detail) const {
    const QString words = detail.isEmpty() ? QString() : QStringLiteral(": ") + detail;
    switch (problem) {
    case Problem::CannotCreate:
        return QStringLiteral("cannot be created") + words;
    case Problem::CannotWrite:
        return QStringLiteral("cannot be written") + words;
    case Problem::OutputFull:
        return QStringLiteral("is not complete, as the output drive is full");
    case Problem::Unreadable:
        break;
    }
    const kova::uint64 sectors = source_.media().unreadableSectors() - unreadableBefore_;
    if (sectors > 0)
        return QStringLiteral("recovered with %1, filled with zeros%2")
            .arg(counted(static_cast<kova::int64>(sectors), "unreadable sector"), words);
    if (QFileInfo(path).size() == 0)
        return QStringLiteral(
            "cannot be read: the file system had compressed it, or what described "
            "it is damaged");
    return QStringLiteral("the drive does not hold all of it any more; what is left was written");
}

QString Recovery::endText() const {
    switch (end_) {
    case End::Done:
        break;
    case End::Stopped:
        return QStringLiteral("stopped");
    case End::SourceGone:
        return QStringLiteral("the drive was removed, so the recovery ended early");
    case End::OutputFull:
        return QStringLiteral("the output drive is full, so the recovery ended early; make room, "
                              "or recover the rest to another drive");
    case End::OutputUnwritable:
        return QStringLiteral("the output directory \"%1\" cannot be written any more (%2), so the "
                              "recovery ended early")
            .arg(output_.path(), endDetail_);
    }
    return {};
}

void Recovery::report(Output& output) const {
    const uint failed = processed_ - recovered_;
    output.print(QStringLiteral("Recovered %1 to \"%2\"; %3 failed.")
                     .arg(counted(recovered_, "file"), output_.path(), QString::number(failed)));
    if (!failures_.empty())
        output.print(QStringLiteral("Failed:"));
    for (const Failure& failure : failures_)
        output.print(QStringLiteral("  %1: %2").arg(failure.path, failure.reason));
    if (const uint left = total_ - processed_; left > 0)
        output.print(end_ == End::Done
                         ? QStringLiteral("%1 left out with the folders that could not be created.")
                               .arg(counted(left, "file"))
                         : QStringLiteral("%1 not recovered yet.").arg(counted(left, "file")));
    output.flush();
    if (end_ != End::Done)
        printError(endText());
}

ExitCode Recovery::exitCode() const {
    switch (end_) {
    case End::Done:
    case End::SourceGone:
        break;
    case End::Stopped:
        return ExitCode::Stopped;
    case End::OutputFull:
    case End::OutputUnwritable:
        return ExitCode::OutputRefused;
    }
    const bool all = failures_.empty() && recovered_ == total_;
    return all ? ExitCode::Done : ExitCode::SomeFailed;
}
