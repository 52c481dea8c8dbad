#include "cli/Source.h"

#include "cli/CommandError.h"
#include "cli/Interruption.h"
#include "cli/Output.h"
#include "cli/Progress.h"
#include "engine/openVolume.h"
#include "model/texts.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <utility>

namespace {

using platform::Drive;

const QString kPartition = QStringLiteral("partition");
const QString kClassic = QStringLiteral("classic");

const QString kRights =
    QStringLiteral("Reading a drive below its file system needs administrator rights:\n"
                   "run the command with \"sudo\", or on Windows in a terminal that was opened "
                   "\"as administrator\".");

CommandError refused(const QString& message) {
    return {ExitCode::SourceRefused, message};
}

CommandError wrongUsage(const QString& message) {
    return {ExitCode::WrongUsage, message};
}

/// The letter in "D", "d" or "D:".
std::optional<char> letterIn(const QString& name) {
    if (name.size() != 1 && !(name.size() == 2 && name[1] == u':'))
        return std::nullopt;
    const char letter = name[0].toUpper().toLatin1();
    return letter >= 'A' && letter <= 'Z' ? std::optional(letter) : std::nullopt;
}

QString partitionList(const std::vector<Drive>& drives) {
    QString list;
    for (const Drive& drive : drives)
        list += QStringLiteral("\n  %1  %2  %3  %4")
                    .arg(drive.partition, 3)
                    .arg(QString::fromStdString(drive.fileSystem), -5)
                    .arg(formatSize(static_cast<kova::int64>(drive.sizeBytes)), 10)
                    .arg(toQString(drive.volumeName));
    return list;
}

Drive pickPartition(const QString& name, const std::vector<Drive>& drives,
                    std::optional<int> partition) {
    if (!partition && drives.size() == 1)
        return drives.front();
    if (!partition)
        throw wrongUsage(QStringLiteral("\"%1\" holds several volumes; choose one by its number "
                                        "with --partition N:%2")
                             .arg(name, partitionList(drives)));
    const auto found = std::find_if(drives.begin(), drives.end(), [&](const Drive& drive) {
        return drive.partition == *partition;
    });
    if (found != drives.end())
        return *found;
    if (drives.front().partition == 0)
        throw wrongUsage(
            QStringLiteral("\"%1\" has no partitions; leave --partition out").arg(name));
    throw wrongUsage(QStringLiteral("\"%1\" has no NTFS or FAT partition %2. It has:%3")
                         .arg(name, QString::number(*partition), partitionList(drives)));
}

Drive findSource(const QString& name, std::optional<int> partition) {
    std::optional<char> letter = letterIn(name);
    const bool byLetter = letter.has_value();
    if (!letter)
        letter = platform::letterOfDevice(toWide(name));
    if (letter) {
        if (partition)
            throw wrongUsage(QStringLiteral("--partition is for image files; \"%1\" is a drive, "
                                            "name the partition's own device")
                                 .arg(name));
        const std::optional<Drive> drive = platform::findDrive(*letter);
        if (drive)
            return *drive;
        throw refused(byLetter
                          ? QStringLiteral("there is no drive %1; \"orvane-cli drives\" lists "
                                           "them")
                                .arg(QLatin1Char(*letter))
                          : QStringLiteral("\"%1\" cannot be read; is a medium in it?").arg(name));
    }
    const platform::AttachResult attached = platform::attachImage(toWide(name));
    if (attached.drives.empty())
        throw refused(QStringLiteral("\"%1\" cannot be opened: %2%3")
                          .arg(name, toQString(attached.error),
                               attached.accessDenied
                                   ? QStringLiteral("\nYou may not read this file; ask for the "
                                                    "right to, or run the command with \"sudo\".")
                                   : QString()));
    return pickPartition(name, attached.drives, partition);
}

/// Why a volume that could be opened is none that can be searched.
QString unknownFileSystem(const QString& name, const Drive& drive) {
    const QString known = QStringLiteral("Orvane reads NTFS and FAT (FAT12, FAT16, FAT32).");
    if (!drive.fileSystem.empty())
        return QStringLiteral("\"%1\" holds %2, which Orvane cannot read yet. %3")
            .arg(name, QString::fromStdString(drive.fileSystem), known);
    QString message = QStringLiteral("\"%1\" is neither NTFS nor FAT. %2").arg(name, known);
    if (!drive.isImage)
        message += QStringLiteral("\nIf it is a whole disk, name one of its partitions; "
                                  "\"orvane-cli drives\" lists them.");
    return message;
}

std::optional<int> partitionIn(const QCommandLineParser& parser) {
    if (!parser.isSet(kPartition))
        return std::nullopt;
    bool isNumber = false;
    const int partition = parser.value(kPartition).toInt(&isNumber);
    if (!isNumber || partition < 1)
        throw wrongUsage(QStringLiteral("--partition: \"%1\" is not the number of a partition")
                             .arg(parser.value(kPartition)));
    return partition;
}

/// Lets a scan be watched as long as it lives.
class Watched {
public:
    Watched(kova::ZCustomMedia& media, kova::ZVolume& volume, std::function<void()> onRead,
            std::function<bool(double)> onProgress)
        : media_(media), volume_(volume) {
        media_.setReadHook(std::move(onRead));
        volume_.setProgressCallback(std::move(onProgress));
    }

    Watched(const Watched&) = delete;
    Watched& operator=(const Watched&) = delete;

    ~Watched() {
        media_.setReadHook({});
        volume_.setProgressCallback({});
    }

private:
    kova::ZCustomMedia& media_;
    kova::ZVolume& volume_;
};

} // namespace

void Source::addOptions(QCommandLineParser& parser) {
    parser.addOptions({
        {kPartition, QStringLiteral("The partition of an image that holds several."),
         QStringLiteral("N")},
        {kClassic, QStringLiteral("Leave out what only newer systems and devices write: files "
                                  "without a Windows short name, files without dates.")},
    });
}

Source::Source(const QCommandLineParser& parser)
    : name_(parser.positionalArguments().constFirst()),
      options_(parser.isSet(kClassic) ? kova::ScanOptions() : kova::ScanOptions::today()),
      drive_(findSource(name_, partitionIn(parser))) {
    open();
}

QString Source::imagePath() const {
    return drive_.isImage ? toQString(drive_.device) : QString();
}

void Source::open() {
    if (!media_.openDrive(drive_.letter)) {
        if (media_.error() == platform::Error::AccessDenied)
            throw refused(QStringLiteral("\"%1\" cannot be opened: %2\n%3")
                              .arg(name_, toQString(media_.errorText()), kRights));
        const QString reason = media_.error() == platform::Error::None
                                   ? QStringLiteral("it does not tell the size of its sectors")
                                   : toQString(media_.errorText());
        throw refused(QStringLiteral("\"%1\" cannot be opened: %2").arg(name_, reason));
    }
    volume_.reset(kova::openVolume(&media_));
    if (!volume_)
        throw refused(unknownFileSystem(name_, drive_));
}

void Source::initialise() {
    volume_->setScanOptions(options_);
    try {
        volume_->init();
    } catch (const Interruption::Stop&) {
        throw;
    } catch (...) {
        // What the engine throws does not tell; the media may.
        Interruption::throwIfRequested();
        if (media_.unreadableSectors() > 0)
            throw refused(QStringLiteral("\"%1\" cannot be read: %2")
                              .arg(name_, toQString(media_.errorText())));
        throw refused(QStringLiteral("\"%1\" is damaged: it says that it is %2, but its boot "
                                     "sector or its file table cannot be used")
                          .arg(name_, QString::fromStdString(drive_.fileSystem)));
    }
}

void Source::scan(kova::ZFileTree& tree) {
    try {
        watchedScan(tree);
    } catch (const Interruption::Stop&) {
        throw CommandError{ExitCode::Stopped,
                           QStringLiteral("stopped during the scan; %1 files and folders had been "
                                          "found, nothing has been written")
                               .arg(tree.allNodes().size())};
    }
    warnOfGaps();
}

void Source::watchedScan(kova::ZFileTree& tree) {
    Progress progress;
    double done = 0.0;
    // Below the first percent an engine has only begun, or does not know how much there is.
    constexpr double kKnown = 0.011;
    const auto report = [&] {
        Interruption::throwIfRequested();
        if (!progress.isDue())
            return;
        const QString percent =
            done < kKnown ? QString() : QStringLiteral(" %1 %,").arg(static_cast<int>(done * 100));
        progress.show(
            QStringLiteral("Scanning %1:%2 %3 found, %4")
                .arg(name_, percent, QString::number(tree.allNodes().size()), progress.elapsed()));
    };
    {
        // One engine reports while it works, the other does not; each reads all the time.
        const Watched watched(media_, *volume_, report, [&](double value) {
            done = value;
            report();
            return true;
        });
        initialise();
        volume_->scan(&tree);
    }
    Interruption::throwIfRequested(); // An engine may catch what a read throws.
}

void Source::warnOfGaps() const {
    if (isGone())
        printError(QStringLiteral("\"%1\" was removed during the scan; what is found is not all "
                                  "there is")
                       .arg(name_));
    else if (media_.unreadableSectors() > 0)
        printError(QStringLiteral("%1 sectors of \"%2\" could not be read during the scan (%3); "
                                  "some files may be missing")
                       .arg(media_.unreadableSectors())
                       .arg(name_, toQString(media_.errorText())));
}

bool Source::isGone() const {
    return media_.error() == platform::Error::DeviceGone;
}
