#pragma once

#include "engine/types.h"

#include <algorithm>

namespace kova {

/// How many clusters a scan looks into for folders that nothing leads to any more: so many, and
/// where these are small, what they may hold together.
[[nodiscard]] constexpr uint64 forgottenFolderProbes(uint64 clusterBytes) {
    constexpr uint64 kFewest = 0x4000;
    constexpr uint64 kBytes = uint64{128} << 20;
    return std::max(kFewest, kBytes / clusterBytes);
}

/// Whether what lies between the beginnings of such clusters is worth reading along with them.
[[nodiscard]] constexpr bool areNearEachOther(uint64 clusterBytes) {
    constexpr uint64 kMost = uint64{16} << 10;
    return clusterBytes <= kMost;
}

} // namespace kova
