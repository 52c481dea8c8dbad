#include "engine/ntfs/Lzx.h"

#include "engine/ntfs/PrefixCode.h"
#include "engine/ntfs/copyBack.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace kova {

namespace {

enum BlockType : uint32 { Verbatim = 1, Aligned = 2, Plain = 3 };

constexpr std::size_t kBytes = 256; ///< Symbols of the main code that are bytes.
constexpr std::size_t kSlots = 30;  ///< Of distances, for a window of 32 KiB.
constexpr std::size_t kLengthsPerSlot = 8;
constexpr std::size_t kMainSymbols = kBytes + kSlots * kLengthsPerSlot;
constexpr std::size_t kLengthSymbols = 249;
constexpr std::size_t kAlignedSymbols = 8;
constexpr std::size_t kPretreeSymbols = 20;
constexpr unsigned kAlignedBits = 3;

constexpr uint32 kShortestMatch = 2;
constexpr uint32 kMoreLength = 7; ///< A length from here on has a code of its own.
constexpr uint32 kRecentDistances = 3;
constexpr uint32 kDistanceBias = 2; ///< A distance is stored as so much more.

/// Bits of a distance that stand behind its slot.
constexpr unsigned extraBits(std::size_t slot) {
    return slot < 4 ? 0 : static_cast<unsigned>(slot / 2 - 1);
}

/// The least distance of each slot, as it is stored.
constexpr std::array<uint32, kSlots> slotBases() {
    std::array<uint32, kSlots> bases{};
    for (std::size_t slot = 1; slot < kSlots; ++slot)
        bases[slot] = bases[slot - 1] + (1U << extraBits(slot - 1));
    return bases;
}

constexpr std::array<uint32, kSlots> kSlotBases = slotBases();

class Chunk {
public:
    Chunk(std::span<const uint8> packed, std::span<uint8> out)
        : packed_(packed), out_(out), bits_(packed) {}

    void expand() {
        while (made_ < out_.size())
            expandBlock();
    }

private:
    void expandBlock() {
        const uint32 type = bits_.bits(3);
        const std::size_t size = bits_.bits(1) != 0 ? Lzx::kChunkBytes : bits_.bits(16);
        if (size == 0 || size > out_.size() - made_ || bits_.isBeyondEnd())
            fail();
        switch (type) {
        case Verbatim:
        case Aligned:
            readCodes(type == Aligned);
            expandCoded(made_ + size, type == Aligned);
            break;
        case Plain:
            copyPlain(size);
            break;
        default:
            fail();
        }
    }

    void readCodes(bool isAligned) {
        if (isAligned) {
            std::array<uint8, kAlignedSymbols> lengths{};
            for (uint8& length : lengths)
                length = static_cast<uint8>(bits_.bits(3));
            build(aligned_, lengths);
        }
        readLengths(std::span(mainLengths_).first(kBytes));
        readLengths(std::span(mainLengths_).subspan(kBytes));
        readLengths(lengthLengths_);
        build(main_, mainLengths_);
        build(length_, lengthLengths_);
    }

    static void build(PrefixCode& code, std::span<const uint8> lengths) {
        if (!code.build(lengths))
            fail();
    }

    /// Lengths are stored as differences to those of the block before.
    void readLengths(std::span<uint8> lengths) {
        constexpr uint32 kModulus = 17;
        constexpr uint32 kFewZeros = 17;
        constexpr uint32 kManyZeros = 18;
        constexpr uint32 kSameAgain = 19;
        std::array<uint8, kPretreeSymbols> pretreeLengths{};
        for (uint8& length : pretreeLengths)
            length = static_cast<uint8>(bits_.bits(4));
        PrefixCode pretree;
        build(pretree, pretreeLengths);
        for (std::size_t at = 0; at < lengths.size();) {
            uint32 symbol = pretree.next(bits_);
            std::size_t count = 1;
            bool isZeros = true;
            if (symbol == kFewZeros) {
                count = 4 + bits_.bits(4);
            } else if (symbol == kManyZeros) {
                count = 20 + bits_.bits(5);
            } else {
                isZeros = false;
                if (symbol == kSameAgain) {
                    count = 4 + bits_.bits(1);
                    symbol = pretree.next(bits_);
                }
                if (symbol >= kModulus)
                    fail();
            }
            if (count > lengths.size() - at || bits_.isBeyondEnd())
                fail();
            const auto value =
                isZeros ? uint8{0}
                        : static_cast<uint8>((lengths[at] + kModulus - symbol) % kModulus);
            std::fill_n(lengths.begin() + static_cast<std::ptrdiff_t>(at), count, value);
            at += count;
        }
    }

    void expandCoded(std::size_t end, bool isAligned) {
        while (made_ < end) {
            const uint32 symbol = main_.next(bits_);
            if (bits_.isBeyondEnd())
                fail();
            if (symbol < kBytes) {
                out_[made_++] = static_cast<uint8>(symbol);
                continue;
            }
            const auto match = symbol - static_cast<uint32>(kBytes);
            uint32 length = match % kLengthsPerSlot;
            if (length == kMoreLength)
                length += length_.next(bits_);
            length += kShortestMatch;
            const uint32 distance = readDistance(match / kLengthsPerSlot, isAligned);
            if (length > end - made_)
                fail();
            copyBack(out_, made_, distance, length);
        }
    }

    uint32 readDistance(std::size_t slot, bool isAligned) {
        if (slot < kRecentDistances) {
            std::swap(recent_[0], recent_[slot]);
            return recent_[0];
        }
        const unsigned extra = extraBits(slot);
        uint32 stored = kSlotBases[slot];
        if (isAligned && extra >= kAlignedBits) {
            stored += bits_.bits(extra - kAlignedBits) << kAlignedBits;
            stored += aligned_.next(bits_);
        } else {
            stored += bits_.bits(extra);
        }
        recent_ = {stored - kDistanceBias, recent_[0], recent_[1]};
        return recent_[0];
    }

    void copyPlain(std::size_t size) {
        std::size_t at = bits_.nextWord();
        const std::size_t header = kRecentDistances * sizeof(uint32);
        if (at > packed_.size() || packed_.size() - at < header + size)
            fail();
        for (uint32& distance : recent_) {
            distance = loadLe<uint32>(packed_.data() + at);
            at += sizeof(uint32);
        }
        std::memcpy(out_.data() + made_, packed_.data() + at, size);
        made_ += size;
        at += size + size % 2;
        packed_ = packed_.subspan(std::min(at, packed_.size()));
        bits_ = WordBits(packed_);
    }

    std::span<const uint8> packed_; ///< From where `bits_` began.
    std::span<uint8> out_;
    WordBits bits_;
    std::size_t made_ = 0;
    std::array<uint32, kRecentDistances> recent_{1, 1, 1}; ///< The latest distances.
    std::array<uint8, kMainSymbols> mainLengths_{};
    std::array<uint8, kLengthSymbols> lengthLengths_{};
    PrefixCode main_;
    PrefixCode length_;
    PrefixCode aligned_;
};

/// Where calls of x86 programs lead was made absolute, which repeats more; as if all of the file
/// had this size.
void undoCalls(std::span<uint8> bytes) {
    constexpr uint8 kCall = 0xE8;
    constexpr std::int32_t kFileBytes = 12'000'000;
    constexpr std::size_t kUntouched = 10; ///< Bytes at the end.
    if (bytes.size() <= kUntouched)
        return;
    for (std::size_t at = 0; at < bytes.size() - kUntouched; ++at) {
        if (bytes[at] != kCall)
            continue;
        const auto position = static_cast<std::int32_t>(at);
        const auto target = loadLe<std::int32_t>(&bytes[at + 1]);
        if (target >= -position && target < kFileBytes)
            storeLe<std::int32_t>(&bytes[at + 1],
                                  target >= 0 ? target - position : target + kFileBytes);
        at += sizeof target;
    }
}

} // namespace

bool Lzx::expand(std::span<const uint8> packed, std::span<uint8> out) {
    try {
        Chunk(packed, out).expand();
    } catch (int) {
        return false;
    }
    undoCalls(out);
    return true;
}

} // namespace kova
