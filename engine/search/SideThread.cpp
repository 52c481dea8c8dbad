#include "engine/search/SideThread.h"

#include <utility>

namespace kova {

SideThread::~SideThread() {
    {
        const std::scoped_lock lock(mutex_);
        ends_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void SideThread::begin(std::function<void()> work) {
    {
        const std::scoped_lock lock(mutex_);
        work_ = std::move(work);
    }
    changed_.notify_all();
}

void SideThread::finish() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !work_; });
    if (const auto thrown = std::exchange(thrown_, nullptr))
        std::rethrow_exception(thrown);
}

void SideThread::loop() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return ends_ || work_; });
        if (!work_)
            return;
        lock.unlock();
        std::exception_ptr thrown;
        try {
            work_();
        } catch (...) {
            thrown = std::current_exception();
        }
        lock.lock();
        thrown_ = thrown;
        work_ = nullptr;
        changed_.notify_all();
    }
}

} // namespace kova
