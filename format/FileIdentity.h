#pragma once

#include <cstdint>
#include <tuple>

namespace format {

/// Names one file or folder on this machine, whatever path leads to it.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t index = 0;
    friend bool operator==(const FileIdentity&, const FileIdentity&) = default;

    friend bool operator<(const FileIdentity& left, const FileIdentity& right) {
        return std::tie(left.device, left.index) < std::tie(right.device, right.index);
    }
};

} // namespace format
