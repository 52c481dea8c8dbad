#include "platform/ChildProcess.h"

#include "format/WideText.h"
#include "platform/linux/Descriptor.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace platform {

namespace {

/// What is kept of a child that writes without being asked; it then has to wait.
constexpr std::size_t kMostAhead = std::size_t{1} << 20;

/// What a child gets of this process: a socket as standard input and output, and nothing else.
class SpawnActions {
public:
    SpawnActions() : valid_(posix_spawn_file_actions_init(&actions_) == 0) {}

    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;

    ~SpawnActions() {
        if (valid_)
            posix_spawn_file_actions_destroy(&actions_);
    }

    bool connect(int socket) {
        return valid_ && posix_spawn_file_actions_adddup2(&actions_, socket, STDIN_FILENO) == 0 &&
               posix_spawn_file_actions_adddup2(&actions_, STDIN_FILENO, STDOUT_FILENO) == 0 &&
               posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, "/dev/null", O_WRONLY,
                                                0) == 0 &&
               posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1) == 0;
    }

    [[nodiscard]] const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
    bool valid_;
};

/// A child starts with all signals as they are by default, whatever this process does with them.
class SpawnAttributes {
public:
    SpawnAttributes() : valid_(posix_spawnattr_init(&attributes_) == 0) {}

    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    ~SpawnAttributes() {
        if (valid_)
            posix_spawnattr_destroy(&attributes_);
    }

    bool resetSignals() {
        sigset_t none{};
        sigset_t all{};
        sigemptyset(&none);
        sigfillset(&all);
        return valid_ && posix_spawnattr_setsigmask(&attributes_, &none) == 0 &&
               posix_spawnattr_setsigdefault(&attributes_, &all) == 0 &&
               posix_spawnattr_setflags(&attributes_,
                                        POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF) == 0;
    }

    [[nodiscard]] const posix_spawnattr_t* get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_{};
    bool valid_;
};

bool limit(pid_t child, __rlimit_resource resource, std::uint64_t most) {
    const rlimit value{most, most};
    return ::prlimit(child, resource, &value, nullptr) == 0;
}

/// Milliseconds from now, rounded up, as poll(2) takes them.
int millisecondsUntil(ChildProcess::Deadline deadline) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, INT_MAX));
}

} // namespace

struct ChildProcess::System {
    System() = default;
    System(const System&) = delete;
    System& operator=(const System&) = delete;

    ~System() {
        kill();
        if (child > 0) {
            while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
            }
        }
    }

    /// The id stays the child's until it is waited for, in the destructor.
    void kill() const {
        if (child > 0)
            ::kill(child, SIGKILL);
    }

    /// The child has done nothing yet with what it is given, which comes later.
    [[nodiscard]] bool setLimits(const ChildLimits& limits) const {
#ifndef ORVANE_SANITIZE // The address sanitizer maps far more than it uses.
        if (limits.memory != 0 && !limit(child, RLIMIT_AS, limits.memory))
            return false;
#endif
        return limits.cpuSeconds == 0 || limit(child, RLIMIT_CPU, limits.cpuSeconds);
    }

    pid_t child = 0;
    Descriptor socket;
};

ChildProcess::ChildProcess() = default;

ChildProcess::~ChildProcess() {
    end();
}

bool ChildProcess::start(const std::wstring& path, const std::vector<std::wstring>& arguments,
                         const ChildLimits& limits) {
    end();
    const auto program = systemPath(path);
    // A socket and not a pipe: writing to a child that has ended then raises no signal.
    std::array<int, 2> ends{-1, -1};
    if (!program || ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
        return false;
    auto system = std::make_unique<System>();
    system->socket = Descriptor(ends[0]);
    const Descriptor childEnd(ends[1]);
    SpawnActions actions;
    SpawnAttributes attributes;
    if (::fcntl(ends[0], F_SETFL, O_NONBLOCK) != 0 || !actions.connect(ends[1]) ||
        !attributes.resetSignals())
        return false;

    std::vector<std::string> words{*program};
    words.reserve(1 + arguments.size());
    for (const std::wstring& argument : arguments)
        words.push_back(format::utf8FromWide(argument));
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    pid_t child = 0;
    if (::posix_spawn(&child, program->c_str(), actions.get(), attributes.get(), argv.data(),
                      environ) != 0)
        return false;
    system->child = child;
    if (!system->setLimits(limits))
        return false;
    const std::lock_guard lock(mutex_);
    system_ = std::move(system);
    return true;
}

bool ChildProcess::exchange(std::span<const std::uint8_t> input, std::size_t wanted,
                            Deadline deadline) {
    if (system_ == nullptr)
        return false;
    const int socket = system_->socket.get();
    const std::size_t mostAhead = std::max(wanted, kMostAhead);
    while (!input.empty() || ahead_.size() < wanted) {
        const bool hasRoom = ahead_.size() < mostAhead;
        pollfd poll{socket, 0, 0};
        poll.events = static_cast<short>((input.empty() ? 0 : POLLOUT) | (hasRoom ? POLLIN : 0));
        const int ready = ::poll(&poll, 1, millisecondsUntil(deadline));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            return false;

        if (hasRoom && (poll.revents & (POLLIN | POLLHUP)) != 0) {
            std::array<std::uint8_t, std::size_t{64} * 1024> buffer; // NOLINT: filled by read
            const ssize_t got = ::recv(socket, buffer.data(),
                                       std::min(buffer.size(), mostAhead - ahead_.size()), 0);
            if (got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR))
                return false;
            if (got > 0)
                ahead_.insert(ahead_.end(), buffer.begin(), buffer.begin() + got);
        }
        if (!input.empty() && (poll.revents & (POLLOUT | POLLERR | POLLHUP)) != 0) {
            const ssize_t sent = ::send(socket, input.data(), input.size(), MSG_NOSIGNAL);
            if (sent < 0 && errno != EAGAIN && errno != EINTR)
                return false;
            if (sent > 0)
                input = input.subspan(static_cast<std::size_t>(sent));
        }
    }
    return true;
}

void ChildProcess::kill() {
    const std::lock_guard lock(mutex_);
    if (system_ != nullptr)
        system_->kill();
}

void ChildProcess::end() {
    std::unique_ptr<System> ended;
    {
        const std::lock_guard lock(mutex_);
        ended = std::move(system_);
    }
    ahead_.clear();
}

std::wstring programBesideThis(std::wstring_view name) {
    std::string path(PATH_MAX, '\0');
    const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
    // Never a path that would be looked up in the current folder.
    if (length <= 0 || path.front() != '/')
        return {};
    path.resize(static_cast<std::size_t>(length));
    path.resize(path.rfind('/') + 1);
    const std::string installed = path + "../libexec/orvane/" + format::utf8FromWide(name);
    if (::access(installed.c_str(), X_OK) == 0)
        return format::wideFromUtf8(installed);
    return format::wideFromUtf8(path).append(name);
}

} // namespace platform
