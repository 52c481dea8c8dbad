#pragma once

#include <benchmark/benchmark.h>

#include <functional>

namespace kova::bench {

/// Compares two pieces of work within one run: only their ratio means anything on another
/// machine. Each is run `rounds` times in turn, after one round that is not counted; what counts
/// is the median. `cleanUp` runs after each, unmeasured. The benchmark's time is that of `subject`;
/// its counters are `ratio`, `limit` and `baseline_ms`. A ratio above the limit is reported as an
/// error.
void compare(
    benchmark::State& state, double limit, const std::function<void()>& baseline,
    const std::function<void()>& subject, int rounds = 5,
    const std::function<void()>& cleanUp = [] {});

} // namespace kova::bench
