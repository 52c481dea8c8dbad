#pragma once

#include "decoder/Message.h"
#include "platform/ChildProcess.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace decoder {

/// The decoder that comes with this program, or an empty path.
[[nodiscard]] std::wstring program();

/// A process that decodes one file, as its owner talks to it. What is in the file can end or stall
/// that process, and make it say anything, but not harm this one: every call returns by its
/// deadline, and destruction ends the process. One thread at a time, except for `kill`.
class Client {
public:
    using Deadline = platform::ChildProcess::Deadline;

    /// Starts `program` for the files of one mode, "picture" or "sound". False when there is no
    /// decoder, or it cannot be shut in.
    bool start(const std::wstring& program, std::wstring_view mode,
               const platform::ChildLimits& limits, Deadline deadline);

    bool send(Kind kind, std::span<const std::uint8_t> bytes, Deadline deadline);

    /// Fills the front of `bytes` with what the next message holds, and says how much that is.
    /// Nothing when it is of another kind or holds more, or when there is none by the deadline.
    std::optional<std::size_t> receive(Kind kind, std::span<std::uint8_t> bytes, Deadline deadline);

    /// The structure that is the next message.
    template <class Structure>
    std::optional<Structure> receive(Kind kind, Deadline deadline) {
        Bytes<Structure> bytes{};
        if (receive(kind, bytes, deadline) != bytes.size())
            return std::nullopt;
        return std::bit_cast<Structure>(bytes);
    }

    /// Ends the process; a call that waits for it returns.
    void kill() { process_.kill(); }

private:
    platform::ChildProcess process_;
};

} // namespace decoder
