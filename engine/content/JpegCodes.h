#pragma once

#include "engine/content/ContentReader.h"

#include <array>
#include <optional>
#include <vector>

namespace kova {

/// The Huffman codes of one table of a JPEG picture.
class JpegCodes {
public:
    static constexpr unsigned kLongest = 16; ///< Bits.

    struct Code {
        uint8 symbol = 0;
        uint8 bits = 0; ///< 0: no code.
        uint8 step = 0; ///< The same with the bits of the value that follow it.
        /// For a value other than a block's first: how many of the block's values it makes known.
        uint8 values = kWrong;
    };

    /// What `values` is for the code that ends a block, and for one that may not stand there: more
    /// than a block has, whatever went before.
    static constexpr uint8 kEndOfBlock = 160;
    static constexpr uint8 kWrong = 80;

    /// Reads the table at `at`, the number of codes of each length and then their symbols, and
    /// moves `at` behind it. Nothing when there are more codes than bits can tell apart.
    static std::optional<JpegCodes> read(ContentReader& reader, uint64& at);

    /// The code that `next`, 16 bits, begins with.
    [[nodiscard]] Code find(uint32 next) const {
        const Code code = short_[next >> (kLongest - kShort)];
        return code.bits != 0 ? code : findLong(next);
    }

private:
    /// Most codes that are met are this short, and their table is small enough to stay near.
    static constexpr unsigned kShort = 9;

    static Code code(uint8 symbol, unsigned bits);
    [[nodiscard]] Code findLong(uint32 next) const;

    std::array<Code, std::size_t{1} << kShort> short_{};
    std::array<uint32, kLongest + 1> ends_{};   ///< By length: behind its last code, as 16 bits.
    std::array<uint32, kLongest + 1> places_{}; ///< By length: from a code to its symbol's place.
    std::vector<uint8> symbols_;                ///< In the order of their codes.
};

} // namespace kova
