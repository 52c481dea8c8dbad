#pragma once

#include <chrono>
#include <memory>
#include <string>

#include <systemd/sd-bus.h>

namespace platform {

struct UnrefBus {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};

struct UnrefMessage {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};

using BusMessage = std::unique_ptr<sd_bus_message, UnrefMessage>;

/// The answer to a call over the bus.
struct BusReply {
    BusMessage message; ///< Null when the call failed.
    std::string error;  ///< D-Bus's name of what failed; empty when nobody has answered at all.
    std::string words;  ///< For people, as the one who answered puts it.
    bool timedOut = false;

    [[nodiscard]] explicit operator bool() const { return message != nullptr; }
};

/// A connection to the system's message bus, for one thread. No call takes longer than it may.
class SystemBus {
public:
    using Milliseconds = std::chrono::milliseconds;

    /// Connects; without a bus no call can be made.
    explicit SystemBus(Milliseconds mostTime);

    /// A call to be filled with its arguments; null when there is no memory, or no connection.
    [[nodiscard]] BusMessage newCall(const char* service, const char* path, const char* interface,
                                     const char* member) const;

    [[nodiscard]] BusReply call(const BusMessage& message, Milliseconds mostTime) const;

private:
    bool waitUntilReady(Milliseconds mostTime) const;

    std::unique_ptr<sd_bus, UnrefBus> bus_;
    bool isReady_ = false;
};

} // namespace platform
