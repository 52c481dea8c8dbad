#pragma once

#include "platform/Drives.h"
#include "platform/LetterTable.h"

#include <optional>

namespace platform {

/// What can be said now about the attached image (or partition of one) behind `letter`; nothing
/// when its file is gone or cannot be read.
[[nodiscard]] std::optional<Drive> describeImage(char letter, const VolumeSource& source);

/// Whether the file that an image was attached from is no longer there.
[[nodiscard]] bool isImageGone(const VolumeSource& source);

} // namespace platform
