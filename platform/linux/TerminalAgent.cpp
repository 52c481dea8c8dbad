#include "platform/linux/TerminalAgent.h"

#include "platform/linux/Descriptor.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <string>

#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>

namespace platform {

namespace {

constexpr auto kProgram = "/usr/bin/pkttyagent";
constexpr int kMostMilliseconds = 5'000;
constexpr int kNotStarted = 127;

/// What the new process does: becomes the agent of its parent, which it does not outlive.
[[noreturn]] void becomeAgent(int ready, const char* readyText) {
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    ::fcntl(ready, F_SETFD, 0);
    ::execl(kProgram, kProgram, "--notify-fd", readyText, nullptr);
    ::_exit(kNotStarted);
}

} // namespace

TerminalAgent::TerminalAgent() {
    std::array<int, 2> ends{};
    if (::isatty(STDIN_FILENO) != 1 || ::access(kProgram, X_OK) != 0 ||
        ::pipe2(ends.data(), O_CLOEXEC) != 0)
        return;
    const Descriptor read(ends[0]);
    Descriptor write(ends[1]);
    const std::string number = std::to_string(write.get());
    process_ = ::fork();
    if (process_ == 0)
        becomeAgent(write.get(), number.c_str());
    write = Descriptor();
    // The agent closes its end when it is ready, and so does its death.
    pollfd closed{read.get(), POLLIN, 0};
    while (::poll(&closed, 1, kMostMilliseconds) < 0 && errno == EINTR) {
    }
}

TerminalAgent::~TerminalAgent() {
    if (process_ <= 0)
        return;
    ::kill(process_, SIGTERM);
    ::kill(process_, SIGCONT);
    while (::waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
    }
}

} // namespace platform
