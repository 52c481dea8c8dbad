#pragma once

#include <sys/types.h>

namespace platform {

/// While it lives, polkit asks for a password in this process's terminal, even if a desktop session
/// has a window for that. Without a terminal, or polkit's program for it, it does nothing.
class TerminalAgent {
public:
    /// Returns once polkit knows of it.
    TerminalAgent();
    TerminalAgent(const TerminalAgent&) = delete;
    TerminalAgent& operator=(const TerminalAgent&) = delete;
    ~TerminalAgent();

private:
    pid_t process_ = 0;
};

} // namespace platform
