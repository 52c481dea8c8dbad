#pragma once

#include "cli/Command.h"

/// Lists the drives that a SOURCE can name.
[[nodiscard]] Command drivesCommand();
