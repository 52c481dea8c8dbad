#pragma once

#include "bench/Nodes.h"
#include "bench/Ratio.h"

#include <memory>

namespace kova::bench {

/// The states of all files of a volume against their scan.
inline void compareStates(benchmark::State& state, ZVolume& volume) {
    constexpr double kMostShare = 0.25;
    const std::vector<ZFileTreeNode> nodes = nodesOf(volume);
    auto tree = std::make_unique<ZFileTree>();
    compare(
        state, kMostShare, [&] { volume.scan(tree.get()); },
        [&] {
            for (const ZFileTreeNode& node : nodes)
                benchmark::DoNotOptimize(volume.assess(node));
        },
        5, [&] { tree = std::make_unique<ZFileTree>(); });
    state.counters["nodes"] = static_cast<double>(nodes.size());
}

} // namespace kova::bench
