#include "pages/ScanFrame.h"

#include "model/ExtensionFilter.h"
#include "model/texts.h"
#include "workers/ScanSession.h"
#include "workers/SearchRun.h"
#include "workers/scanTexts.h"

#include "ui_ScanFrame.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

namespace {

constexpr std::chrono::milliseconds kRefreshInterval{100};

/// Lets the window work while the scan has the thread.
///
/// An engine reports up to a million times a second, and looking for events costs as much as a
/// record does. Two milliseconds apart they cost the scan nothing, and no click waits.
class EventPump {
public:
    void run() {
        const auto now = Clock::now();
        if (now - last_ < kInterval)
            return;
        QCoreApplication::processEvents();
        QThread::yieldCurrentThread();
        last_ = Clock::now(); // An event may have taken long, as a question to the user does.
    }

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds kInterval{2};

    Clock::time_point last_{}; ///< Long ago: the first run looks for events.
};

QString isGone(char letter) {
    return ScanFrame::tr("Drive %1: is not there any more.").arg(QLatin1Char(letter));
}

QString cannotBeRead(char letter, const ScanSession& session) {
    const QString words = displayName(toQString(session.failure().words));
    return ScanFrame::tr("Drive %1: cannot be read%2. If it is failing, copy all of it to an image "
                         "file first, and let Orvane search the image.")
        .arg(QString(QLatin1Char(letter)),
             words.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(words));
}

QString isNotSupported(char letter, const ScanSession& session) {
    const QString reads = ScanFrame::tr("Orvane reads NTFS, exFAT and FAT (FAT12, FAT16, FAT32).");
    const QString fileSystem = displayName(QString::fromStdString(session.fileSystem()));
    if (fileSystem.isEmpty())
        return ScanFrame::tr("Drive %1: holds no file system that Orvane knows. %2")
            .arg(QString(QLatin1Char(letter)), reads);
    return ScanFrame::tr("Drive %1: holds %2, which Orvane cannot read. %3")
        .arg(QString(QLatin1Char(letter)), fileSystem, reads);
}

/// Why nothing could be scanned.
QString reasonFor(char letter, const ScanSession& session) {
    using End = ScanSession::End;
    switch (session.end()) {
    case End::Done:
    case End::Stopped:
    case End::Removed:
    case End::BrokenOff:
        break;
    case End::NoRights:
        return ScanFrame::tr("You do not have the rights to read drive %1: below its file system. "
                             "Please start Orvane as an administrator.")
            .arg(QLatin1Char(letter));
    case End::Gone:
        return isGone(letter);
    case End::NoSectorSize:
        return ScanFrame::tr("Drive %1: cannot be read, as it does not tell the size of its "
                             "sectors. Take it out, put it in again, and choose it once more.")
            .arg(QLatin1Char(letter));
    case End::Unreadable:
        return cannotBeRead(letter, session);
    case End::NotSupported:
        return isNotSupported(letter, session);
    case End::Damaged:
        return ScanFrame::tr("Drive %1: is damaged. What describes its file system cannot be used, "
                             "so nothing on it can be found by name. Do not format it and let no "
                             "program repair it: both write over what may still be there.")
            .arg(QLatin1Char(letter));
    }
    return {};
}

/// As the search has gone until now; empty while that tells little.
QString timeLeft(const SearchRun::Status& status) {
    constexpr double kTelling = 0.01;
    constexpr std::chrono::seconds kSettled{2};
    const auto done = static_cast<double>(status.searched - status.begunAt);
    const auto left =
        static_cast<double>(status.toSearch - std::min(status.toSearch, status.searched));
    if (done < kTelling * static_cast<double>(status.toSearch) || status.elapsed < kSettled)
        return {};
    const std::chrono::duration<double> elapsed = status.elapsed;
    return durationText(std::chrono::ceil<std::chrono::seconds>(elapsed / done * left));
}

} // namespace

ScanFrame::ScanFrame(QWidget* parent) : QWidget(parent), ui(std::make_unique<Ui::ScanFrame>()) {
    ui->setupUi(this);
    connect(ui->btnSearch, &QPushButton::clicked, this, &ScanFrame::runSearch);
    connect(ui->btnStopSearch, &QPushButton::clicked, this, [this] {
        if (search_ != nullptr)
            search_->finish();
        ui->btnStopSearch->setEnabled(false);
    });
}

ScanFrame::~ScanFrame() = default;

void ScanFrame::startScan(char volumeLetter) {
    if (std::exchange(isRunning_, true))
        return;
    stopRequested = false;
    searchDuration_.reset();
    dropOffer();
    EventPump pump;
    session_ = std::make_unique<ScanSession>(kova::ScanOptions::today(), [&](double value) {
        progressChanged(value);
        pump.run();
        return !stopRequested;
    });
    ScanSession& session = *session_;
    statusChanged(QStringLiteral("Preparing"));
    if (session.open(volumeLetter) && session.prepare()) {
        if (!allowed.isEmpty() || !denied.isEmpty())
            session.tree().filter =
                [filter = ExtensionFilter(allowed, denied)](const kova::ZFileTreeNode& node) {
                    return filter.accepts(node);
                };
        statusChanged(QStringLiteral("Scanning"));
        session.scan();
    }
    if (session.canSearch() && session.end() != ScanSession::End::Removed && !stopRequested)
        searchDuration_ = durationText(session.forecast().duration);
    if (session.hasScanned() && session.end() != ScanSession::End::BrokenOff)
        progressChanged(1.0);
    reason_ = reasonFor(volumeLetter, session);
    session.setWatcher({});
    if (session.canSearch() && !session.hasScanned() && !stopRequested) {
        offerSearch();
        return;
    }
    const QString status = session.volume() == nullptr ? reason_ : QStringLiteral("Completed");
    statusChanged(stopRequested ? QStringLiteral("Cancelled") : status);
    handOver();
}

void ScanFrame::handOver() {
    isRunning_ = false;
    const auto [volume, tree] = session_->take().release();
    session_.reset();
    emit finished(volume, tree);
}

void ScanFrame::offerSearch() {
    statusChanged(reason_);
    ui->progressBar->hide();
    QString offer = tr("All of it can be searched all the same: for what former file systems say, "
                       "and for files by their content.");
    if (searchDuration_ && !searchDuration_->isEmpty())
        offer += QLatin1Char(' ') + tr("This takes %1.").arg(*searchDuration_);
    ui->lblSearch->setText(offer);
    ui->lblSearch->show();
    ui->btnSearch->show();
    isRunning_ = false;
    emit searchOffered();
}

void ScanFrame::dropOffer() {
    session_.reset();
    ui->lblSearch->hide();
    ui->btnSearch->hide();
    ui->progressBar->show();
}

void ScanFrame::search(ScannedVolume found) {
    if (isRunning_)
        return;
    session_ = std::make_unique<ScanSession>(kova::ScanOptions::today(), std::move(found));
    runSearch();
}

void ScanFrame::runSearch() {
    if (session_ == nullptr || std::exchange(isRunning_, true))
        return;
    reason_.clear();
    searchDuration_.reset();
    stopRequested = false;
    ui->btnSearch->hide();
    ui->progressBar->show();
    ui->lblSearch->show();
    ui->btnStopSearch->setEnabled(true);
    ui->btnStopSearch->show();
    emit searchBegun();
    {
        QEventLoop loop;
        SearchRun run(*session_, {}, [&loop] {
            QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
        });
        search_ = &run;
        QTimer refresh;
        connect(&refresh, &QTimer::timeout, this, [this, &run] { showSearch(run); });
        refresh.start(kRefreshInterval);
        showSearch(run);
        loop.exec(); // Ends early when the program does.
        search_ = nullptr;
    }
    ui->btnStopSearch->hide();
    ui->lblSearch->hide();
    progressChanged(1.0);
    if (session_->canGoOnSearching())
        searchDuration_ = QString(); // For how long it has still to go on is not asked.
    const bool wasStopped = session_->end() == ScanSession::End::Stopped;
    statusChanged(wasStopped ? QStringLiteral("Cancelled") : QStringLiteral("Completed"));
    handOver();
}

void ScanFrame::showSearch(const SearchRun& run) {
    const SearchRun::Status status = run.status();
    progressChanged(status.progress);
    statusChanged(status.isReading ? tr("Searching") : tr("Putting together what was found"));
    QStringList lines;
    if (status.toSearch > 0 && status.isReading) {
        QString line = tr("%1 of %2")
                           .arg(formatSize(static_cast<kova::int64>(status.searched)),
                                formatSize(static_cast<kova::int64>(status.toSearch)));
        const QString left = timeLeft(status);
        lines += left.isEmpty() ? line : tr("%1, %2 left").arg(line, left);
    }
    QStringList kinds;
    for (const auto& [kind, count] : status.found) {
        if (count > 0)
            kinds += tr("%1: %2").arg(toQString(kind)).arg(count);
    }
    if (!kinds.isEmpty())
        lines += tr("Found so far: %1").arg(kinds.join(QStringLiteral(", ")));
    ui->lblSearch->setText(lines.join(QLatin1Char('\n')));
}

void ScanFrame::stop() {
    stopRequested = true;
    if (search_ != nullptr)
        search_->breakOff();
}

void ScanFrame::installFilter(QSet<QString> allowedSuffixes, QSet<QString> deniedSuffixes) {
    allowed = std::move(allowedSuffixes);
    denied = std::move(deniedSuffixes);
}

void ScanFrame::progressChanged(double value) {
    ui->progressBar->setValue(static_cast<int>(std::ceil(ui->progressBar->maximum() * value)));
}

void ScanFrame::statusChanged(const QString& newStatus) {
    ui->lblSubtitle->setText(newStatus);
}

void ScanFrame::incrementProgress() {
    ui->progressBar->setValue(ui->progressBar->value() + 1);
}
