#pragma once

#include "engine/LittleEndian.h"

#include <cstddef>
#include <span>

namespace kova {

/// Reads bits from words of 16 bits, the most significant one first, and the bytes that may stand
/// between the words. Behind the end there are zeros.
class WordBits {
public:
    explicit WordBits(std::span<const uint8> bytes) : bytes_(bytes) { refill(); }

    /// The next 16 bits, which stay.
    [[nodiscard]] uint32 peek() const { return window_ >> (held_ - kWord); }

    /// Takes `count` bits, at most 16.
    void skip(unsigned count) {
        held_ -= count;
        window_ &= (1U << held_) - 1;
        refill();
    }

    /// The next `count` bits, at most 16.
    uint32 bits(unsigned count) {
        const uint32 value = peek() >> (kWord - count);
        skip(count);
        return value;
    }

    /// A number behind the words that have been read, 0 where there are none left.
    template <typename T>
    T number() {
        T value = 0;
        if (bytes_.size() - next_ >= sizeof(T))
            value = loadLe<T>(bytes_.data() + next_);
        next_ = next_ + sizeof(T) < bytes_.size() ? next_ + sizeof(T) : bytes_.size();
        return value;
    }

    /// Whether more bits have been taken than there were.
    [[nodiscard]] bool isBeyondEnd() const { return missing_ > held_; }

    /// The bytes behind the word of which the last bit taken was one; behind the next word where
    /// that was its last bit.
    [[nodiscard]] std::size_t nextWord() const {
        const std::size_t taken = 8 * next_ + missing_ - held_;
        return (taken / kWord + 1) * (kWord / 8);
    }

private:
    static constexpr unsigned kWord = 16;

    /// Holds 16 to 31 bits from here on.
    void refill() {
        while (held_ < kWord) {
            uint32 word = 0;
            if (bytes_.size() - next_ >= sizeof(uint16)) {
                word = loadLe<uint16>(bytes_.data() + next_);
                next_ += sizeof(uint16);
            } else {
                next_ = bytes_.size();
                missing_ += kWord;
            }
            window_ = window_ << kWord | word;
            held_ += kWord;
        }
    }

    std::span<const uint8> bytes_;
    std::size_t next_ = 0;
    uint32 window_ = 0;
    unsigned held_ = 0;
    unsigned missing_ = 0; ///< Bits of those read that the bytes did not have.
};

} // namespace kova
