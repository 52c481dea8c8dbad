#include "cli/outputPlace.h"

#include "cli/CommandError.h"
#include "model/texts.h"

void refuseDriveItself(const QString& what, const QString& path, const platform::Drive& drive,
                       bool isForced, const QString& advice) {
    if (platform::liesOnDrive(toWide(path), drive.letter))
        throw CommandError{ExitCode::OutputRefused,
                           QStringLiteral("%1 \"%2\" lies on the drive that is read, where each "
                                          "file written can destroy files still to be recovered; "
                                          "choose one on another drive")
                               .arg(what, path)};
    const std::wstring unknown = isForced ? std::wstring() : platform::unknownPlace(toWide(path));
    if (!unknown.empty())
        throw CommandError{ExitCode::OutputRefused,
                           QStringLiteral("what is written to \"%1\" is passed on by %2 to a place "
                                          "that is not known, which may be the drive that is read; "
                                          "choose another directory%3")
                               .arg(path, toQString(unknown), advice)};
}
