#include "workers/RecoveryWorker.h"

#include "model/texts.h"
#include "workers/ContentHash.h"
#include "workers/OutputStream.h"
#include "workers/OutputTree.h"
#include "workers/writeTrial.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

namespace {

Q_LOGGING_CATEGORY(recoveryLog, "orvane.recovery", QtWarningMsg)

using kova::int64;
using kova::uint32;
using kova::uint64;
using kova::ZFileTreeNode;
using kova::ZTreeListing;

/// From this size on, in bytes, each file is waited for until it has arrived.
constexpr int64 kLargeFile = int64{16} << 20;

/// Smaller files are waited for together, whenever they come to so many bytes.
constexpr uint64 kMostUnsynced = uint64{256} << 20;

/// In the place of the size of a file, where there is none.
constexpr int64 kNoFile = std::numeric_limits<int64>::max();

} // namespace

/// One run over what is to be recovered. Counting and recovering go over the same entries.
class RecoveryWorker::Run {
public:
    /// `list` outlives the run.
    Run(RecoveryWorker& worker, const RecoveryList& list)
        : worker_(worker), list_(list), media_(worker.vol->media()),
          endsEarly_(worker.existingFile_ != ExistingFile::Open),
          output_(toWide(worker.outputDir), worker.outputFolder_, worker.existingFile_) {}

    void count();
    void recover();

    /// Waits until what was written has arrived, so that `outcome` can be told.
    void settle();

    [[nodiscard]] const RecoveryOutcome& outcome() const { return outcome_; }

private:
    using End = RecoveryOutcome::End;

    std::size_t recoverEntry(std::size_t index);
    bool enterFolder(const ZFileTreeNode& node, std::size_t index = ZTreeListing::kNone);
    void recoverFile(std::size_t index);
    void write(const ZFileTreeNode& node, OutputStream& stream, RecoveredFile& file);
    void extract(const ZFileTreeNode& node, OutputStream& stream, RecoveredFile& file);
    void hash(OutputStream& stream, RecoveredFile& file);
    void verify(OutputStream& stream, RecoveredFile& file);
    void abandonIfInterrupted(OutputStream& stream);
    void close(OutputStream& stream, RecoveredFile& file);
    void report(const RecoveredFile& file);
    void syncIfDue(const RecoveredFile& file);
    bool sync();

    void throwIfStopped();
    void endIfHopeless(const RecoveredFile& file);
    [[noreturn]] void endWith(End end, QString detail = {});
    void makeRoom(RecoveredFile& file);
    [[nodiscard]] std::optional<uint64> room() const;
    [[nodiscard]] bool mayFit(const ZFileTreeNode& node) const;

    void failToCreate(RecoveredFile& file) const;
    static void failToWrite(const OutputStream& stream, RecoveredFile& file);

    [[nodiscard]] bool isSourceGone() const { return media_ != nullptr && media_->wasRemoved(); }

    [[nodiscard]] QString outputPath() const { return toQString(output_.path()); }

    RecoveryWorker& worker_;
    const RecoveryList& list_;
    const kova::ZCustomMedia* media_; ///< May be null.
    bool endsEarly_;
    OutputTree output_;
    std::vector<std::size_t> entered_; ///< Entries of the folders that `output_` stands in.
    RecoveryOutcome outcome_;

    /// By index in the listing: the bytes of the smallest file to be recovered from there on.
    std::vector<int64> smallestFrom_;
    /// Where the user's share of the drive ended although the drive had room, in bytes.
    std::optional<uint64> share_;

    std::vector<RecoveredFile> unsynced_; ///< Written, but perhaps still on their way.
    uint64 unsyncedBytes_ = 0;            ///< In these.
};

void RecoveryWorker::Run::count() {
    smallestFrom_.assign(list_.listing->entries().size() + 1, kNoFile);
    list_.forEach([this](std::size_t index) {
        const ZFileTreeNode& node = *list_.listing->entries()[index].node;
        if (!node.isDirectory) {
            // Sizes come from the volume; their sum may be anything.
            worker_.totalBytes = static_cast<int64>(static_cast<uint64>(worker_.totalBytes) +
                                                    static_cast<uint64>(node.size));
            ++worker_.totalFiles;
            smallestFrom_[index] = node.size;
        }
        return index + 1;
    });
    for (std::size_t index = smallestFrom_.size() - 1; index-- > 0;)
        smallestFrom_[index] = std::min(smallestFrom_[index], smallestFrom_[index + 1]);
    outcome_.files = worker_.totalFiles;
}

void RecoveryWorker::Run::recover() {
    if (list_.folder == nullptr || enterFolder(*list_.folder))
        list_.forEach([this](std::size_t index) { return recoverEntry(index); });
}

/// Returns the index to go on at.
std::size_t RecoveryWorker::Run::recoverEntry(std::size_t index) {
    const ZTreeListing::Entry& entry = list_.listing->entries()[index];
    throwIfStopped();
    for (; !entered_.empty() && entered_.back() != entry.parent; entered_.pop_back())
        output_.leave();
    if (!entry.node->isDirectory) {
        recoverFile(index);
        return index + 1;
    }
    if (!enterFolder(*entry.node, index))
        return entry.end;
    entered_.push_back(index);
    return index + 1;
}

void RecoveryWorker::Run::throwIfStopped() {
    if (worker_.interrupted_ && !worker_.stopRequested)
        worker_.stop();
    if (worker_.stopRequested)
        endWith(End::Stopped);
}

void RecoveryWorker::Run::endWith(End end, QString detail) {
    outcome_.end = end;
    outcome_.detail = std::move(detail);
    throw StoppedException();
}

/// `index`: of the node in the listing, if that has it.
bool RecoveryWorker::Run::enterFolder(const ZFileTreeNode& node, std::size_t index) {
    output_.choose(node.name, OutputName::Kind::Folder);
    qCDebug(recoveryLog).noquote().nospace() << "Creating directory " << outputPath();
    if (output_.enter())
        return true;
    qCDebug(recoveryLog) << "failed to create dir";
    RecoveredFile folder;
    folder.entry = index;
    folder.path = outputPath();
    folder.isFolder = true;
    failToCreate(folder);
    report(folder);
    endIfHopeless(folder);
    return false;
}

void RecoveryWorker::Run::recoverFile(std::size_t index) {
    const ZFileTreeNode& node = *list_.listing->entries()[index].node;
    output_.choose(node.name, OutputName::Kind::File);
    qCDebug(recoveryLog).noquote().nospace() << "Recovering " << outputPath();
    emit worker_.fileStarted(outputPath(), worker_.processedFiles + 1, worker_.totalFiles);
    OutputStream stream([this] {
        emit worker_.working();
        return worker_.interrupted_ || (endsEarly_ && isSourceGone());
    });
    if (worker_.hashes_ || worker_.verifies_)
        stream.keepHash();
    RecoveredFile file;
    file.entry = index;
    file.size = node.size;
    if (mayFit(node))
        write(node, stream, file);
    else
        file.problem = Problem::OutputFull;

    ++worker_.processedFiles;
    const uint32 processed = worker_.processedFiles;
    const uint32 wholeProgress = processed / worker_.totalFiles; // 0 until the last file.
    emit worker_.progressChanged(wholeProgress);
    QCoreApplication::processEvents();
    close(stream, file);
    file.path = outputPath();
    file.gaveWay = output_.gaveWay();
    if (endsEarly_ && file.problem == Problem::OutputFull)
        makeRoom(file);

    if (share_)
        *share_ -= std::min(*share_, static_cast<uint64>(file.writtenBytes));
    outcome_.add(file);
    report(file);
    emit worker_.fileFinished(file.path, file.isComplete(), processed, worker_.totalFiles);
    syncIfDue(file);
    endIfHopeless(file);
}

/// Now and then, so that a drive that loses what it is given is noticed, and little is in doubt.
void RecoveryWorker::Run::syncIfDue(const RecoveredFile& file) {
    if (!endsEarly_ || file.writtenBytes == 0 || file.writtenBytes >= kLargeFile)
        return;
    unsynced_.push_back(file);
    unsyncedBytes_ += static_cast<uint64>(file.writtenBytes);
    if (unsyncedBytes_ >= kMostUnsynced && !sync())
        throw StoppedException();
}

/// False when what was written may not have arrived. The outcome says so then.
bool RecoveryWorker::Run::sync() {
    const bool arrived = output_.top().sync();
    if (!arrived) {
        outcome_.end = End::OutputUnwritable;
        outcome_.detail = toQString(output_.top().failure().words);
        for (const RecoveredFile& file : unsynced_)
            outcome_.doubt(file);
    }
    unsynced_.clear();
    unsyncedBytes_ = 0;
    return arrived;
}

void RecoveryWorker::Run::settle() {
    if (endsEarly_ && output_.top().isOpen() && outcome_.attempted() > 0)
        sync();
    // By its path, as people look for it: the open folder outlives that.
    platform::Folder again;
    outcome_.outputIsGone = outcome_.end == End::OutputUnwritable &&
                            !again.open(toWide(worker_.outputDir)) &&
                            again.failure().kind == platform::Error::NotFound;
}

void RecoveryWorker::Run::report(const RecoveredFile& file) {
    if (file.problem)
        emit worker_.fileFailed(file.path, *file.problem, file.detail);
    emit worker_.fileReported(file);
}

/// Creates the output file and fills it; the stream stays open.
void RecoveryWorker::Run::write(const ZFileTreeNode& node, OutputStream& stream,
                                RecoveredFile& file) {
    if (!output_.create(stream)) {
        qCDebug(recoveryLog) << "can't open file for writing";
        failToCreate(file);
        return;
    }
    try {
        file.state = worker_.vol->assessWholeContent(node);
    } catch (...) {
        file.state = {}; // What keeps it from reading is met again.
    }
    extract(node, stream, file);
    file.writtenBytes = std::min(stream.writtenEnd(), std::max<int64>(node.size, 0));
    if (file.problem)
        qCDebug(recoveryLog) << "failed to recover";
    if (worker_.hashes_ || worker_.verifies_)
        hash(stream, file);
    if (worker_.keepTimes_ && node.modificationTime != 0)
        stream.file().setModificationTime(node.modificationTime);
    if (worker_.verifies_ && (!file.problem || *file.problem == Problem::Unreadable))
        verify(stream, file);
}

void RecoveryWorker::Run::extract(const ZFileTreeNode& node, OutputStream& stream,
                                  RecoveredFile& file) {
    const uint64 unreadable = media_ == nullptr ? 0 : media_->unreadableSectors();
    bool extracted = false;
    try {
        extracted = worker_.vol->extract(node, &stream);
    } catch (...) {
        // One engine catches what the stream throws, the other does not.
        extracted = false;
    }

    if (!extracted)
        abandonIfInterrupted(stream);
    file.report = worker_.vol->extractReport();
    if (media_ != nullptr)
        file.unreadableSectors = media_->unreadableSectors() - unreadable;
    if (stream.failed()) {
        failToWrite(stream, file);
        return;
    }
    // Zeros stand in the place of what the drive does not give; clusters that lie beyond the volume
    // are left out.
    if (!extracted || file.unreadableSectors > 0 || file.report.unreadableBytes > 0 ||
        file.report.reason != kova::ExtractReport::Reason::None || stream.writtenEnd() < node.size)
        file.problem = Problem::Unreadable;
    if (media_ != nullptr && (file.unreadableSectors > 0 || (file.problem && isSourceGone())))
        file.detail = toQString(media_->failure().words);
}

/// A file that the user does not want to wait for is as if it had not been begun.
void RecoveryWorker::Run::abandonIfInterrupted(OutputStream& stream) {
    if (!worker_.interrupted_)
        return;
    stream.file().close();
    output_.discard();
    throwIfStopped();
}

void RecoveryWorker::Run::hash(OutputStream& stream, RecoveredFile& file) {
    try {
        file.sha256 = stream.sha256();
    } catch (const OutputStream::Interrupted&) {
        abandonIfInterrupted(stream);
    }
}

void RecoveryWorker::Run::verify(OutputStream& stream, RecoveredFile& file) {
    if (!stream.file().sync()) {
        failToWrite(stream, file);
        return;
    }
    stream.file().forgetCached();
    ContentHash read([this] {
        emit worker_.working();
        if (worker_.interrupted_)
            throw OutputStream::Interrupted();
    });
    try {
        const bool isRead = read.addFile(stream.file());
        file.isVerified = isRead && read.result() == file.sha256;
        if (file.isVerified)
            return;
        file.problem = Problem::Mismatch;
        file.detail = isRead ? QString() : toQString(stream.file().failure().words);
    } catch (const OutputStream::Interrupted&) {
        abandonIfInterrupted(stream);
    }
}

/// Closes the output file. Some drives say only then that they could not take all of it, and most
/// only when all has arrived, which a large file is waited for.
void RecoveryWorker::Run::close(OutputStream& stream, RecoveredFile& file) {
    const bool arrived = !endsEarly_ || file.writtenBytes < kLargeFile || stream.file().sync();
    const bool closed = stream.file().close();
    if (!(arrived && closed) && !file.problem)
        failToWrite(stream, file);
}

void RecoveryWorker::Run::failToCreate(RecoveredFile& file) const {
    const bool full = output_.failure().kind == platform::Error::NoSpace;
    file.problem = full ? Problem::OutputFull : Problem::CannotCreate;
    file.detail = toQString(output_.failure().words);
}

void RecoveryWorker::Run::failToWrite(const OutputStream& stream, RecoveredFile& file) {
    const bool full = stream.file().failure().kind == platform::Error::NoSpace;
    file.problem = full ? Problem::OutputFull : Problem::CannotWrite;
    file.detail = toQString(stream.file().failure().words);
}

/// Removes what was written of a file that does not fit, so that smaller ones do.
void RecoveryWorker::Run::makeRoom(RecoveredFile& file) {
    outcome_.end = End::OutputFull;
    output_.discard();
    file.sha256.clear();
    const auto written = static_cast<uint64>(std::exchange(file.writtenBytes, 0));
    if (written == 0)
        return;
    // A drive with room for the file refuses it when the user's share is used up.
    const std::optional<uint64> free = output_.top().freeSpace();
    if (free && static_cast<uint64>(file.size) <= *free)
        share_ = written;
}

/// Bytes that a file may have to fit in; nothing when that is not known.
std::optional<uint64> RecoveryWorker::Run::room() const {
    const std::optional<uint64> free = output_.top().freeSpace();
    if (!share_ || !free)
        return share_ ? share_ : free;
    return std::min(*share_, *free);
}

/// False when a file is not worth a try, as the output is full and the file larger than its room.
bool RecoveryWorker::Run::mayFit(const ZFileTreeNode& node) const {
    if (outcome_.end != End::OutputFull || node.size <= 0)
        return true;
    const std::optional<uint64> most = room();
    return !most || static_cast<uint64>(node.size) <= *most;
}

/// Ends the run when what went wrong with a file would go wrong with all that follow.
void RecoveryWorker::Run::endIfHopeless(const RecoveredFile& file) {
    if (!endsEarly_ || !file.problem)
        return;
    switch (*file.problem) {
    case Problem::Unreadable:
        if (isSourceGone())
            endWith(End::SourceGone, file.detail);
        break;
    case Problem::OutputFull: {
        const std::optional<uint64> most = room();
        const int64 smallest = smallestFrom_[file.entry + 1];
        if (most && smallest > 0 && smallest != kNoFile && *most < static_cast<uint64>(smallest))
            endWith(End::OutputFull, file.detail);
        break;
    }
    case Problem::Mismatch: // A drive may lose one file and keep the next.
        break;
    case Problem::CannotCreate:
    case Problem::CannotWrite:
        if (const platform::Failure refusal = tryWriting(output_.top()))
            endWith(refusal.kind == platform::Error::NoSpace ? End::OutputFull
                                                             : End::OutputUnwritable,
                    toQString(refusal.words));
        break;
    }
}

RecoveryWorker::RecoveryWorker(QObject* parent) : QObject(parent) {}

void RecoveryWorker::setExistingFile(ExistingFile policy) {
    existingFile_ = policy;
}

void RecoveryWorker::setKeepTimes(bool keep) {
    keepTimes_ = keep;
}

void RecoveryWorker::setHashing(bool hashes) {
    hashes_ = hashes;
}

void RecoveryWorker::setVerifying(bool verifies) {
    verifies_ = verifies;
}

void RecoveryWorker::setOutputFolder(std::shared_ptr<platform::Folder> folder) {
    outputFolder_ = std::move(folder);
}

void RecoveryWorker::interrupt() noexcept {
    interrupted_ = true;
}

void RecoveryWorker::init(QString dir, kova::ZVolume* volume, kova::ZFileTree* fileTree,
                          QSet<kova::int64> ids) {
    outputDir = std::move(dir);
    vol = volume;
    tree = fileTree;
    nodes = std::move(ids);
}

void RecoveryWorker::init(QString dir, kova::ZVolume* volume, RecoveryList list) {
    outputDir = std::move(dir);
    vol = volume;
    list_ = std::move(list);
}

void RecoveryWorker::start() {
    stopRequested = false;
    emit statusChanged(QStringLiteral("Preparing"));
    std::optional<ZTreeListing> listing;
    if (tree != nullptr)
        list_ = recoveryListOf(listing.emplace(*tree), *tree, nodes);
    qCDebug(recoveryLog).nospace()
        << "Have " << list_.ranges.size() << " root nodes after filtration";
    totalFiles = 0;
    totalBytes = 0;
    Run run(*this, list_);
    bool reachedEnd = false;
    try {
        run.count();
        emit statusChanged(QStringLiteral("Recovering"));
        processedFiles = 0;
        run.recover();
        emit progressChanged(1.0);
        reachedEnd = true;
    } catch (const StoppedException&) {
        qCDebug(recoveryLog) << "Canceled by user";
    }
    run.settle();
    const bool completed = reachedEnd && !stopRequested;
    emit statusChanged(completed ? QStringLiteral("Completed") : QStringLiteral("Cancelled"));
    emit ended(run.outcome());
    emit finished(totalFiles, processedFiles);
}

void RecoveryWorker::stop() {
    emit statusChanged(QStringLiteral("Canceling"));
    stopRequested = true;
}
