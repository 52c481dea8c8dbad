#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>

namespace kova {

/// A thread that does one piece of work after the other beside the thread that has it done, for
/// pieces too small for a thread each.
class SideThread {
public:
    SideThread() : thread_([this] { loop(); }) {}

    SideThread(const SideThread&) = delete;
    SideThread& operator=(const SideThread&) = delete;
    /// Waits for the work.
    ~SideThread();

    /// Begins `work`, once the work before is finished. What it touches stays until `finish`.
    void begin(std::function<void()> work);

    /// Waits until the work is done, if there is any, and passes out what it has thrown.
    void finish();

private:
    void loop();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::function<void()> work_; ///< Empty: nothing to do.
    std::exception_ptr thrown_;
    bool ends_ = false;
    std::thread thread_; // Begins when all else is there.
};

} // namespace kova
