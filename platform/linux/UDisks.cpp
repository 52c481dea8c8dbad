#include "platform/linux/UDisks.h"

#include "format/WideText.h"
#include "platform/linux/Errno.h"
#include "platform/linux/SystemBus.h"
#include "platform/linux/TerminalAgent.h"

#include <cerrno>
#include <optional>
#include <string_view>

#include <fcntl.h>

namespace platform {

namespace {

constexpr auto kService = "org.freedesktop.UDisks2";
constexpr auto kManager = "/org/freedesktop/UDisks2/Manager";

/// A password of somebody who may would do, but nobody has been asked.
constexpr std::string_view kCanObtain = "org.freedesktop.UDisks2.Error.NotAuthorizedCanObtain";
/// Begins the name of any refusal.
constexpr std::string_view kNotAuthorized = "org.freedesktop.UDisks2.Error.NotAuthorized";
/// Begins the name of what the service itself could not do.
constexpr std::string_view kErrors = "org.freedesktop.UDisks2.Error.";

/// Why there is no descriptor in an answer.
Failure refusalIn(const BusReply& reply) {
    if (reply.timedOut)
        return {Error::AccessDenied, L"The system's drive service does not answer"};
    if (reply.error.starts_with(kErrors) && !reply.error.starts_with(kNotAuthorized))
        return {Error::Other, format::wideFromUtf8(reply.words)};
    return failureOf(EACCES);
}

/// The service's object for a device; nothing when it knows none.
std::optional<std::string> objectOf(const SystemBus& bus, const std::string& node,
                                    UDisks::Milliseconds patience) {
    const BusMessage call =
        bus.newCall(kService, kManager, "org.freedesktop.UDisks2.Manager", "ResolveDevice");
    if (call == nullptr ||
        sd_bus_message_append(call.get(), "a{sv}a{sv}", 1, "path", "s", node.c_str(), 0) < 0)
        return std::nullopt;
    const BusReply reply = bus.call(call, patience);
    const char* path = nullptr;
    if (!reply || sd_bus_message_enter_container(reply.message.get(), SD_BUS_TYPE_ARRAY, "o") < 0 ||
        sd_bus_message_read_basic(reply.message.get(), SD_BUS_TYPE_OBJECT_PATH, &path) <= 0)
        return std::nullopt;
    return path;
}

BusReply openDevice(const SystemBus& bus, const std::string& object, bool mayAskPerson,
                    UDisks::Milliseconds patience) {
    const BusMessage call =
        bus.newCall(kService, object.c_str(), "org.freedesktop.UDisks2.Block", "OpenDevice");
    const int quietly = mayAskPerson ? 0 : 1;
    if (call == nullptr ||
        sd_bus_message_set_allow_interactive_authorization(call.get(), mayAskPerson ? 1 : 0) < 0 ||
        sd_bus_message_append(call.get(), "sa{sv}", "r", 1, "auth.no_user_interaction", "b",
                              quietly) < 0)
        return {};
    return bus.call(call, patience);
}

/// The descriptor in an answer, as one of our own: the answer's closes with it.
Descriptor descriptorIn(const BusReply& reply) {
    int fd = -1;
    if (sd_bus_message_read_basic(reply.message.get(), SD_BUS_TYPE_UNIX_FD, &fd) <= 0)
        return {};
    return Descriptor(::fcntl(fd, F_DUPFD_CLOEXEC, 0));
}

} // namespace

bool UDisks::isThere() const {
    const SystemBus bus(patience_.service);
    return static_cast<bool>(bus.call(
        bus.newCall(kService, kManager, "org.freedesktop.DBus.Peer", "Ping"), patience_.service));
}

UDisks::Opened UDisks::openForReading(const std::string& node, bool mayAskPerson) const {
    const SystemBus bus(patience_.service);
    const std::optional<std::string> object = objectOf(bus, node, patience_.service);
    if (!object)
        return {{}, failureOf(EACCES)};
    // First what is allowed as it is: a question has to wait longer than an answer. Then by the
    // agent of the session, which is refused like this where there is none.
    BusReply reply = openDevice(bus, *object, false, patience_.service);
    if (reply.error == kCanObtain && mayAskPerson)
        reply = openDevice(bus, *object, true, patience_.person);
    if (reply.error == kCanObtain && mayAskPerson) {
        const TerminalAgent agent;
        reply = openDevice(bus, *object, true, patience_.person);
    }
    if (!reply)
        return {{}, refusalIn(reply)};
    Descriptor file = descriptorIn(reply);
    return file ? Opened{std::move(file), {}} : Opened{{}, failureOf(EACCES)};
}

} // namespace platform
