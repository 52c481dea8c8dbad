#include "workers/recoveryTexts.h"

#include "model/counted.h"

#include <QStringList>

namespace {

using Problem = RecoveredFile::Problem;
using Reason = kova::ExtractReport::Reason;

QString textOf(Reason reason) {
    switch (reason) {
    case Reason::None:
        break;
    case Reason::NoData:
        return QStringLiteral("where its content lay is not recorded any more");
    case Reason::Damaged:
        return QStringLiteral("what describes its content is damaged");
    case Reason::Compressed:
        return QStringLiteral("the file system had compressed it, and what is left of it cannot be "
                              "expanded");
    case Reason::SystemPacked:
        return QStringLiteral("Windows had packed it in a way that cannot be read");
    case Reason::InCloud:
        return QStringLiteral("its content was kept in the cloud, not on the drive");
    case Reason::BeyondDevice:
        return QStringLiteral("a part of it lies beyond the end of the drive or image");
    case Reason::ExtentMissing:
        return QStringLiteral("where a part of it lay is not recorded any more; zeros stand there");
    case Reason::PlaceUnknown:
        return QStringLiteral("where it lay is not known");
    case Reason::Overwritten:
        return QStringLiteral("other files have been written over all of it");
    case Reason::NotAllItsOwn:
        return QStringLiteral("other files, deleted by now like it, lie in a part of its place");
    }
    return {};
}

/// Why the volume did not give all of a file.
QString textOfReading(const RecoveredFile& file) {
    const QString words = file.detail.isEmpty() ? QString() : QStringLiteral(": ") + file.detail;
    if (file.unreadableSectors > 0)
        return QStringLiteral("recovered with %1, filled with zeros%2")
            .arg(counted(static_cast<kova::int64>(file.unreadableSectors), "unreadable sector"),
                 words);
    if (file.report.reason != Reason::None)
        return textOf(file.report.reason);
    if (file.writtenBytes == 0)
        return QStringLiteral("cannot be read: the file system had compressed it, or what "
                              "described it is damaged");
    return QStringLiteral("the drive does not hold all of it any more; what is left was written");
}

QString textOf(const RecoveredFile& file) {
    const QString words = file.detail.isEmpty() ? QString() : QStringLiteral(": ") + file.detail;
    switch (file.problem.value()) {
    case Problem::CannotCreate:
        return QStringLiteral("cannot be created") + words;
    case Problem::CannotWrite:
        return QStringLiteral("cannot be written") + words;
    case Problem::OutputFull:
        return file.writtenBytes == 0
                   ? QStringLiteral("there is no room for it on the output drive")
                   : QStringLiteral("is not complete, as the output drive is full");
    case Problem::Mismatch:
        return QStringLiteral("the output drive does not give back what was written") + words;
    case Problem::Unreadable:
        break;
    }
    return textOfReading(file);
}

} // namespace

QString remarkOn(const RecoveredFile& file) {
    QStringList remarks;
    if (file.problem)
        remarks += textOf(file);
    if (file.state.kind == kova::FileState::Kind::Partly)
        remarks += QStringLiteral("other files have been written over %1 of its %2")
                       .arg(file.state.taken)
                       .arg(counted(static_cast<kova::int64>(file.state.clusters), "cluster"));
    else if (file.isOverwritten() && file.report.reason != Reason::Overwritten)
        remarks += textOf(Reason::Overwritten);
    if (file.isErased())
        remarks += QStringLiteral("the drive has erased its content: only zeros are left");
    if (file.report.encrypted && file.writtenBytes > 0)
        remarks += QStringLiteral("encrypted: only who has the key can open it");
    return remarks.join(QStringLiteral("; "));
}

QString reasonForEnd(const RecoveryOutcome& outcome) {
    using End = RecoveryOutcome::End;
    switch (outcome.end) {
    case End::Done:
    case End::Stopped:
        break;
    case End::SourceGone:
        return QStringLiteral("the drive was removed");
    case End::OutputFull:
        return QStringLiteral("the output drive is full");
    case End::OutputUnwritable:
        if (outcome.outputIsGone)
            return QStringLiteral("the output directory is gone, perhaps with all that was written "
                                  "there");
        return outcome.detail.isEmpty()
                   ? QStringLiteral("the output directory cannot be written any more")
                   : QStringLiteral("the output directory cannot be written any more (%1)")
                         .arg(outcome.detail);
    }
    return {};
}
