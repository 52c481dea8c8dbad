#pragma once

#include "platform/windows/Win32.h"

#include <optional>

namespace platform {

/// Who a child that is not trusted is: this process' user, with what every program may read and
/// nothing of its own. Both are handles of tokens.
struct LeastRights {
    /// The child's for life. Every access is checked a second time, as if it were nobody's; it is
    /// no member of any group that could give more, and has no privilege but to pass folders.
    Handle primary;
    /// For the child's first thread until it enters the sandbox (see platform/Sandbox.h): the
    /// user's own rights as far as they go at low integrity. With less the system cannot load what
    /// a program consists of.
    Handle starting;
};

/// Nothing when the system makes no such tokens.
[[nodiscard]] std::optional<LeastRights> makeLeastRights();

/// From then on nothing that is meant for a higher level can be written to by who has the token.
/// `level`: one of the SECURITY_MANDATORY_..._RID.
[[nodiscard]] bool setIntegrity(HANDLE token, DWORD level);

} // namespace platform
