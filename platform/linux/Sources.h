#pragma once

#include "format/LetterTable.h"
#include "platform/File.h"

#include <optional>

#include <sys/types.h>

namespace platform {

/// What a block device is known by: its number and the count of its medium, so that a medium put
/// in later is another one. Nothing when there is no such device, or no medium in it.
[[nodiscard]] std::optional<FileIdentity> deviceIdentity(dev_t number);

/// Claims a letter and what stands behind it, looking for drives first if it is not given yet.
[[nodiscard]] std::optional<format::LetterTable::Held> holdLetter(char letter);

} // namespace platform
