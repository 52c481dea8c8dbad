#pragma once

#include "engine/ZFileTree.h"
#include "engine/ZVolume.h"
#include "platform/Folder.h"
#include "workers/RecoveredFile.h"
#include "workers/RecoveryList.h"
#include "workers/RecoveryOutcome.h"

#include <QObject>
#include <QSet>
#include <QString>

#include <atomic>
#include <memory>

/// Writes selected nodes, folders with all that is below them, into an output directory.
///
/// `init`, then `start`, which runs to the end in the thread that calls it and reports by
/// signals. Volume and tree are not owned, and nobody else may use them meanwhile.
///
/// Nothing that goes wrong with one file ends the run: it is reported and the next one follows. It
/// ends early, and says why, when none of those that follow could be recovered: the drive read is
/// gone, or the output full or gone.
class RecoveryWorker : public QObject {
    Q_OBJECT

public:
    /// Unwinds the run when it ends early.
    struct StoppedException {};

    /// What to do with an output path where something exists.
    enum class ExistingFile {
        Open,     ///< Write over it from its start, without emptying it first. Nothing that was
                  ///< begun is removed, and no failure ends the run.
        KeepBoth, ///< Leave it alone and write "name (2).ext", or the first number that is free.
        Replace,  ///< Put a new file in its place. A folder, what must not be written, and what
                  ///< this run has written itself are kept, as in KeepBoth.
    };
    Q_ENUM(ExistingFile)

    using Problem = RecoveredFile::Problem;

    explicit RecoveryWorker(QObject* parent = nullptr);

    /// Before `start`. `Open` unless set.
    void setExistingFile(ExistingFile policy);

    /// Before `start`: whether output files get the modification time of what they were. Off
    /// unless set.
    void setKeepTimes(bool keep);

    /// Before `start`: whether the SHA-256 of each file written is reckoned. Off unless set.
    void setHashing(bool hashes);

    /// Before `start`: whether each file written is read back from the drive and compared by its
    /// SHA-256, which is reckoned then, too. Off unless set.
    void setVerifying(bool verifies);

    /// Before `start`: the output directory, open since it was looked at. What stands at its path
    /// by the start is of no account then.
    void setOutputFolder(std::shared_ptr<platform::Folder> folder);

    /// Asks for a stop at once, in the middle of a file too, whose output is then removed if this
    /// run created it, and which does not count as attempted. For good, and before `start` too.
    /// May be called from any thread and from a signal handler.
    void interrupt() noexcept;

    /// The same as the slot, for what has been listed already.
    void init(QString outputDir, kova::ZVolume* vol, RecoveryList list);

public slots:
    /// `outputDir` without a trailing separator. Of the ids, those that the tree has are recovered.
    void init(QString outputDir, kova::ZVolume* vol, kova::ZFileTree* tree,
              QSet<kova::int64> nodes);
    void start();

    /// Asks for a stop before the next node.
    void stop();

signals:
    void statusChanged(QString status);
    /// 0 after every file but the last, 1 after it and at the end.
    void progressChanged(double value);
    void finished(uint totalFiles, uint recoveredFiles);

    /// A file is about to be written: its path, to which a number may still be added, and which
    /// of how many it is, counted from 1.
    void fileStarted(QString path, uint number, uint totalFiles);

    /// One file is done: the path it was written to, and how many of how many have been
    /// attempted with it.
    void fileFinished(QString path, bool extracted, uint processedFiles, uint totalFiles);

    /// Comes before the `fileFinished` of a file that was not extracted in full (what was written
    /// of it stays), and for a folder that could not be created, whose content is then left out.
    /// `detail` is the system's own words, if it had any.
    void fileFailed(QString path, RecoveryWorker::Problem problem, QString detail);

    /// Comes before the `fileFinished` of every file, and for a folder as `fileFailed` does.
    void fileReported(RecoveredFile file);

    /// Comes often while a file is written or read back.
    void working();

    /// Comes before `finished`.
    void ended(RecoveryOutcome outcome);

private:
    class Run;

    kova::ZVolume* vol = nullptr;
    kova::ZFileTree* tree = nullptr;
    QSet<kova::int64> nodes;
    QString outputDir;
    kova::int64 totalBytes = 0;
    kova::uint32 totalFiles = 0;
    kova::uint32 processedFiles = 0;
    bool stopRequested = false;

    RecoveryList list_;
    std::shared_ptr<platform::Folder> outputFolder_; ///< May be null.
    ExistingFile existingFile_ = ExistingFile::Open;
    bool keepTimes_ = false;
    bool hashes_ = false;
    bool verifies_ = false;
    std::atomic<bool> interrupted_{false};
};
