#include "engine/content/JpegCodes.h"

#include <algorithm>

namespace kova {

namespace {

// A symbol's lower half: the bits of a value. Its upper half: the zeros before it.
constexpr unsigned kMostZeros = 15;

} // namespace

JpegCodes::Code JpegCodes::code(uint8 symbol, unsigned bits) {
    const unsigned valueBits = symbol & 0x0FU;
    const unsigned zeros = symbol >> 4;
    unsigned values = zeros + 1;
    if (symbol == 0)
        values = kEndOfBlock;
    else if (valueBits == 0 && zeros != kMostZeros)
        values = kWrong;
    return {symbol, static_cast<uint8>(bits), static_cast<uint8>(bits + valueBits),
            static_cast<uint8>(values)};
}

std::optional<JpegCodes> JpegCodes::read(ContentReader& reader, uint64& at) {
    std::array<uint8, kLongest> counts{};
    const auto stored = reader.bytes(at, kLongest);
    std::copy(stored.begin(), stored.end(), counts.begin());
    at += kLongest;
    JpegCodes codes;
    uint32 code = 0; // The next one, in as many bits as there are of it.
    for (unsigned bits = 1; bits <= kLongest; ++bits, code <<= 1) {
        const auto first = static_cast<uint32>(codes.symbols_.size());
        codes.places_[bits] = first - code;
        for (unsigned i = 0; i < counts[bits - 1]; ++i, ++code) {
            if (code >= 1U << bits)
                return std::nullopt;
            const uint8 symbol = reader.byte(at++);
            codes.symbols_.push_back(symbol);
            if (bits <= kShort)
                std::fill_n(codes.short_.begin() +
                                static_cast<std::ptrdiff_t>(std::size_t{code} << (kShort - bits)),
                            std::size_t{1} << (kShort - bits), JpegCodes::code(symbol, bits));
        }
        codes.ends_[bits] = code << (kLongest - bits);
    }
    return codes;
}

JpegCodes::Code JpegCodes::findLong(uint32 next) const {
    for (unsigned bits = kShort + 1; bits <= kLongest; ++bits) {
        // Codes are numbered on from length to length: all that lies before the end is one of
        // these.
        if (next < ends_[bits])
            return code(symbols_[places_[bits] + (next >> (kLongest - bits))], bits);
    }
    return {};
}

} // namespace kova
