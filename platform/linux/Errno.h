#pragma once

#include "platform/File.h"

#include <string>

namespace platform {

/// What an errno value means for a caller.
[[nodiscard]] Error errorFromErrno(int code);

/// The system's words for an errno value.
[[nodiscard]] std::wstring errnoText(int code);

} // namespace platform
