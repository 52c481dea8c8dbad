#pragma once

#include "cli/Command.h"

/// Scans a source and prints what is found.
[[nodiscard]] Command scanCommand();
