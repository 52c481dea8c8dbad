#pragma once

#include "platform/Failure.h"

#include <string>

namespace platform {

/// What an errno value means for a caller.
[[nodiscard]] Error errorFromErrno(int code);

/// The system's words for an errno value.
[[nodiscard]] std::wstring errnoText(int code);

/// What errno says.
[[nodiscard]] Failure lastFailure();

} // namespace platform
