#pragma once

#include "engine/types.h"

#include <cstddef>
#include <span>
#include <string>

namespace kova {

/// Looks for one kind of thing in all that a search reads.
class BlockFinder {
public:
    /// Bytes behind the fresh ones that a finder may look at, where the drive goes on that far.
    static constexpr std::size_t kLookAhead = std::size_t{64} * 1024;
    /// Things begin at multiples of this.
    static constexpr std::size_t kStep = 512;

    BlockFinder() = default;
    BlockFinder(const BlockFinder&) = delete;
    BlockFinder& operator=(const BlockFinder&) = delete;
    virtual ~BlockFinder() = default;

    /// Looks at what lies at byte `position` of the media, a multiple of `kStep`. Called with
    /// rising positions. The first `fresh` bytes, a multiple of `kStep`, are new; things that
    /// begin behind them are seen again with the next call. Called by any one thread at a time.
    virtual void look(uint64 position, std::span<const uint8> bytes, std::size_t fresh) = 0;

    /// What it finds, in the plural.
    [[nodiscard]] virtual std::wstring name() const = 0;

    /// How many it has found. Not called while it looks.
    [[nodiscard]] virtual uint64 found() const = 0;
};

} // namespace kova
