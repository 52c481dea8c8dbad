#pragma once

#include <functional>
#include <memory>

namespace kova {

/// Runs calls that may block for long, such as requests to a failing disk, in a thread of its
/// own, so that whoever waits for them can do something else meanwhile, or give up.
///
/// One call runs at a time. The object itself is used by one thread at a time.
class PatientThread {
public:
    PatientThread() = default;
    PatientThread(const PatientThread&) = delete;
    PatientThread& operator=(const PatientThread&) = delete;
    /// Does not wait for a call that was given up: its thread ends after it.
    ~PatientThread();

    /// Runs `work` in the thread and returns when it is done. Every few milliseconds until then
    /// it calls `whileWaiting`; what that throws passes out and gives `work` up: it goes on
    /// alone, so it has to own all that it touches. `work` must not throw.
    void run(std::function<void()> work, const std::function<void()>& whileWaiting);

    /// Waits until a call that was given up, if any, is done.
    void waitUntilIdle();

private:
    struct State;
    std::shared_ptr<State> state_; ///< Shared with the thread; null before the first call.
};

} // namespace kova
