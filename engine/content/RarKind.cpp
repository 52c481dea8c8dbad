#include "engine/content/kinds.h"

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"RAR", L"rar", ContentGroup::Archives}};

constexpr auto kMagic4 = "Rar!\x1A\x07\0"sv;
constexpr auto kMagic5 = "Rar!\x1A\x07\1\0"sv;

/// A block of RAR 4: CRC (2 bytes: the low ones of a CRC-32 of what follows), type, flags (2),
/// length of the header (2); the length of data behind it (4) at 7 when a flag says so, its high
/// half (4) at 32 for large files.
namespace rar4 {
constexpr uint64 kHeaderBytes = 7;
constexpr uint64 kTypeAt = 2;
constexpr uint64 kFlagsAt = 3;
constexpr uint64 kLengthAt = 5;
constexpr uint64 kDataAt = 7;
constexpr uint64 kHighDataAt = 32;
constexpr uint8 kArchive = 0x73;
constexpr uint8 kFile = 0x74;
constexpr uint8 kService = 0x7A;
constexpr uint8 kEnd = 0x7B;
constexpr uint16 kHasData = 0x8000;
constexpr uint16 kLarge = 0x100;
constexpr uint16 kEncryptedHeaders = 0x80;
} // namespace rar4

/// A block of RAR 5: CRC-32 of what follows, length of the header behind itself, type, flags, and
/// as these say length of the extra area and of the data: all numbers of seven bits a byte.
namespace rar5 {
constexpr uint64 kCrcBytes = 4;
constexpr uint64 kHasExtra = 1;
constexpr uint64 kHasData = 2;
constexpr uint64 kEncryption = 4;
constexpr uint64 kEnd = 5;
constexpr uint64 kMostHeader = uint64{2} << 20;
} // namespace rar5

uint64 sevenBitNumber(ContentReader& reader, uint64& at) {
    uint64 value = 0;
    for (unsigned shift = 0; shift < 63; shift += 7) {
        const uint8 byte = reader.byte(at++);
        value |= uint64{byte & 0x7FU} << shift;
        if (byte < 0x80)
            return value;
    }
    fail();
}

class RarKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "R"; }

    Certainty begins(std::span<const uint8> first) const override {
        if (startsWith(first, kMagic5))
            return Certainty::Magic;
        if (!startsWith(first, kMagic4))
            return Certainty::No;
        const std::size_t type = kMagic4.size() + rar4::kTypeAt;
        if (first.size() <= type)
            return Certainty::Magic;
        return first[type] == rar4::kArchive ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        if (reader.matches(0, kMagic4))
            follow4(reader, found);
        else
            follow5(reader, found);
    }

private:
    static void follow4(ContentReader& reader, MeasuredContent& found) {
        uint64 at = kMagic4.size();
        uint64 sound = at;
        while (true) {
            const uint64 header = reader.le<uint16>(at + rar4::kLengthAt);
            if (header < rar4::kHeaderBytes ||
                (reader.crc32(at + rar4::kTypeAt, header - rar4::kTypeAt) & 0xFFFF) !=
                    reader.le<uint16>(at))
                return found.breaks(sound, at);
            const uint8 type = reader.byte(at + rar4::kTypeAt);
            const auto flags = reader.le<uint16>(at + rar4::kFlagsAt);
            sound = at;
            if (type == rar4::kArchive && (flags & rar4::kEncryptedHeaders) != 0)
                return found.breaks(at + header, at + header);
            uint64 data = (flags & rar4::kHasData) != 0 ? reader.le<uint32>(at + rar4::kDataAt) : 0;
            if ((type == rar4::kFile || type == rar4::kService) && (flags & rar4::kLarge) != 0)
                data |= uint64{reader.le<uint32>(at + rar4::kHighDataAt)} << 32;
            if (!reader.has(at + header, data))
                return found.breaks(at, reader.size());
            at += header + data;
            if (type == rar4::kEnd)
                return found.endsAt(at);
        }
    }

    static void follow5(ContentReader& reader, MeasuredContent& found) {
        uint64 at = kMagic5.size();
        uint64 sound = at;
        while (true) {
            uint64 next = at + rar5::kCrcBytes;
            const uint64 header = sevenBitNumber(reader, next);
            if (header == 0 || header > rar5::kMostHeader)
                return found.breaks(sound, at);
            const uint64 headerEnd = next + header;
            const uint64 checked = at + rar5::kCrcBytes;
            if (reader.crc32(checked, headerEnd - checked) != reader.le<uint32>(at))
                return found.breaks(sound, at);
            sound = at;
            const uint64 type = sevenBitNumber(reader, next);
            const uint64 flags = sevenBitNumber(reader, next);
            if ((flags & rar5::kHasExtra) != 0)
                sevenBitNumber(reader, next);
            const uint64 data = (flags & rar5::kHasData) != 0 ? sevenBitNumber(reader, next) : 0;
            if (!reader.has(headerEnd, data))
                return found.breaks(at, reader.size());
            at = headerEnd + data;
            if (type == rar5::kEnd)
                return found.endsAt(at);
            if (type == rar5::kEncryption)
                return found.breaks(at, at); // All further headers are encrypted.
        }
    }
};

} // namespace

const ContentKind& rarKind() {
    static const RarKind kind;
    return kind;
}

} // namespace kova
