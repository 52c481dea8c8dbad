#pragma once

#include "engine/types.h"
#include "workers/RecoveryList.h"
#include "workers/RecoveryWorker.h"
#include "workers/ScannedVolume.h"

#include <QObject>
#include <QThread>

#include <atomic>

/// One recovery, in a thread of its own.
///
/// That thread alone uses the volume and its media until `finished`, and the tree is only read.
/// Destroying the run ends it in the middle of a file and waits for its thread.
class RecoveryRun : public QObject {
    Q_OBJECT

public:
    /// `found`, which has a volume and a tree, and the listing of its tree outlive the run.
    /// `directory` exists.
    RecoveryRun(const ScannedVolume& found, const QString& directory, RecoveryList list);
    RecoveryRun(const RecoveryRun&) = delete;
    RecoveryRun& operator=(const RecoveryRun&) = delete;
    ~RecoveryRun() override;

    /// For connections made before `start`.
    [[nodiscard]] const RecoveryWorker& worker() const { return worker_; }

    void start();

    /// False from `finished` on.
    [[nodiscard]] bool isRunning() const { return running_; }

    /// Asks for an end before the next file.
    void stop();

    /// Asks for an end in the middle of a file, and of a read that takes its time.
    void interrupt();

signals:
    /// Once, unless the run is destroyed before; comes after what the worker has told others.
    void finished(RecoveryOutcome outcome);

private:
    kova::ZCustomMedia& media_;
    bool running_ = false;
    std::atomic<bool> interrupted_{false}; ///< Read in the thread.
    RecoveryWorker worker_;                ///< Lives in the thread.
    QThread thread_;
};
