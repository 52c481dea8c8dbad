#pragma once

#include "platform/Failure.h"

namespace platform {

/// What an errno value means for a caller, in the system's words.
[[nodiscard]] Failure failureOf(int code);

/// What errno says.
[[nodiscard]] Failure lastFailure();

} // namespace platform
