#include "engine/content/kinds.h"

namespace kova {

namespace {

constexpr ContentType kTypes[] = {{L"GIF", L"gif", ContentGroup::Pictures}};

/// The screen descriptor: width at 6, height at 8, flags at 10 (bit 7: a colour table of
/// 3 * 2^(1 + bits 0-2) bytes follows), 13 bytes in all with the signature.
constexpr std::size_t kFlagsAt = 10;
constexpr std::size_t kScreenBytes = 13;
constexpr uint8 kImage = 0x2C;
constexpr uint8 kExtension = 0x21;
constexpr uint8 kTrailer = 0x3B;
/// An image descriptor with its introducer; its flags, as above, are the last byte.
constexpr uint64 kImageBytes = 10;
/// Bits of the first codes of an image's data.
constexpr uint8 kLeastCode = 1;
constexpr uint8 kMostCode = 11;

constexpr uint64 colourTable(uint8 flags) {
    return (flags & 0x80) != 0 ? uint64{3} << (1 + (flags & 7)) : 0;
}

/// Behind the blocks of up to 255 bytes that begin at `at`, each after its length, to the empty
/// one.
uint64 afterBlocks(ContentReader& reader, uint64 at) {
    while (const uint8 length = reader.byte(at))
        at += 1 + uint64{length};
    return at + 1;
}

class GifKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "G"; }

    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, "GIF87a") && !startsWith(first, "GIF89a"))
            return Certainty::No;
        if (first.size() < kScreenBytes)
            return Certainty::Magic;
        const auto next = kScreenBytes + static_cast<std::size_t>(colourTable(first[kFlagsAt]));
        if (next >= first.size())
            return Certainty::Magic;
        const uint8 block = first[next];
        const bool known = block == kImage || block == kExtension || block == kTrailer;
        return known ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        uint64 at = kScreenBytes + colourTable(reader.byte(kFlagsAt));
        uint64 sound = at;
        while (true) {
            const uint8 block = reader.byte(at);
            uint64 next = at + 1;
            if (block == kTrailer)
                return found.endsAt(next);
            if (block == kExtension) {
                next = afterBlocks(reader, at + 2);
            } else if (block == kImage) {
                next = at + kImageBytes + colourTable(reader.byte(at + kImageBytes - 1));
                const uint8 code = reader.byte(next);
                if (code < kLeastCode || code > kMostCode)
                    return found.breaks(at, next);
                next = afterBlocks(reader, next + 1);
            } else {
                // Wrong bytes show only where lengths no longer lead to a block.
                return found.breaks(sound, at);
            }
            sound = at;
            at = next;
        }
    }
};

} // namespace

const ContentKind& gifKind() {
    static const GifKind kind;
    return kind;
}

} // namespace kova
