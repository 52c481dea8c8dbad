#include "bench/Ratio.h"

#include <algorithm>
#include <chrono>
#include <vector>

namespace kova::bench {

namespace {

double seconds(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

void compare(benchmark::State& state, double limit, const std::function<void()>& baseline,
             const std::function<void()>& subject, int rounds,
             const std::function<void()>& cleanUp) {
    std::vector<double> baselines;
    std::vector<double> subjects;
    baseline();
    cleanUp();
    subject();
    cleanUp();
    for (auto _ : state) {
        for (int round = 0; round < rounds; ++round) {
            baselines.push_back(seconds(baseline));
            cleanUp();
            subjects.push_back(seconds(subject));
            cleanUp();
        }
        state.SetIterationTime(median(subjects));
    }
    const double ratio = median(subjects) / median(baselines);
    state.counters["ratio"] = ratio;
    state.counters["limit"] = limit;
    state.counters["baseline_ms"] = median(baselines) * 1000;
    if (ratio > limit)
        state.SkipWithError(("slower than the limit: ratio " + std::to_string(ratio) + ", " +
                             std::to_string(median(baselines) * 1000) + " ms against")
                                .c_str());
}

} // namespace kova::bench
