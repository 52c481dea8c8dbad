#include "pages/ScanFrame.h"

#include "model/ExtensionFilter.h"
#include "model/texts.h"
#include "workers/ScanSession.h"

#include "ui_ScanFrame.h"

#include <QCoreApplication>
#include <QThread>

#include <chrono>
#include <cmath>
#include <utility>

namespace {

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
    const QString words = displayName(toQString(session.errorText()));
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

} // namespace

ScanFrame::ScanFrame(QWidget* parent) : QWidget(parent), ui(std::make_unique<Ui::ScanFrame>()) {
    ui->setupUi(this);
}

ScanFrame::~ScanFrame() = default;

void ScanFrame::startScan(char volumeLetter) {
    if (std::exchange(isRunning_, true))
        return;
    stopRequested = false;
    EventPump pump;
    ScanSession session(kova::ScanOptions::today(), [&](double value) {
        progressChanged(value);
        pump.run();
        return !stopRequested;
    });
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
    if (session.hasScanned() && session.end() != ScanSession::End::BrokenOff)
        progressChanged(1.0);
    reason_ = reasonFor(volumeLetter, session);
    const QString status = session.volume() == nullptr ? reason_ : QStringLiteral("Completed");
    statusChanged(stopRequested ? QStringLiteral("Cancelled") : status);
    isRunning_ = false;
    const auto [volume, tree] = session.take().release();
    emit finished(volume, tree);
}

void ScanFrame::stop() {
    stopRequested = true;
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
