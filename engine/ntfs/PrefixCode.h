#pragma once

#include "engine/ntfs/WordBits.h"

#include <array>
#include <vector>

namespace kova {

/// A canonical prefix code, as its lengths describe it: shorter codes come before longer ones, and
/// those of one length are in the order of their symbols.
class PrefixCode {
public:
    static constexpr unsigned kLongest = 16;
    static constexpr std::size_t kLengths = 17; ///< 0 to the longest.

    /// Takes the length of each symbol's code in bits, 0 to 16; 0: it has none. False when there
    /// cannot be such a code.
    bool build(std::span<const uint8> lengths);

    /// The next symbol. No code that there is: the generic failure.
    [[nodiscard]] uint32 next(WordBits& bits) const;

private:
    static constexpr unsigned kQuickBits = 9;

    struct Quick {
        uint16 symbol = 0;
        uint8 length = 0; ///< 0: the code is longer, or there is none.
    };

    std::array<Quick, 1U << kQuickBits> quick_{}; ///< By the next bits.
    std::array<uint32, kLengths> ends_{};         ///< By length: behind the last code, in 16 bits.
    std::array<uint32, kLengths> counts_{};       ///< Codes that are shorter or as long.
    std::vector<uint16> symbols_;                 ///< In the order of their codes.
};

} // namespace kova
