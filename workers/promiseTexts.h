#pragma once

#include "engine/types.h"

#include <QString>

/// A warning when files come to more than their drive holds, so that not all of them can be what
/// they were; empty when they do not, or the drive does not tell its size (0). `promised` and
/// `driveBytes` in bytes.
[[nodiscard]] QString warningOfPromise(kova::uint64 promised, kova::uint64 driveBytes);
