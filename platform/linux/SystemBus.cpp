#include "platform/linux/SystemBus.h"

#include <cerrno>
#include <cstdint>

namespace platform {

namespace {

std::uint64_t microseconds(std::chrono::steady_clock::duration duration) {
    const auto count = std::chrono::duration_cast<std::chrono::microseconds>(duration).count();
    return count > 0 ? static_cast<std::uint64_t>(count) : 0;
}

} // namespace

SystemBus::SystemBus(Milliseconds mostTime) {
    sd_bus* bus = nullptr;
    if (sd_bus_open_system(&bus) < 0)
        return;
    bus_.reset(bus);
    isReady_ = waitUntilReady(mostTime);
}

/// A call would wait for the bus to greet, too, but for longer than its own time.
bool SystemBus::waitUntilReady(Milliseconds mostTime) const {
    const auto deadline = std::chrono::steady_clock::now() + mostTime;
    while (sd_bus_is_ready(bus_.get()) == 0) {
        const int progress = sd_bus_process(bus_.get(), nullptr);
        if (progress < 0)
            return false;
        const auto left = deadline - std::chrono::steady_clock::now();
        if (left <= left.zero())
            return false;
        if (progress == 0 && sd_bus_wait(bus_.get(), microseconds(left)) < 0)
            return false;
    }
    return sd_bus_is_ready(bus_.get()) > 0;
}

BusMessage SystemBus::newCall(const char* service, const char* path, const char* interface,
                              const char* member) const {
    sd_bus_message* message = nullptr;
    if (!isReady_ ||
        sd_bus_message_new_method_call(bus_.get(), &message, service, path, interface, member) < 0)
        return nullptr;
    return BusMessage(message);
}

BusReply SystemBus::call(const BusMessage& message, Milliseconds mostTime) const {
    BusReply reply;
    if (message == nullptr)
        return reply;
    sd_bus_error error{nullptr, nullptr, 0};
    sd_bus_message* answer = nullptr;
    const int result =
        sd_bus_call(bus_.get(), message.get(), microseconds(mostTime), &error, &answer);
    reply.message.reset(answer);
    reply.timedOut = result == -ETIMEDOUT;
    if (result < 0 && !reply.timedOut && sd_bus_error_is_set(&error) > 0) {
        reply.error = error.name;
        reply.words = error.message != nullptr ? error.message : "";
    }
    sd_bus_error_free(&error);
    return reply;
}

} // namespace platform
