#pragma once

#include "engine/types.h"

#include <span>
#include <string_view>

namespace kova {

/// Whether a file with this name can hardly be one that begins with these bytes. Never true of a
/// suffix that is not known, that other programs use for other files too, or when the bytes are too
/// few to tell.
[[nodiscard]] bool isMisnamed(std::wstring_view name, std::span<const uint8> first);

} // namespace kova
