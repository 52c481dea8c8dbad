#include "engine/content/kinds.h"

#include <array>
#include <optional>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"xz", L"xz", ContentGroup::Archives, Filling::Packed}};

/// A stream: header (magic, flags (2 bytes: 0 and the kind of check), their CRC-32), blocks, the
/// index of these, footer (CRC-32 of what follows, length of the index / 4 - 1 (4), flags, "YZ").
constexpr auto kMagic = "\xFD\x37zXZ\0"sv;
constexpr uint64 kFlagsAt = 6;
constexpr uint64 kFlagsCrcAt = 8;
constexpr uint64 kHeaderBytes = 12;
constexpr uint64 kFooterBytes = 12;
constexpr std::array<uint8, 16> kCheckBytes = {0,  4,  4,  4,  8,  8,  8,  16,
                                               16, 16, 32, 32, 32, 64, 64, 64};
/// A chunk of a block's data begins with its kind: 0 ends the data, 1 and 2 are stored (length - 1
/// in 2 bytes), from 0x80 on packed (length - 1 of the packed data in the last 2 of 4 bytes, a
/// byte of properties more from 0xC0 on).
constexpr uint8 kPacked = 0x80;
constexpr uint8 kWithProperties = 0xC0;
constexpr uint64 kSector = 512;

uint64 roundUp(uint64 value) {
    return (value + 3) / 4 * 4;
}

class XzKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "\xFD"; }

    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, kMagic) || first.size() < kHeaderBytes)
            return Certainty::No;
        const bool flags = first[kFlagsAt] == 0 && first[kFlagsAt + 1] < kCheckBytes.size();
        return flags ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        uint64 at = 0;
        do {
            const auto end = streamEnd(reader, at, found);
            if (!end)
                return;
            at = *end;
        } while (at % kSector != 0 && reader.matches(at, kMagic));
        found.endsAt(at);
    }

private:
    /// Behind the stream at `at`; nothing, and said in `found`, where it breaks.
    static std::optional<uint64> streamEnd(ContentReader& reader, uint64 at,
                                           MeasuredContent& found) {
        const uint64 stream = at;
        const auto flags = reader.le<uint16>(at + kFlagsAt);
        found.breaks(stream, stream + kHeaderBytes);
        if (reader.crc32(at + kFlagsAt, 2) != reader.le<uint32>(at + kFlagsCrcAt))
            return std::nullopt;
        at += kHeaderBytes;
        uint64 blocks = 0;
        while (reader.byte(at) != 0) {
            found.breaks(at, at);
            const uint64 header = (uint64{reader.byte(at)} + 1) * 4;
            if (reader.crc32(at, header - 4) != reader.le<uint32>(at + header - 4))
                return std::nullopt;
            const auto data = dataEnd(reader, at + header, found);
            if (!data)
                return std::nullopt;
            at += roundUp(*data - at) + kCheckBytes[(flags >> 8) & 0xF];
            ++blocks;
        }
        found.breaks(at, at);
        const auto index = indexEnd(reader, at, blocks);
        if (!index)
            return std::nullopt;
        const uint64 footer = *index;
        const bool fits = reader.crc32(footer + 4, 6) == reader.le<uint32>(footer) &&
                          (uint64{reader.le<uint32>(footer + 4)} + 1) * 4 == footer - at &&
                          reader.le<uint16>(footer + 8) == flags &&
                          reader.matches(footer + 10, "YZ");
        return fits ? std::optional(footer + kFooterBytes) : std::nullopt;
    }

    /// Behind the chunks at `at`.
    static std::optional<uint64> dataEnd(ContentReader& reader, uint64 at, MeasuredContent& found) {
        while (true) {
            const uint8 kind = reader.byte(at);
            if (kind == 0)
                return at + 1;
            if (kind > 2 && kind < kPacked) {
                found.breaksAt = at;
                return std::nullopt;
            }
            const uint64 header = kind < kPacked ? 3 : kind < kWithProperties ? 5 : 6;
            at += header + reader.be<uint16>(at + (kind < kPacked ? 1 : 3)) + 1;
        }
    }

    /// The index: 0, count, for each block two numbers of seven bits a byte, zeros, CRC-32.
    static std::optional<uint64> indexEnd(ContentReader& reader, uint64 at, uint64 blocks) {
        uint64 next = at + 1;
        if (sevenBitNumber(reader, next) != blocks)
            return std::nullopt;
        for (uint64 i = 0; i < 2 * blocks; ++i)
            sevenBitNumber(reader, next);
        const uint64 crc = at + roundUp(next - at);
        if (reader.crc32(at, crc - at) != reader.le<uint32>(crc))
            return std::nullopt;
        return crc + 4;
    }

    static uint64 sevenBitNumber(ContentReader& reader, uint64& at) {
        uint64 value = 0;
        for (unsigned shift = 0; shift < 63; shift += 7) {
            const uint8 byte = reader.byte(at++);
            value |= uint64{byte & 0x7FU} << shift;
            if (byte < 0x80)
                return value;
        }
        fail();
    }
};

} // namespace

const ContentKind& xzKind() {
    static const XzKind kind;
    return kind;
}

} // namespace kova
