#include "workers/RecoveryWorker.h"

#include "engine/ZTreeWalk.h"
#include "model/texts.h"
#include "workers/OutputStream.h"
#include "workers/OutputTree.h"
#include "workers/rootNodes.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <algorithm>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace {

Q_LOGGING_CATEGORY(recoveryLog, "orvane.recovery", QtWarningMsg)

using kova::int64;
using kova::uint32;
using kova::uint64;
using kova::ZFileTreeNode;
using kova::ZTreeWalk;

} // namespace

/// One run over the selected nodes. Counting and recovering walk them in the same way.
class RecoveryWorker::Run {
public:
    explicit Run(RecoveryWorker& worker)
        : worker_(worker), tree_(*worker.tree),
          selected_(worker.nodes.cbegin(), worker.nodes.cend()),
          output_(toWide(worker.outputDir), worker.existingFile_) {
        // The order of a set differs from run to run; the numbers that equal names get must not.
        std::sort(selected_.begin(), selected_.end());
    }

    void count();
    void recover();

private:
    struct Failure {
        Problem problem;
        QString detail;
    };

    using Enter = std::function<bool(const ZFileTreeNode&)>;
    using Leave = std::function<void()>;

    void walk(const Enter& enter, const Leave& leave) const;

    bool enterFolder(const ZFileTreeNode& node);
    void recoverFile(const ZFileTreeNode& node);
    std::optional<Failure> write(const ZFileTreeNode& node, OutputStream& stream);
    std::optional<Failure> extract(const ZFileTreeNode& node, OutputStream& stream);
    std::optional<Failure> close(OutputStream& stream);
    void throwIfStopped();

    [[nodiscard]] Failure cannotCreate() const;
    [[nodiscard]] Failure cannotWrite(const OutputStream& stream) const;

    [[nodiscard]] QString outputPath() const { return toQString(output_.path()); }

    RecoveryWorker& worker_;
    const kova::ZFileTree& tree_;
    std::vector<int64> selected_; ///< In ascending order.
    OutputTree output_;
};

/// Calls `enter` for every selected node and all below it, `leave` after each directory for which
/// it has answered true. Nodes that the tree does not have are skipped.
void RecoveryWorker::Run::walk(const Enter& enter, const Leave& leave) const {
    ZTreeWalk walk(tree_);
    // Directories so deep that the walk does not go into them. They are walked afterwards, like
    // selected ones.
    std::vector<const ZFileTreeNode*> deep;
    const auto enterNode = [&](const ZFileTreeNode& node, int depth) {
        if (node.isDirectory && node.id != tree_.rootId && depth + 1 >= ZTreeWalk::kDeepest) {
            deep.push_back(&node);
            return false;
        }
        return enter(node);
    };
    const auto leaveNode = [&](const ZFileTreeNode& /*node*/) { leave(); };
    const auto walkInto = [&](const ZFileTreeNode& directory) {
        if (!enter(directory))
            return;
        walk.below(directory.id, enterNode, leaveNode, 1);
        leave();
    };

    for (const int64 id : selected_) {
        const ZFileTreeNode* node = tree_.find(id);
        if (node == nullptr)
            continue;
        // Met on a walk, what carries the root's id is a leaf; selected, it is the root.
        if (node->isDirectory && id == tree_.rootId)
            walkInto(*node);
        else
            walk.from(*node, enterNode, leaveNode);
    }
    for (std::size_t i = 0; i < deep.size(); ++i)
        walkInto(*deep[i]);
}

void RecoveryWorker::Run::count() {
    const auto countNode = [this](const ZFileTreeNode& node) {
        if (!node.isDirectory) {
            // Sizes come from the volume; their sum may be anything.
            worker_.totalBytes = static_cast<int64>(static_cast<uint64>(worker_.totalBytes) +
                                                    static_cast<uint64>(node.size));
            ++worker_.totalFiles;
        }
        return node.isDirectory;
    };
    walk(countNode, [] {});
}

void RecoveryWorker::Run::recover() {
    const auto recoverNode = [this](const ZFileTreeNode& node) {
        throwIfStopped();
        if (node.isDirectory)
            return enterFolder(node);
        recoverFile(node);
        return false;
    };
    walk(recoverNode, [this] { output_.leave(); });
}

void RecoveryWorker::Run::throwIfStopped() {
    if (worker_.interrupted_ && !worker_.stopRequested)
        worker_.stop();
    if (worker_.stopRequested)
        throw StoppedException();
}

bool RecoveryWorker::Run::enterFolder(const ZFileTreeNode& node) {
    // The root has no name, or the one of the folder itself.
    if (node.id == tree_.rootId && (node.name.empty() || node.name == L".")) {
        output_.enterSame();
        return true;
    }
    output_.choose(node.name, OutputName::Kind::Folder);
    qCDebug(recoveryLog).noquote().nospace() << "Creating directory " << outputPath();
    if (output_.enter())
        return true;
    qCDebug(recoveryLog) << "failed to create dir";
    const Failure failure = cannotCreate();
    emit worker_.fileFailed(outputPath(), failure.problem, failure.detail);
    return false;
}

void RecoveryWorker::Run::recoverFile(const ZFileTreeNode& node) {
    output_.choose(node.name, OutputName::Kind::File);
    qCDebug(recoveryLog).noquote().nospace() << "Recovering " << outputPath();
    emit worker_.fileStarted(outputPath(), worker_.processedFiles + 1, worker_.totalFiles);
    OutputStream stream(worker_.interrupted_);
    auto failure = write(node, stream);

    ++worker_.processedFiles;
    const uint32 processed = worker_.processedFiles;
    const uint32 wholeProgress = processed / worker_.totalFiles; // 0 until the last file.
    emit worker_.progressChanged(wholeProgress);
    QCoreApplication::processEvents();
    if (auto late = close(stream); late && !failure)
        failure = std::move(late);

    if (failure)
        emit worker_.fileFailed(outputPath(), failure->problem, failure->detail);
    emit worker_.fileFinished(outputPath(), !failure, processed, worker_.totalFiles);
}

/// Creates the output file and fills it; the stream stays open.
std::optional<RecoveryWorker::Run::Failure> RecoveryWorker::Run::write(const ZFileTreeNode& node,
                                                                       OutputStream& stream) {
    if (!output_.create(stream)) {
        qCDebug(recoveryLog) << "can't open file for writing";
        return cannotCreate();
    }
    auto failure = extract(node, stream);
    if (failure)
        qCDebug(recoveryLog) << "failed to recover";
    if (worker_.keepTimes_ && node.modificationTime != 0)
        stream.file().setModificationTime(node.modificationTime);
    return failure;
}

std::optional<RecoveryWorker::Run::Failure> RecoveryWorker::Run::extract(const ZFileTreeNode& node,
                                                                         OutputStream& stream) {
    const kova::ZCustomMedia* media = worker_.vol->media();
    const uint64 unreadable = media == nullptr ? 0 : media->unreadableSectors();
    bool extracted = false;
    try {
        extracted = worker_.vol->extract(node, &stream);
    } catch (...) {
        // One engine catches what the stream throws, the other does not.
        extracted = false;
    }

    if (!extracted && worker_.interrupted_) {
        stream.file().close();
        output_.discard();
        throwIfStopped();
    }
    if (stream.failed())
        return cannotWrite(stream);
    // Zeros stand in the place of what the drive does not give, all of it once it is unplugged.
    if (media != nullptr && media->unreadableSectors() > unreadable)
        return Failure{Problem::Unreadable, toQString(media->errorText())};
    // Clusters that lie beyond the volume are left out.
    if (!extracted || stream.writtenEnd() < node.size)
        return Failure{Problem::Unreadable, {}};
    return std::nullopt;
}

/// Closes the output file. Some drives say only then that they could not take all of it.
std::optional<RecoveryWorker::Run::Failure> RecoveryWorker::Run::close(OutputStream& stream) {
    const platform::Error before = stream.file().error();
    stream.file().close();
    if (stream.file().error() == before)
        return std::nullopt;
    return cannotWrite(stream);
}

RecoveryWorker::Run::Failure RecoveryWorker::Run::cannotCreate() const {
    const bool full = output_.error() == platform::Error::NoSpace;
    return {full ? Problem::OutputFull : Problem::CannotCreate, toQString(output_.errorText())};
}

RecoveryWorker::Run::Failure RecoveryWorker::Run::cannotWrite(const OutputStream& stream) const {
    const bool full = stream.file().error() == platform::Error::NoSpace;
    return {full ? Problem::OutputFull : Problem::CannotWrite,
            toQString(stream.file().errorText())};
}

RecoveryWorker::RecoveryWorker(QObject* parent) : QObject(parent) {}

void RecoveryWorker::setExistingFile(ExistingFile policy) {
    existingFile_ = policy;
}

void RecoveryWorker::setKeepTimes(bool keep) {
    keepTimes_ = keep;
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

void RecoveryWorker::start() {
    stopRequested = false;
    emit statusChanged(QStringLiteral("Preparing"));
    try {
        keepRootNodes(*tree, nodes);
        qCDebug(recoveryLog).nospace() << "Have " << nodes.size() << " root nodes after filtration";
        totalFiles = 0;
        totalBytes = 0;
        Run run(*this);
        run.count();
        emit statusChanged(QStringLiteral("Recovering"));
        processedFiles = 0;
        run.recover();
        emit progressChanged(1.0);
    } catch (const StoppedException&) {
        qCDebug(recoveryLog) << "Canceled by user";
    }
    emit statusChanged(stopRequested ? QStringLiteral("Cancelled") : QStringLiteral("Completed"));
    emit finished(totalFiles, processedFiles);
}

void RecoveryWorker::stop() {
    emit statusChanged(QStringLiteral("Canceling"));
    stopRequested = true;
}
