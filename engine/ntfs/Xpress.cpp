#include "engine/ntfs/Xpress.h"

#include "engine/ntfs/PrefixCode.h"
#include "engine/ntfs/copyBack.h"

#include <array>

namespace kova {

namespace {

constexpr std::size_t kSymbols = 512;
constexpr std::size_t kTableBytes = kSymbols / 2; ///< Lengths of codes, four bits each.
constexpr uint32 kFirstMatch = 256;               ///< Symbols below are bytes.
constexpr uint32 kShortestMatch = 3;
/// Low bits of a match's symbol: its length less 3; at most this, which says that more follows.
constexpr uint32 kLengthMask = 15;
constexpr unsigned kLengthBits = 4;

/// What a match is longer than the shortest, as it stands behind a symbol that cannot say it.
uint32 longLength(WordBits& bits) {
    constexpr uint32 kMoreFollows = 255;
    const uint32 byte = bits.number<uint8>();
    if (byte != kMoreFollows)
        return byte + kLengthMask;
    const uint32 word = bits.number<uint16>();
    const uint32 length = word != 0 ? word : bits.number<uint32>();
    if (length < kLengthMask)
        fail();
    return length;
}

void expandChunk(std::span<const uint8> packed, std::span<uint8> out) {
    std::array<uint8, kSymbols> lengths{};
    for (std::size_t i = 0; i < kTableBytes; ++i) {
        lengths[2 * i] = packed[i] & 0x0F;
        lengths[2 * i + 1] = packed[i] >> 4;
    }
    PrefixCode code;
    if (!code.build(lengths))
        fail();
    WordBits bits(packed.subspan(kTableBytes));
    for (std::size_t made = 0; made < out.size();) {
        const uint32 symbol = code.next(bits);
        if (bits.isBeyondEnd())
            fail();
        if (symbol < kFirstMatch) {
            out[made++] = static_cast<uint8>(symbol);
            continue;
        }
        uint32 length = symbol & kLengthMask;
        const unsigned distanceBits = (symbol - kFirstMatch) >> kLengthBits;
        if (length == kLengthMask)
            length = longLength(bits);
        const uint32 distance = (1U << distanceBits) | bits.bits(distanceBits);
        copyBack(out, made, distance, std::size_t{length} + kShortestMatch);
    }
}

} // namespace

bool Xpress::expand(std::span<const uint8> packed, std::span<uint8> out) {
    if (packed.size() < kTableBytes)
        return false;
    try {
        expandChunk(packed, out);
        return true;
    } catch (int) {
        return false;
    }
}

} // namespace kova
