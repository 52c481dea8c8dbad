#include "platform/DriveWatch.h"

#include "format/WideText.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/DriveModels.h"
#include "platform/linux/SystemBus.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <thread>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>

namespace platform {

namespace {

/// A drive that comes is told of by several signals: one call answers them.
constexpr int kSettleMilliseconds = 100;
constexpr std::uint64_t kAnswerMicroseconds = 25'000'000;

constexpr auto kService = "org.freedesktop.UDisks2";
constexpr auto kRoot = "/org/freedesktop/UDisks2";
constexpr auto kObjects = "org.freedesktop.DBus.ObjectManager";

/// What comes and goes, and what changes: a card in its reader, a label.
constexpr std::array kMatches = {
    "type='signal',sender='org.freedesktop.UDisks2',path='/org/freedesktop/UDisks2',"
    "interface='org.freedesktop.DBus.ObjectManager'",
    "type='signal',sender='org.freedesktop.UDisks2',"
    "interface='org.freedesktop.DBus.Properties',"
    "path_namespace='/org/freedesktop/UDisks2/block_devices'",
};

/// Milliseconds for poll(2) from a time of the steady clock in microseconds.
int timeoutUntil(std::uint64_t time) {
    if (time == UINT64_MAX)
        return -1;
    const auto now =
        static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                       std::chrono::steady_clock::now().time_since_epoch())
                                       .count());
    constexpr std::uint64_t kLongest = 60'000;
    return time <= now ? 0 : static_cast<int>(std::min((time - now) / 1'000 + 1, kLongest));
}

} // namespace

struct DriveWatch::System {
    explicit System(std::function<void()> tell)
        : onChange(std::move(tell)), wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (wake)
            thread = std::thread([this] { run(); });
    }

    System(const System&) = delete;
    System& operator=(const System&) = delete;

    ~System() {
        if (!thread.joinable())
            return;
        const std::uint64_t one = 1;
        static_cast<void>(::write(wake.get(), &one, sizeof one) == sizeof one);
        thread.join();
    }

    void run();
    bool subscribe();
    bool waitForMore(int milliseconds);
    void askForModels();
    static int onSignal(sd_bus_message* message, void* self, sd_bus_error* error);
    static int onModels(sd_bus_message* message, void* self, sd_bus_error* error);

    std::function<void()> onChange;
    Descriptor wake;
    std::unique_ptr<sd_bus, UnrefBus> bus; ///< The thread's.
    bool hasChanged = true;                ///< The thread's: models are to be asked for.

    std::mutex mutex; ///< Of what follows.
    DriveModels models;

    std::thread thread;
};

/// All that is asked of the service is answered by and by: nothing here waits for it.
void DriveWatch::System::run() {
    bus = connectToSystemBus();
    if (bus == nullptr || !subscribe())
        return;
    for (;;) {
        int progress = 0;
        do {
            progress = sd_bus_process(bus.get(), nullptr);
        } while (progress > 0);
        if (progress < 0)
            return; // The bus is gone.
        if (hasChanged) {
            if (!waitForMore(kSettleMilliseconds))
                return;
            if (sd_bus_process(bus.get(), nullptr) > 0)
                continue;
            hasChanged = false;
            askForModels();
            continue;
        }
        std::uint64_t until = UINT64_MAX;
        sd_bus_get_timeout(bus.get(), &until);
        if (!waitForMore(timeoutUntil(until)))
            return;
    }
}

bool DriveWatch::System::subscribe() {
    return std::all_of(kMatches.begin(), kMatches.end(), [this](const char* match) {
        return sd_bus_add_match_async(bus.get(), nullptr, match, onSignal, nullptr, this) >= 0;
    });
}

/// False when the watch is to end, or cannot go on.
bool DriveWatch::System::waitForMore(int milliseconds) {
    const int events = sd_bus_get_events(bus.get());
    std::array<pollfd, 2> ends{
        {{wake.get(), POLLIN, 0}, {sd_bus_get_fd(bus.get()), static_cast<short>(events), 0}}};
    if (events < 0 || (::poll(ends.data(), ends.size(), milliseconds) < 0 && errno != EINTR))
        return false;
    return ends[0].revents == 0;
}

void DriveWatch::System::askForModels() {
    sd_bus_message* call = nullptr;
    if (sd_bus_message_new_method_call(bus.get(), &call, kService, kRoot, kObjects,
                                       "GetManagedObjects") < 0)
        return;
    const BusMessage owned(call);
    static_cast<void>(
        sd_bus_call_async(bus.get(), nullptr, call, onModels, this, kAnswerMicroseconds));
}

int DriveWatch::System::onSignal(sd_bus_message* /*message*/, void* self, sd_bus_error* /*error*/) {
    static_cast<System*>(self)->hasChanged = true;
    return 0;
}

int DriveWatch::System::onModels(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
    if (sd_bus_message_is_method_error(message, nullptr) > 0)
        return 0;
    DriveModels models = readDriveModels(message);
    auto& system = *static_cast<System*>(self);
    {
        const std::scoped_lock lock(system.mutex);
        system.models = std::move(models);
    }
    system.onChange();
    return 0;
}

DriveWatch::DriveWatch(std::function<void()> onChange)
    : system_(std::make_unique<System>(std::move(onChange))) {}

DriveWatch::~DriveWatch() = default;

std::wstring DriveWatch::modelOf(const std::wstring& device) const {
    const std::scoped_lock lock(system_->mutex);
    const auto found = system_->models.find(format::utf8FromWide(device));
    return found == system_->models.end() ? std::wstring() : format::wideFromUtf8(found->second);
}

} // namespace platform
