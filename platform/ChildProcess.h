#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// Who a child process is when it starts; it is to enter the sandbox (platform/Sandbox.h) in any
/// case. On Linux both are the same.
enum class ChildRights : std::uint8_t {
    Least, ///< As few rights as a program can be started with, and nothing that it could start.
    Same,  ///< This process' own, where the system starts none with less.
};

/// What a child process may use before the system ends it; 0 sets no limit.
struct ChildLimits {
    std::uint64_t memory = 0; ///< Bytes of address space.
    unsigned cpuSeconds = 0;
    ChildRights rights = ChildRights::Least;
};

/// One other program, which this one talks to over its standard input and output and does not
/// trust: whatever it does, calls return by their deadline, and destruction ends it.
///
/// The child gets no other open file or device of this process; what it writes to its standard
/// error is dropped. One thread at a time reads and writes; `kill` may be called from any.
class ChildProcess {
public:
    using Deadline = std::chrono::steady_clock::time_point;

    ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    /// Ends the child at once if it still runs.
    ~ChildProcess();

    /// Starts the program at `path`, after ending one started before. False when it cannot be
    /// started, or not with these limits; they hold before it is given its first byte.
    bool start(const std::wstring& path, const std::vector<std::wstring>& arguments,
               const ChildLimits& limits);

    /// Gives the child all of `bytes`. False when it has closed its input, has ended or has not
    /// taken them by the deadline. What it writes meanwhile is kept for `read`.
    bool write(std::span<const std::uint8_t> bytes, Deadline deadline);

    /// Waits until `bytes` is full. Returns how many bytes there were: fewer when the child has
    /// closed its output, has ended or has not given more by the deadline.
    std::size_t read(std::span<std::uint8_t> bytes, Deadline deadline);

    /// Ends the child; a `read` or `write` that waits for it returns. Harmless when none runs.
    void kill();

private:
    struct System;

    /// Moves bytes both ways until all of `input` is written and `wanted` bytes are in `ahead_`.
    bool exchange(std::span<const std::uint8_t> input, std::size_t wanted, Deadline deadline);

    void end();

    std::mutex mutex_;                ///< Held while `system_` changes, and by `kill`.
    std::unique_ptr<System> system_;  ///< Of the child that was started last.
    std::vector<std::uint8_t> ahead_; ///< What the child has written and nobody has read yet.
};

/// The path of the program `name` (without ".exe") in the folder of the program that runs now, or
/// where an installed Orvane on Linux has what only it starts; empty when that cannot be learned.
[[nodiscard]] std::wstring programBesideThis(std::wstring_view name);

} // namespace platform
