#include "pages/ScanFrame.h"

#include "engine/ZCustomMedia.h"
#include "engine/ZFileTree.h"
#include "engine/ZVolume.h"
#include "engine/openVolume.h"
#include "model/ExtensionFilter.h"
#include "model/texts.h"
#include "platform/Drives.h"

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

/// Thrown out of a read once the user has asked to stop.
struct Stopped {};

QString isGone(char letter) {
    return ScanFrame::tr("Drive %1: is not there any more.").arg(QLatin1Char(letter));
}

QString cannotBeRead(char letter, const kova::ZCustomMedia& media) {
    return ScanFrame::tr("Drive %1: cannot be read: %2")
        .arg(QString(QLatin1Char(letter)), displayName(toQString(media.errorText())));
}

/// Why a drive could not be opened.
QString whyNotOpened(char letter, const kova::ZCustomMedia& media) {
    switch (media.error()) {
    case platform::Error::AccessDenied:
        return ScanFrame::tr("You do not have the rights to read drive %1: below its file system. "
                             "Please start Orvane as an administrator.")
            .arg(QLatin1Char(letter));
    case platform::Error::NotFound:
    case platform::Error::DeviceGone:
        return isGone(letter);
    case platform::Error::None:
        // Nothing was opened: the drive could not be asked for the size of its sectors.
        if (platform::findDrive(letter))
            return ScanFrame::tr(
                       "Drive %1: cannot be read: it does not tell the size of its sectors.")
                .arg(QLatin1Char(letter));
        return isGone(letter);
    default:
        return cannotBeRead(letter, media);
    }
}

/// Why there is no engine for a drive that could be opened.
QString whyNotSupported(char letter) {
    const std::optional<platform::Drive> drive = platform::findDrive(letter);
    if (!drive)
        return isGone(letter);
    const QString reads = ScanFrame::tr("Orvane reads NTFS and FAT (FAT12, FAT16, FAT32).");
    if (drive->fileSystem.empty())
        return ScanFrame::tr("Drive %1: holds no file system that Orvane knows. %2")
            .arg(QString(QLatin1Char(letter)), reads);
    return ScanFrame::tr("Drive %1: holds %2, which Orvane cannot read. %3")
        .arg(QString(QLatin1Char(letter)), displayName(QString::fromStdString(drive->fileSystem)),
             reads);
}

/// Why an engine could not make use of the drive it was chosen for.
QString whyNotUsable(char letter, const kova::ZCustomMedia& media) {
    if (media.error() == platform::Error::DeviceGone)
        return isGone(letter);
    if (media.unreadableSectors() > 0)
        return cannotBeRead(letter, media);
    return ScanFrame::tr("Drive %1: is damaged: what describes its file system cannot be used.")
        .arg(QLatin1Char(letter));
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
    reason_.clear();
    auto tree = std::make_unique<kova::ZFileTree>();
    auto media = std::make_unique<kova::ZCustomMedia>();
    std::unique_ptr<kova::ZVolume> volume;
    QString status = QStringLiteral("Completed");
    EventPump pump;
    // The FAT engine says nothing while it walks, and a boot record may take its time: there the
    // reads keep the window alive. That engine does not stop by itself either. A stop is asked
    // for when the window closes, and nobody wants to wait for the rest of a drive then, so the
    // read throws: what has been found so far is handed over.
    const auto onRead = [&] {
        pump.run();
        if (stopRequested)
            throw Stopped{};
    };
    try {
        progressChanged(0.0);
        statusChanged(QStringLiteral("Preparing"));
        media->setReadHook(onRead);
        onRead(); // Shows the page before a sleeping drive has to wake up.
        prepare(volumeLetter, *media, volume);
        volume->setProgressCallback([&](double value) {
            progressChanged(value);
            pump.run();
            return !stopRequested;
        });
        if (!allowed.isEmpty() || !denied.isEmpty())
            tree->filter = [filter = ExtensionFilter(allowed, denied)](
                               const kova::ZFileTreeNode& node) { return filter.accepts(node); };
        statusChanged(QStringLiteral("Scanning"));
        volume->scan(tree.get());
        progressChanged(1.0);
    } catch (const QString& reason) {
        reason_ = reason;
        status = reason;
    } catch (const Stopped&) {
        progressChanged(1.0);
    } catch (...) { // NOLINT(bugprone-empty-catch): what was found until here is handed over
    }
    media->setReadHook({});
    if (volume) {
        volume->setProgressCallback({});
        static_cast<void>(media.release()); // Goes with the volume from now on.
    }
    statusChanged(stopRequested ? QStringLiteral("Cancelled") : status);
    isRunning_ = false;
    emit finished(volume.release(), tree.release());
}

void ScanFrame::prepare(char letter, kova::ZCustomMedia& media,
                        std::unique_ptr<kova::ZVolume>& volume) {
    if (!media.openDrive(letter))
        throw whyNotOpened(letter, media);
    volume.reset(kova::openVolume(&media));
    if (!volume)
        throw whyNotSupported(letter);
    volume->setScanOptions(kova::ScanOptions::today());
    try {
        volume->init();
    } catch (const Stopped&) {
        throw;
    } catch (...) {
        reason_ = whyNotUsable(letter, media);
        throw;
    }
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
