#pragma once

#include "platform/Drives.h"

#include <QString>

/// Throws `CommandError` when what is written to the directory `path`, which need not exist, goes
/// to the drive that is read, or may do so. `what` names it for people: "the output directory".
/// `isForced`: it need not be known where it goes. `advice` is what else can be done then.
void refuseDriveItself(const QString& what, const QString& path, const platform::Drive& drive,
                       bool isForced, const QString& advice);
