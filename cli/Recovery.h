#pragma once

#include "cli/ExitCode.h"
#include "cli/Output.h"
#include "cli/OutputDirectory.h"
#include "cli/Progress.h"
#include "cli/Source.h"
#include "engine/ZFileTree.h"
#include "workers/RecoveryWorker.h"

#include <QString>

#include <vector>

/// Runs the recovery worker over a tree and keeps account of what came of it.
class Recovery {
public:
    /// `tree` as `buildRecoveryTree` makes it. All are used until the end, by nobody else.
    Recovery(Source& source, kova::ZFileTree& tree, const OutputDirectory& output,
             RecoveryWorker::ExistingFile existing, bool keepTimes);
    Recovery(const Recovery&) = delete;
    Recovery& operator=(const Recovery&) = delete;
    ~Recovery();

    /// Recovers until all is done, the user asks to stop, or going on makes no sense.
    void run();

    /// Prints the counts and what failed.
    void report(Output& output) const;

    [[nodiscard]] ExitCode exitCode() const;

private:
    /// Why it ended.
    enum class End { Done, Stopped, SourceGone, OutputFull, OutputUnwritable };

    struct Failure {
        QString path;
        QString reason;
    };

    void onRead();
    void onFileFinished(const QString& path, bool extracted, uint processed);
    void onFileFailed(const QString& path, RecoveryWorker::Problem problem, const QString& detail);
    void endWith(End end);
    void showProgress();
    [[nodiscard]] QString reasonFor(const QString& path, RecoveryWorker::Problem problem,
                                    const QString& detail) const;
    [[nodiscard]] QString endText() const;

    Source& source_;
    kova::ZFileTree& tree_;
    const OutputDirectory& output_;
    RecoveryWorker worker_;
    Progress progress_;

    End end_ = End::Done;
    QString endDetail_; ///< The system's words for it.
    std::vector<Failure> failures_;
    uint total_ = 0;
    uint processed_ = 0;
    uint recovered_ = 0;
    QString lastName_;
    kova::uint64 unreadableBefore_ = 0; ///< Sectors, before the current file.
};
