#pragma once

#include "engine/content/ContentSource.h"

#include <algorithm>

namespace kova {

/// Bytes in memory, which outlive it.
class MemorySource : public ContentSource {
public:
    explicit MemorySource(std::span<const uint8> bytes) : bytes_(bytes) {}

    [[nodiscard]] uint64 size() const override { return bytes_.size(); }

    std::size_t read(uint64 offset, std::span<uint8> bytes) override {
        if (offset >= bytes_.size())
            return 0;
        const auto there = bytes_.subspan(static_cast<std::size_t>(offset));
        const std::size_t count = std::min(there.size(), bytes.size());
        std::copy_n(there.begin(), count, bytes.begin());
        return count;
    }

private:
    std::span<const uint8> bytes_;
};

} // namespace kova
