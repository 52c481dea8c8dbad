#pragma once

#include "platform/Failure.h"
#include "platform/linux/Descriptor.h"

#include <chrono>
#include <string>

namespace platform {

/// UDisks2, which opens devices for whom polkit lets it. Every request is a conversation of its
/// own, so it may be asked from any thread.
class UDisks {
public:
    using Milliseconds = std::chrono::milliseconds;

    /// How long to wait.
    struct Patience {
        Milliseconds service{25'000}; ///< For the service, which may have to be started.
        Milliseconds person{300'000}; ///< For the person who is asked for a password.
    };

    struct Opened {
        Descriptor file;
        Failure failure; ///< Why nothing is open.
    };

    explicit UDisks(Patience patience) : patience_(patience) {}

    UDisks() : UDisks(Patience()) {}

    /// Whether the service answers; the bus starts it if it does not run.
    [[nodiscard]] bool isThere() const;

    /// Opens the block device at `node` for reading only. What comes back is for the caller to
    /// look at: it is what the service says it is. With `mayAskPerson` they are asked where the
    /// rights need it: by the agent of their session, or in this terminal.
    [[nodiscard]] Opened openForReading(const std::string& node, bool mayAskPerson) const;

private:
    Patience patience_;
};

} // namespace platform
