#pragma once

#include "cli/Command.h"

/// Scans a source and writes what is found to a directory.
[[nodiscard]] Command recoverCommand();
