#pragma once

#include "engine/ZFileTree.h"

#include <QString>

/// What all files of a tree would come to, in bytes, as the volume says.
[[nodiscard]] kova::uint64 promisedBytes(const kova::ZFileTree& tree);

/// A warning when files come to more than their drive holds, so that not all of them can be what
/// they were; empty when they do not, or the drive does not tell its size (0). `promised` and
/// `driveBytes` in bytes.
[[nodiscard]] QString warningOfPromise(kova::uint64 promised, kova::uint64 driveBytes);
