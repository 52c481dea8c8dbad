#include "engine/content/kinds.h"

#include <algorithm>
#include <bit>
#include <optional>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"bzip2", L"bz2", ContentGroup::Archives, Filling::Packed}};

/// "BZh", the level as a digit; then blocks and an end, each beginning at any bit with six bytes
/// of magic and a CRC-32 (of the block, or of all of them together).
constexpr auto kMagic = "BZh"sv;
constexpr std::size_t kLevelAt = 3;
constexpr std::size_t kFirstBlock = 4;
constexpr uint64 kBlockMagic = 0x314159265359;
constexpr uint64 kEndMagic = 0x177245385090;
constexpr uint64 kMagicMask = 0xFFFFFFFFFFFF;
constexpr unsigned kMagicBits = 48;
constexpr unsigned kCrcBits = 32;
/// A block holds up to 100,000 bytes a level, and hardly grows.
constexpr uint64 kMostBlock = 130'000;
constexpr uint64 kSector = 512;

class Bzip2Kind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "B"; }

    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, kMagic) || first.size() < kFirstBlock + 6)
            return Certainty::No;
        const bool level = first[kLevelAt] >= '1' && first[kLevelAt] <= '9';
        const uint64 magic = (uint64{readBe<uint32>(first, kFirstBlock)} << 16) |
                             readBe<uint16>(first, kFirstBlock + 4);
        return level && (magic == kBlockMagic || magic == kEndMagic) ? Certainty::Structure
                                                                     : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        constexpr uint64 kMostBytes = kMostBlock * 9;
        uint64 bit = kFirstBlock * 8;
        uint32 combined = 0;
        while (true) {
            const uint64 magic = bitsAt(reader, bit, kMagicBits);
            const auto crc = static_cast<uint32>(bitsAt(reader, bit + kMagicBits, kCrcBits));
            if (magic == kEndMagic) {
                const uint64 end = (bit + kMagicBits + kCrcBits + 7) / 8;
                if (crc != combined)
                    return found.breaks(bit / 8, end);
                // Streams may follow each other; one that begins a sector is another file.
                if (end % kSector == 0 ||
                    begins(reader.some(end, kFirstBlock + 6)) == Certainty::No)
                    return found.endsAt(end);
                bit = (end + kFirstBlock) * 8;
                combined = 0;
                continue;
            }
            combined = std::rotl(combined, 1) ^ crc;
            const uint64 behind = bit + kMagicBits + kCrcBits;
            const auto next = nextMagic(reader, behind, behind / 8 + kMostBytes);
            if (!next)
                return found.breaks(bit / 8, std::min(behind / 8 + kMostBytes, reader.size()));
            bit = *next;
        }
    }

private:
    static uint64 bitsAt(ContentReader& reader, uint64 bit, unsigned count) {
        const unsigned bytes = (static_cast<unsigned>(bit % 8) + count + 7) / 8;
        uint64 value = 0;
        for (const uint8 byte : reader.bytes(bit / 8, bytes))
            value = (value << 8) | byte;
        const unsigned behind = bytes * 8 - static_cast<unsigned>(bit % 8) - count;
        return (value >> behind) & ((uint64{1} << count) - 1);
    }

    /// The bit at which a magic begins, at `bit` or later and ending before byte `to`.
    static std::optional<uint64> nextMagic(ContentReader& reader, uint64 bit, uint64 to) {
        uint64 window = 0;
        uint64 at = bit / 8;
        const uint64 first = at + kMagicBits / 8;
        to = std::min(to, reader.size());
        while (at < to) {
            const auto piece = reader.some(at, to - at);
            for (const uint8 byte : piece) {
                window = (window << 8) | byte;
                if (++at < first)
                    continue;
                for (unsigned behind = 0; behind < 8; ++behind) {
                    const uint64 bits = (window >> behind) & kMagicMask;
                    if (bits == kBlockMagic || bits == kEndMagic)
                        return at * 8 - behind - kMagicBits;
                }
            }
            if (piece.empty())
                break;
        }
        return std::nullopt;
    }
};

} // namespace

const ContentKind& bzip2Kind() {
    static const Bzip2Kind kind;
    return kind;
}

} // namespace kova
