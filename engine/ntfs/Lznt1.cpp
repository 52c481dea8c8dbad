#include "engine/ntfs/Lznt1.h"

#include "engine/LittleEndian.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace kova {

namespace {

/// The 16 bits before a chunk; 0 ends the chunks.
constexpr std::size_t kHeaderBytes = 2;
constexpr uint16 kSizeMask = 0x0FFF; ///< Bytes of the chunk without the header, less 1.
constexpr uint16 kSignatureMask = 0x7000;
constexpr uint16 kSignature = 0x3000;
constexpr uint16 kIsCompressed = 0x8000;

constexpr std::size_t kShortestReference = 3;
constexpr unsigned kReferenceBits = 16;
/// However little lies behind, the distance has this many of a reference's bits.
constexpr unsigned kFewestDistanceBits = 4;

/// Bits of a reference at `position` of a chunk that hold its distance: as many as it takes to
/// reach back to the chunk's begin.
unsigned distanceBits(std::size_t position) {
    return std::max(static_cast<unsigned>(std::bit_width(position - 1)), kFewestDistanceBits);
}

/// Copies `length` bytes from `distance` before `to`; the two may overlap, and then repeat.
void repeat(uint8* to, std::size_t distance, std::size_t length, std::size_t room) {
    constexpr std::size_t kWord = sizeof(uint64);
    const uint8* const from = to - distance;
    if (distance >= kWord && length + kWord <= room) {
        for (std::size_t i = 0; i < length; i += kWord)
            std::memcpy(to + i, from + i, kWord);
        return;
    }
    for (std::size_t i = 0; i < length; ++i)
        to[i] = from[i];
}

/// Expands one compressed chunk. Returns the bytes made; `isDamaged` when they are not all.
std::size_t expandChunk(std::span<const uint8> packed, std::span<uint8> out, bool& isDamaged) {
    std::size_t at = 0;
    std::size_t made = 0;
    while (at < packed.size()) {
        unsigned tags = packed[at++];
        constexpr std::size_t kPerTags = 8;
        if (tags == 0 && packed.size() - at >= kPerTags && out.size() - made >= kPerTags) {
            std::memcpy(out.data() + made, packed.data() + at, kPerTags);
            at += kPerTags;
            made += kPerTags;
            continue;
        }
        for (std::size_t i = 0; i < kPerTags && at < packed.size(); ++i, tags >>= 1) {
            if (made == out.size()) {
                isDamaged = true;
                return made;
            }
            if ((tags & 1) == 0) {
                out[made++] = packed[at++];
                continue;
            }
            if (packed.size() - at < sizeof(uint16) || made == 0) {
                isDamaged = true;
                return made;
            }
            const unsigned reference = loadLe<uint16>(&packed[at]);
            at += sizeof(uint16);
            const unsigned lengthBits = kReferenceBits - distanceBits(made);
            const std::size_t distance = (reference >> lengthBits) + 1;
            const std::size_t length = (reference & ((1U << lengthBits) - 1)) + kShortestReference;
            const std::size_t room = out.size() - made;
            if (distance > made || length > room) {
                isDamaged = true;
                return made;
            }
            repeat(out.data() + made, distance, length, room);
            made += length;
        }
    }
    return made;
}

} // namespace

bool Lznt1::expand(std::span<const uint8> packed, std::span<uint8> out, std::size_t needed) {
    bool isWhole = true;
    std::size_t done = 0;
    while (done < out.size() && packed.size() >= kHeaderBytes) {
        const auto header = loadLe<uint16>(packed.data());
        if (header == 0) {
            isWhole = isWhole && done > 0; // Content of zeros only has no clusters at all.
            break;
        }
        packed = packed.subspan(kHeaderBytes);
        const std::size_t size = std::size_t{1} + (header & kSizeMask);
        if ((header & kSignatureMask) != kSignature || size > packed.size()) {
            // Where the next chunk begins is not known.
            isWhole = isWhole && done >= needed;
            break;
        }
        const auto chunk = out.subspan(done, std::min(kChunkBytes, out.size() - done));
        bool isDamaged = false;
        std::size_t made = 0;
        if ((header & kIsCompressed) != 0) {
            made = expandChunk(packed.first(size), chunk, isDamaged);
        } else {
            made = std::min(size, chunk.size());
            std::memcpy(chunk.data(), packed.data(), made);
        }
        std::fill(chunk.begin() + static_cast<std::ptrdiff_t>(made), chunk.end(), uint8{0});
        isWhole = isWhole && (!isDamaged || done >= needed);
        packed = packed.subspan(size);
        done += chunk.size();
    }
    std::fill(out.begin() + static_cast<std::ptrdiff_t>(done), out.end(), uint8{0});
    return isWhole;
}

} // namespace kova
