#include "platform/Terminal.h"

#include <csignal>

#include <unistd.h>

namespace platform {

namespace {

std::atomic<std::atomic<bool>*> interruptFlag{nullptr};
static_assert(std::atomic<std::atomic<bool>*>::is_always_lock_free &&
              std::atomic<bool>::is_always_lock_free);

volatile std::sig_atomic_t interruptedBefore = 0;

/// Only what is allowed in a signal handler: lock-free atomics, sigaction and raise.
void onSignal(int signal) {
    if (interruptedBefore != 0) {
        struct sigaction byDefault {};

        byDefault.sa_handler = SIG_DFL;
        ::sigaction(signal, &byDefault, nullptr);
        ::raise(signal); // takes effect when this handler returns
        return;
    }
    interruptedBefore = 1;
    interruptFlag.load()->store(true);
}

} // namespace

bool isTerminal(StandardStream stream) {
    return ::isatty(stream == StandardStream::Output ? STDOUT_FILENO : STDERR_FILENO) == 1;
}

bool isConnected(StandardStream /*stream*/) {
    return true; // If only to a log.
}

void useUtf8Terminal() {
    // Terminals take it as it is.
}

void onInterrupt(std::atomic<bool>& flag) {
    interruptFlag.store(&flag);

    struct sigaction action {};

    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};

        ::sigaction(signal, nullptr, &before);
        if (before.sa_handler != SIG_IGN) // as nohup asks for
            ::sigaction(signal, &action, nullptr);
    }
}

} // namespace platform
