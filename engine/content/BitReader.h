#pragma once

#include "engine/content/ContentReader.h"

namespace kova {

/// Reads bits from the most significant one of each byte on.
class BitReader {
public:
    /// From byte `at` of the reader's source.
    BitReader(ContentReader& reader, uint64 at) : reader_(reader), next_(at) {}

    /// The next `count` bits, 0 to 32.
    uint32 bits(unsigned count) {
        if (count == 0)
            return 0;
        while (held_ < count)
            take();
        held_ -= count;
        const auto value = static_cast<uint32>((window_ >> held_) & ((uint64{1} << count) - 1));
        return value;
    }

    void skip(uint64 count) {
        for (; count > 32; count -= 32)
            bits(32);
        bits(static_cast<unsigned>(count));
    }

    /// Zeros before the next one, which is taken too.
    uint64 unary() {
        uint64 zeros = 0;
        while (bits(1) == 0)
            ++zeros;
        return zeros;
    }

    /// The byte that begins behind the last bit taken.
    [[nodiscard]] uint64 byteBehind() const { return next_ - held_ / 8; }

private:
    void take() {
        if (at_ == piece_.size()) {
            piece_ = reader_.some(next_);
            at_ = 0;
            if (piece_.empty())
                fail();
        }
        window_ = window_ << 8 | piece_[at_++];
        ++next_;
        held_ += 8;
    }

    ContentReader& reader_;
    std::span<const uint8> piece_; ///< Of the reader's window, which nobody else moves meanwhile.
    std::size_t at_ = 0;
    uint64 next_;
    uint64 window_ = 0;
    unsigned held_ = 0; ///< Bits of the window that are still to come.
};

} // namespace kova
