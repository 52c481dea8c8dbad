#include "workers/stateTexts.h"

#include "model/counted.h"

using Kind = kova::FileState::Kind;

QString stateInWords(const kova::FileState& state) {
    switch (state.kind) {
    case Kind::Unknown:
        break;
    case Kind::Whole:
    case Kind::Resident:
        return QStringLiteral("Nothing has been written over this file.");
    case Kind::Partly:
        return QStringLiteral("%1 of %2 %3 to other files now: expect damage.")
            .arg(state.taken)
            .arg(counted(static_cast<kova::int64>(state.clusters), "cluster"),
                 state.taken == 1 ? QStringLiteral("belongs") : QStringLiteral("belong"));
    case Kind::Overwritten:
        return QStringLiteral("All of its place belongs to other files now.");
    case Kind::Uncertain:
        return QStringLiteral("Where it lay is a guess: look at it before you rely on it.");
    case Kind::Unreadable:
        return QStringLiteral(
            "Nothing tells where its content lay, or it lay beyond the end of the "
            "drive.");
    case Kind::Erased:
        return QStringLiteral("The drive has erased its content (TRIM).");
    case Kind::NotWhatItsNameSays:
        return QStringLiteral("Its content is not of the kind that its name says.");
    case Kind::Inconsistent:
        return QStringLiteral("Its content breaks off: some of it may be another file's.");
    }
    return {};
}

QString doubtAbout(const kova::FileState& state) {
    switch (state.kind) {
    case Kind::Uncertain:
        return QStringLiteral("where it lay is a guess");
    case Kind::NotWhatItsNameSays:
        return QStringLiteral("its content is not of the kind that its name says");
    case Kind::Inconsistent:
        return QStringLiteral("its content breaks off: some of it may be another file's");
    default:
        return {};
    }
}
