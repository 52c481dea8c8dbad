#include "cli/Source.h"

#include "cli/CommandError.h"
#include "cli/Interruption.h"
#include "cli/Output.h"
#include "cli/Progress.h"
#include "model/texts.h"
#include "workers/scanTexts.h"

#include <algorithm>
#include <optional>

namespace {

using platform::Drive;
using End = ScanSession::End;

const QString kPartition = QStringLiteral("partition");
const QString kAllPartitions = QStringLiteral("all");
/// The number of no partition: the image from end to end.
constexpr int kWholeImage = 0;
const QString kClassic = QStringLiteral("classic");
const QString kStreams = QStringLiteral("streams");
const QString kRecycleBin = QStringLiteral("recycle-bin");
const QString kDeep = QStringLiteral("deep");
const QString kWhole = QStringLiteral("whole");
const QString kSave = QStringLiteral("save");
const QString kFrom = QStringLiteral("from");
const QString kResume = QStringLiteral("resume");

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
    throw wrongUsage(QStringLiteral("\"%1\" has no NTFS, exFAT or FAT partition %2. It has:%3")
                         .arg(name, QString::number(*partition), partitionList(drives)));
}

/// What can be done about an image that could not be attached.
QString adviceFor(const platform::AttachResult& attached) {
    if (attached.accessDenied)
        return QStringLiteral("\nYou may not read this file; ask for the right to, or run the "
                              "command with \"sudo\".");
    if (attached.holdsOthersOnly)
        return QStringLiteral("\n\"--partition all --deep\" looks for files in all of it.");
    return {};
}

Drive findSource(const QString& name, std::optional<int> partition) {
    std::optional<char> letter = letterIn(name);
    const bool byLetter = letter.has_value();
    if (!letter)
        letter = platform::letterOfDevice(toWide(name));
    if (letter) {
        if (partition)
            throw wrongUsage(QStringLiteral("--partition is for image files; \"%1\" is a drive, "
                                            "name the partition's own device, or leave it out "
                                            "for all of the drive")
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
    const platform::AttachResult attached = platform::attachImage(
        toWide(name),
        partition == kWholeImage ? platform::ImageParts::Whole : platform::ImageParts::Volumes);
    if (attached.drives.empty())
        throw refused(QStringLiteral("\"%1\" cannot be opened: %2%3")
                          .arg(name, toQString(attached.error), adviceFor(attached)));
    Drive drive = pickPartition(name, attached.drives, partition);
    if (attached.tableIsLost)
        printError(QStringLiteral("took volume %1 of \"%2\", found without a partition table")
                       .arg(QString::number(drive.partition), name));
    else if (drive.partition != 0 && !partition)
        printError(QStringLiteral("took partition %1 of \"%2\", the only one with NTFS, exFAT or "
                                  "FAT")
                       .arg(QString::number(drive.partition), name));
    return drive;
}

/// Why a volume that could be opened is none that can be searched.
QString unknownFileSystem(const QString& name, const Drive& drive, const std::string& fileSystem) {
    const QString known = QStringLiteral("Orvane reads NTFS, exFAT and FAT (FAT12, FAT16, FAT32).");
    if (!fileSystem.empty())
        return QStringLiteral("\"%1\" holds %2, which Orvane cannot read. %3")
            .arg(name, QString::fromStdString(fileSystem), known);
    QString message = QStringLiteral("\"%1\" is neither NTFS, exFAT nor FAT. %2").arg(name, known);
    if (!drive.isImage)
        message += QStringLiteral("\nIf it is a whole disk, name one of its partitions; "
                                  "\"orvane-cli drives\" lists them.");
    return message;
}

std::optional<int> partitionIn(const QCommandLineParser& parser) {
    if (!parser.isSet(kPartition))
        return std::nullopt;
    if (parser.value(kPartition) == kAllPartitions)
        return kWholeImage;
    bool isNumber = false;
    const int partition = parser.value(kPartition).toInt(&isNumber);
    if (!isNumber || partition < 1)
        throw wrongUsage(QStringLiteral("--partition: \"%1\" is neither the number of a "
                                        "partition nor \"all\"")
                             .arg(parser.value(kPartition)));
    return partition;
}

kova::ScanOptions scanOptionsIn(const QCommandLineParser& parser) {
    kova::ScanOptions options =
        parser.isSet(kClassic) ? kova::ScanOptions() : kova::ScanOptions::today();
    options.streams = parser.isSet(kStreams);
    if (options.streams && parser.isSet(kClassic))
        throw wrongUsage(QStringLiteral("--streams does not go with --classic"));
    options.liveRecycleBin = parser.isSet(kRecycleBin);
    if (options.liveRecycleBin && parser.isSet(kClassic))
        throw wrongUsage(QStringLiteral("--recycle-bin does not go with --classic"));
    return options;
}

/// What the options leave of all that a search looks for.
kova::SearchOptions searchOptionsIn(const QCommandLineParser& parser) {
    const QString what = parser.value(kDeep);
    kova::SearchOptions search;
    search.whole = parser.isSet(kWhole);
    search.remnants = what != QStringLiteral("content");
    search.content = what != QStringLiteral("remnants");
    if (what != QStringLiteral("all") && search.remnants == search.content)
        throw wrongUsage(QStringLiteral("--deep: \"%1\" is none of \"content\", \"remnants\" and "
                                        "\"all\"")
                             .arg(what));
    return search;
}

} // namespace

void Source::addOptions(QCommandLineParser& parser) {
    parser.addOptions({
        {kPartition,
         QStringLiteral("The partition of an image that holds several; \"all\", with --deep, "
                        "searches the image from end to end, whatever its partition table says."),
         QStringLiteral("N")},
        {kClassic, QStringLiteral("Leave out what only newer systems and devices write: files "
                                  "without a Windows short name, files without dates.")},
        {kStreams, QStringLiteral("NTFS: also the named streams of files and folders, as "
                                  "\"file_stream\".")},
        {kRecycleBin,
         QStringLiteral("NTFS: also what still lies in the recycle bin, under the names "
                        "and folders it had.")},
        {kDeep,
         QStringLiteral("Search the whole drive, too: for former file systems (\"remnants\") and "
                        "for files by their content (\"content\"). \"--deep\" alone means all."),
         QStringLiteral("WHAT")},
        {kWhole, QStringLiteral("With --deep: also where live files lie.")},
        {kSave,
         QStringLiteral("With --deep: keep what the search finds in a new file, also when it is "
                        "broken off."),
         QStringLiteral("FILE")},
        {kFrom,
         QStringLiteral("Take what a search has found from the file that it was kept in, instead "
                        "of searching again."),
         QStringLiteral("FILE")},
        {kResume,
         QStringLiteral("Go on with the search that is kept in a file, and keep it there."),
         QStringLiteral("FILE")},
    });
}

Source::Source(const QCommandLineParser& parser)
    : name_(parser.positionalArguments().constFirst()),
      drive_(findSource(name_, partitionIn(parser))), search_(searchIn(parser)),
      session_(scanOptionsIn(parser), [this](double done) { return onProgress(done); }),
      offersSearch_(!search_ && !parser.isSet(kClassic)) {
    if (search_ && search_->readsOn && !search_->file.isEmpty())
        saved_.emplace(search_->file, drive_, search_->before.has_value());
    if (!session_.open(drive_.letter) && !(search_ && session_.canSearch()))
        throw whyNotScanned();
}

std::optional<Source::Search> Source::searchIn(const QCommandLineParser& parser) {
    const bool isDeep = parser.isSet(kDeep);
    const int ways =
        (isDeep ? 1 : 0) + (parser.isSet(kFrom) ? 1 : 0) + (parser.isSet(kResume) ? 1 : 0);
    if (ways > 1)
        throw wrongUsage(QStringLiteral("only one of --deep, --from and --resume can be given"));
    for (const QString& option : {kWhole, kSave}) {
        if (parser.isSet(option) && !isDeep)
            throw wrongUsage(QStringLiteral("--%1 goes with --deep").arg(option));
    }
    if (ways == 0)
        return std::nullopt;
    if (isDeep)
        return Search{searchOptionsIn(parser), std::nullopt, true, parser.value(kSave)};
    const bool readsOn = parser.isSet(kResume);
    const QString file = parser.value(readsOn ? kResume : kFrom);
    auto before = SearchFile::load(file);
    return Search{before.options, std::move(before), readsOn, file};
}

QString Source::imagePath() const {
    return drive_.isImage ? toQString(drive_.device) : QString();
}

/// Why the session has ended before there was anything to find.
CommandError Source::whyNotScanned() const {
    const QString offer = offersSearch_
                              ? QStringLiteral("\n\"--deep\" looks for files on it all the same.")
                              : QString();
    QString words = toQString(session_.failure().words);
    switch (session_.end()) {
    case End::Done:
    case End::Stopped:
    case End::Removed:
    case End::BrokenOff:
        break;
    case End::NoRights:
        return refused(
            QStringLiteral("\"%1\" cannot be opened: %2\n%3").arg(name_, words, kRights));
    case End::NoSectorSize:
        words = QStringLiteral("it does not tell the size of its sectors");
        return refused(QStringLiteral("\"%1\" cannot be opened: %2").arg(name_, words));
    case End::Gone:
        return refused(QStringLiteral("\"%1\" is not there any more").arg(name_));
    case End::Unreadable:
        return refused(QStringLiteral("\"%1\" cannot be read: %2").arg(name_, words));
    case End::NotSupported:
        return refused(unknownFileSystem(name_, drive_, session_.fileSystem()) + offer);
    case End::Damaged:
        return refused(
            QStringLiteral("\"%1\" is damaged: it says that it is %2, but what describes its files "
                           "cannot be used\nDo not format it and let no program repair "
                           "it: both write over what may still be there.")
                .arg(name_, QString::fromStdString(session_.fileSystem())) +
            offer);
    }
    return {ExitCode::Stopped,
            QStringLiteral("stopped during the scan; %1 files and folders had been found, nothing "
                           "has been written")
                .arg(tree().allNodes().size())};
}

bool Source::onProgress(double done) {
    // Below the first percent an engine has only begun, or does not know how much there is.
    constexpr double kKnown = 0.011;
    if (Interruption::requested())
        return false;
    if (progress_ == nullptr || !progress_->isDue())
        return true;
    const QString percent =
        done < kKnown ? QString() : QStringLiteral(" %1 %,").arg(static_cast<int>(done * 100));
    progress_->show(
        QStringLiteral("Scanning %1:%2 %3 found, %4")
            .arg(name_, percent, QString::number(tree().allNodes().size()), progress_->elapsed()));
    return true;
}

void Source::scan() {
    {
        Progress progress;
        progress_ = &progress;
        if (session_.end() == End::Done && session_.prepare())
            session_.scan();
        if (search_ && session_.canSearch() && session_.end() != End::Stopped)
            search();
        progress_ = nullptr;
    }
    warnOfSaving();
    if (!session_.hasScanned() || session_.end() == End::Stopped)
        throw whyNotScanned();
    warnOfGaps();
}

/// Searches the whole drive, from where an earlier search of it has come to if there was one.
void Source::search() {
    kova::SearchKeeping keeping;
    if (search_->before || saved_) {
        const auto volume = session_.searchedVolume();
        if (search_->before && !(volume && volume->isSameAs(search_->before->volume)))
            throw refused(QStringLiteral("\"%1\" holds the search of another drive than \"%2\", or "
                                         "of what was on it before it was formatted")
                              .arg(search_->file, name_));
        keeping.volume = volume.value_or(kova::SearchedVolume());
    }
    if (saved_ && !search_->before) {
        kova::SavedSearch nothingYet;
        nothingYet.volume = keeping.volume;
        nothingYet.options = search_->options;
        saved_->write(nothingYet);
        if (const auto& failure = saved_->failure())
            throw CommandError{ExitCode::OutputRefused,
                               QStringLiteral("\"%1\" cannot be written: %2")
                                   .arg(saved_->path(), toQString(failure.words))};
    }
    keeping.before = std::move(search_->before);
    keeping.readsOn = search_->readsOn;
    if (keeping.before && !keeping.readsOn && !keeping.before->isRead())
        printError(QStringLiteral("the search in \"%1\" was broken off; --resume goes on with it")
                       .arg(search_->file));
    if (saved_)
        keeping.keep = [this](const kova::SavedSearch& saved) { saved_->write(saved); };
    session_.search(search_->options, std::move(keeping));
}

/// Says what has become of the file in which the search is kept, unless that is as it should be.
void Source::warnOfSaving() const {
    if (!saved_ || !saved_->exists())
        return;
    if (const auto& failure = saved_->failure())
        printError(QStringLiteral("what was found could not be kept in \"%1\": %2")
                       .arg(saved_->path(), toQString(failure.words)));
    else if (session_.end() != End::Done)
        printError(QStringLiteral("what was found is kept in \"%1\": \"--resume\" goes on with the "
                                  "search, \"--from\" gives out what it has found")
                       .arg(saved_->path()));
}

void Source::warnOfGaps() const {
    const QString name = QStringLiteral("\"%1\"").arg(name_);
    const kova::uint64 unreadable = session_.media().unreadableSectors();
    if (session_.end() == End::Removed)
        printError(name + QStringLiteral(" was removed during the scan; what is found is not all "
                                         "there is"));
    else if (unreadable > 0)
        printError(
            QStringLiteral("%1 sectors of %2 could not be read during the scan (%3); some "
                           "files may be missing")
                .arg(QString::number(unreadable), name, toQString(session_.failure().words)));
    if (session_.end() == End::BrokenOff)
        printError(QStringLiteral("the scan of %1 broke off; what is found is not all there is")
                       .arg(name));
    for (const kova::VolumeNote note : session_.volume()->notes())
        printError(name + QStringLiteral(": ") + textOf(note));
    const auto isFolder = [](const auto& one) { return one.second.isDirectory; };
    if (offersSearch_ && session_.end() == End::Done &&
        std::ranges::all_of(tree().allNodes(), isFolder))
        printError(QStringLiteral("nothing was found by what the file system of %1 tells; "
                                  "\"--deep\" searches the whole of it")
                       .arg(name));
}
