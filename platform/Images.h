#pragma once

#include "format/LetterTable.h"
#include "platform/Drives.h"

#include <optional>

namespace platform {

/// What can be said now about the attached image (or partition of one) behind `letter`; nothing
/// when its file is gone or cannot be read.
[[nodiscard]] std::optional<Drive> describeImage(char letter, const format::VolumeSource& source);

/// Whether the file that an image was attached from is no longer there.
[[nodiscard]] bool isImageGone(const format::VolumeSource& source);

} // namespace platform
