#pragma once

#include <atomic>

/// Whether the user has asked to stop.
class Interruption {
public:
    /// Thrown to get out of what is being done.
    struct Stop {};

    /// From now on Ctrl-C is noticed instead of ending the program at once.
    static void watch();

    [[nodiscard]] static bool requested() noexcept {
        return requested_.load(std::memory_order_relaxed);
    }

    static void throwIfRequested() {
        if (requested())
            throw Stop();
    }

private:
    static std::atomic<bool> requested_;
};
