#pragma once

#include <atomic>

namespace platform {

enum class StandardStream { Output, Error };

/// True when the stream goes to a terminal.
[[nodiscard]] bool isTerminal(StandardStream stream);

/// Whether what is written there gets anywhere. For a program with windows that was started by a
/// click it does not, on Windows.
[[nodiscard]] bool isConnected(StandardStream stream);

/// Makes standard output and error take UTF-8 on a terminal that would not by itself.
void useUtf8Terminal();

/// From now on Ctrl-C, and a request to end the process, set `flag` instead of ending it; a
/// second Ctrl-C ends it. `flag` must live as long as the process.
void onInterrupt(std::atomic<bool>& flag);

} // namespace platform
