#include "engine/ntfs/PrefixCode.h"

#include <algorithm>

namespace kova {

bool PrefixCode::build(std::span<const uint8> lengths) {
    std::array<uint32, kLengths> perLength{};
    for (const uint8 length : lengths)
        ++perLength[length];
    perLength[0] = 0;
    uint32 end = 0;
    counts_[0] = 0;
    for (unsigned length = 1; length <= kLongest; ++length) {
        end += perLength[length] << (kLongest - length);
        ends_[length] = end;
        counts_[length] = counts_[length - 1] + perLength[length];
    }
    if (end > 1U << kLongest)
        return false;
    symbols_.resize(counts_[kLongest]);
    quick_.fill({});
    std::array<uint32, kLengths> next{};
    for (unsigned length = 1; length <= kLongest; ++length)
        next[length] = counts_[length - 1];
    for (std::size_t symbol = 0; symbol < lengths.size(); ++symbol) {
        const unsigned length = lengths[symbol];
        if (length == 0)
            continue;
        const uint32 index = next[length]++;
        symbols_[index] = static_cast<uint16>(symbol);
        if (length > kQuickBits)
            continue;
        const uint32 code =
            ends_[length - 1] + ((index - counts_[length - 1]) << (kLongest - length));
        const auto first = quick_.begin() + (code >> (kLongest - kQuickBits));
        std::fill_n(first, 1U << (kQuickBits - length),
                    Quick{static_cast<uint16>(symbol), static_cast<uint8>(length)});
    }
    return true;
}

uint32 PrefixCode::next(WordBits& bits) const {
    const uint32 seen = bits.peek();
    const Quick quick = quick_[seen >> (kLongest - kQuickBits)];
    if (quick.length != 0) {
        bits.skip(quick.length);
        return quick.symbol;
    }
    for (unsigned length = kQuickBits + 1; length <= kLongest; ++length) {
        if (seen >= ends_[length])
            continue;
        const uint32 nth = (seen - ends_[length - 1]) >> (kLongest - length);
        bits.skip(length);
        return symbols_[counts_[length - 1] + nth];
    }
    fail();
}

} // namespace kova
