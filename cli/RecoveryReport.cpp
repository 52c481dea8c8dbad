#include "cli/RecoveryReport.h"

#include "format/BootSector.h"
#include "format/FileTime.h"
#include "model/texts.h"
#include "workers/recoveryTexts.h"
#include "workers/stateTexts.h"

#include <QDateTime>
#include <QSet>

#include <algorithm>
#include <utility>

namespace {

using Result = RecoveryReport::Result;

kova::int64 now() {
    return QDateTime::currentMSecsSinceEpoch() * format::kFileTimeTicksPerMillisecond +
           format::kFileTimeOf1970;
}

/// Empty when the first sector cannot be read, or has none.
QString serialOf(kova::ZCustomMedia& media) {
    std::vector<kova::uint8> sector(media.sectorSize());
    media.seek(0);
    if (sector.size() < format::kBootSectorBytes || media.read(sector.data(), 1) != 1)
        return {};
    return QString::fromStdString(format::volumeSerial(sector));
}

RecoveryReport::Volume volumeOf(Source& source) {
    const platform::Drive& drive = source.drive();
    return {toQString(drive.device),     drive.partition,          source.fileSystem(),
            toQString(drive.volumeName), serialOf(source.media()), drive.sizeBytes};
}

Result resultOf(const RecoveredFile& file) {
    if (file.isFolder || (!file.isComplete() && file.writtenBytes == 0))
        return Result::Failed;
    return file.isComplete() ? Result::Recovered : Result::InPart;
}

} // namespace

RecoveryReport::RecoveryReport(Source& source, RecoveryList list, QString outputDirectory)
    : source_(source.volume()), list_(std::move(list)), output_(std::move(outputDirectory)),
      volume_(volumeOf(source)), begun_(now()) {}

kova::uint64 RecoveryReport::forecastBytes() const {
    constexpr kova::uint64 kHead = 8192;
    constexpr kova::uint64 kRow = 1200;
    constexpr kova::uint64 kCharacter = 12; // escaped, and told twice
    kova::uint64 bytes = kHead;
    list_.forEach([&](std::size_t index) {
        if (!listing().entries()[index].node->isDirectory)
            bytes += kRow + kCharacter * listing().path(index).size();
        return index + 1;
    });
    return bytes;
}

void RecoveryReport::add(const RecoveredFile& file) {
    if (file.entry == kova::ZTreeListing::kNone)
        return;
    File row;
    row.entry = file.entry;
    row.result = resultOf(file);
    row.reason = remarkOn(file);
    if (row.reason.isEmpty())
        row.reason = doubtAbout(file.state);
    row.sha256 = file.sha256;
    row.writtenBytes = file.writtenBytes;
    row.state = file.state;
    row.isVerified = file.isVerified;
    if (row.result != Result::Failed || !row.sha256.isEmpty())
        row.path = file.path.mid(output_.size() + (output_.endsWith(u'/') ? 0 : 1));
    try {
        row.place = source_.placeOf(*listing().entries()[file.entry].node);
    } catch (...) {
        row.place.clear(); // What keeps it from reading is told with the file.
    }
    row.pieces = row.place.size();
    row.place.resize(std::min(row.pieces, kMostPieces));
    row.place.shrink_to_fit();
    files_.push_back(std::move(row));
}

void RecoveryReport::finish(const RecoveryOutcome& outcome) {
    ended_ = now();
    outcome_ = outcome;
    const QSet<QString> inDoubt(outcome.inDoubt.begin(), outcome.inDoubt.end());
    std::vector<bool> isTold(listing().entries().size());
    for (File& file : files_) {
        isTold[file.entry] = true;
        if (inDoubt.isEmpty() || !inDoubt.contains(output_ + u'/' + file.path))
            continue;
        file.result = Result::Failed;
        file.isVerified = false;
        file.reason = QStringLiteral("the output drive did not confirm it, so it may be lost");
    }
    list_.forEach([&](std::size_t index) {
        if (!listing().entries()[index].node->isDirectory && !isTold[index]) {
            File file;
            file.entry = index;
            files_.push_back(std::move(file));
        }
        return index + 1;
    });
}

QString RecoveryReport::earlyEnd() const {
    if (outcome_.end == RecoveryOutcome::End::Stopped)
        return QStringLiteral("it was stopped");
    return outcome_.notAttempted() == 0 ? QString() : reasonForEnd(outcome_);
}

std::wstring RecoveryReport::folderOf(std::size_t entry) const {
    const std::size_t parent = listing().entries()[entry].parent;
    return parent == kova::ZTreeListing::kNone ? std::wstring() : listing().path(parent);
}

const char* RecoveryReport::nameOf(Result result) {
    switch (result) {
    case Result::Recovered:
        return "recovered";
    case Result::InPart:
        return "only in part";
    case Result::Failed:
        return "failed";
    case Result::NotAttempted:
        break;
    }
    return "not attempted";
}
