#include "engine/PatientThread.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <stdexcept>

namespace {

using kova::PatientThread;

TEST(PatientThread, WaitsForWorkAndCallsBackMeanwhile) {
    PatientThread thread;
    std::promise<void> gate;
    int done = 0;
    int calls = 0;
    thread.run([&] { ++done; }, [] {});
    thread.run(
        [&] {
            gate.get_future().wait();
            ++done;
        },
        [&] {
            if (++calls == 3)
                gate.set_value();
        });
    EXPECT_EQ(done, 2);
    EXPECT_GE(calls, 3);
}

TEST(PatientThread, GivenUpWorkGoesOnAlone) {
    const auto giveUp = [] { throw std::runtime_error("enough"); };
    const auto gate = std::make_shared<std::promise<void>>();
    const auto last = std::make_shared<std::promise<int>>();
    std::future<int> result = last->get_future();
    {
        PatientThread thread;
        const auto work = [gate, last] {
            gate->get_future().wait();
            last->set_value(7);
        };
        EXPECT_THROW(thread.run(work, giveUp), std::runtime_error);
        // The next call waits for its turn, and can be given up meanwhile.
        EXPECT_THROW(thread.run([] { FAIL(); }, giveUp), std::runtime_error);
    }
    gate->set_value();
    EXPECT_EQ(result.get(), 7); // The object is gone.
}

} // namespace
