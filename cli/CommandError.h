#pragma once

#include "cli/ExitCode.h"

#include <QString>

/// Ends a command. Thrown by its steps, shown in one place.
struct CommandError {
    ExitCode code;
    QString message; ///< For people; may have several lines. Without a full stop if it is one.
};
