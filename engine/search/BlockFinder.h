#pragma once

#include "engine/ByteRange.h"
#include "engine/types.h"

#include <cstddef>
#include <span>
#include <string>
#include <vector>

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

    /// Where it has recognised something, in steps of `kStep`, rising, apart from each other: who
    /// shows it just these places, with what lies behind, has it find the same once more.
    [[nodiscard]] const std::vector<ByteRange>& recognised() const { return recognised_; }

protected:
    /// To be told of whatever is kept, as it is found: what begins at byte `position` of the media.
    void keepPlace(uint64 position, uint64 bytes) {
        const uint64 start = position / kStep * kStep;
        const uint64 end = (position + bytes + kStep - 1) / kStep * kStep;
        if (recognised_.empty() || start > recognised_.back().end())
            recognised_.push_back({start, end - start});
        else if (end > recognised_.back().end())
            recognised_.back().length = end - recognised_.back().start;
    }

private:
    std::vector<ByteRange> recognised_;
};

} // namespace kova
