#pragma once

#include "cli/ExitCode.h"
#include "cli/Output.h"
#include "cli/OutputDirectory.h"
#include "cli/Progress.h"
#include "cli/RecoveryReport.h"
#include "cli/ReportFile.h"
#include "cli/Source.h"
#include "workers/RecoveryWorker.h"

#include <QString>

#include <optional>
#include <vector>

/// Runs the recovery worker and keeps account of what came of it.
class Recovery {
public:
    struct Options {
        RecoveryWorker::ExistingFile existing = RecoveryWorker::ExistingFile::KeepBoth;
        bool keepTimes = false;
        bool verify = false;
    };

    /// `source` and `output`, and the listing of the source's tree, are used until the end, by
    /// nobody else.
    Recovery(Source& source, const RecoveryList& list, const OutputDirectory& output,
             const Options& options);
    Recovery(const Recovery&) = delete;
    Recovery& operator=(const Recovery&) = delete;
    ~Recovery();

    /// Before `run`: what comes of it is written to `file`, too, which has been checked. Throws
    /// `CommandError` when there is no room for that.
    void reportTo(ReportFile& file);

    /// Recovers until all is done, the user asks to stop, or going on makes no sense.
    void run();

    /// Prints the counts and what failed.
    void report(Output& output) const;

    /// Writes the file that `reportTo` was given, if any. After `run`, before `report`, which says
    /// where it is.
    void writeReport();

    [[nodiscard]] ExitCode exitCode() const;

private:
    /// A file and what there is to say about it.
    struct Remark {
        QString path;
        QString text;
    };

    void onRead();
    void onReported(const RecoveredFile& file);
    void stopIfAsked();
    void showProgress();
    void printStates(Output& output) const;
    void printVerification(Output& output) const;
    void printReasonForEnd() const;

    Source& source_;
    const OutputDirectory& output_;
    RecoveryWorker worker_;
    RecoveryList list_;
    bool verifies_;
    std::optional<RecoveryReport> account_;
    ReportFile* reportFile_ = nullptr;
    QString reportPath_; ///< Empty while it is not written.
    Progress progress_;

    RecoveryOutcome outcome_;
    std::vector<Remark> failures_;
    std::vector<Remark> remarks_;  ///< On files that are complete.
    std::vector<Remark> doubtful_; ///< Complete, but not what their names say.
    uint total_ = 0;
    uint processed_ = 0;
    QString lastName_;
};
