#include "engine/PatientThread.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

namespace kova {

namespace {

constexpr std::chrono::milliseconds kPause{20};

} // namespace

struct PatientThread::State {
    std::mutex mutex;
    std::condition_variable changed;
    std::function<void()> work; ///< What the thread does, or is to do next; empty: nothing.
    bool ends = false;

    void loop() {
        std::unique_lock lock(mutex);
        for (;;) {
            changed.wait(lock, [this] { return ends || work; });
            if (!work)
                return;
            lock.unlock();
            work();
            lock.lock();
            work = nullptr;
            changed.notify_all();
        }
    }
};

PatientThread::~PatientThread() {
    if (!state_)
        return;
    const std::scoped_lock lock(state_->mutex);
    state_->ends = true;
    state_->changed.notify_all();
}

void PatientThread::run(std::function<void()> work, const std::function<void()>& whileWaiting) {
    if (!state_) {
        state_ = std::make_shared<State>();
        std::thread([state = state_] { state->loop(); }).detach();
    }
    std::unique_lock lock(state_->mutex);
    const auto waitForThread = [&] {
        while (!state_->changed.wait_for(lock, kPause, [this] { return !state_->work; })) {
            lock.unlock();
            whileWaiting();
            lock.lock();
        }
    };
    waitForThread();
    state_->work = std::move(work);
    state_->changed.notify_all();
    waitForThread();
}

void PatientThread::waitUntilIdle() {
    if (!state_)
        return;
    std::unique_lock lock(state_->mutex);
    state_->changed.wait(lock, [this] { return !state_->work; });
}

} // namespace kova
