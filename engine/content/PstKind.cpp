#include "engine/content/kinds.h"

namespace kova {

namespace {

constexpr ContentType kTypes[] = {{L"Outlook", L"pst", ContentGroup::Other},
                                  {L"Outlook", L"ost", ContentGroup::Other}};

/// "!BDN", CRC of the 471 bytes from 8 on at 4 (4), "SM" or "SO" at 8, version at 10 (2; from 23
/// on offsets have 8 bytes), the length of the file at 184 (8), with short offsets at 168 (4).
constexpr std::size_t kCrcAt = 4;
constexpr uint64 kCheckedFrom = 8;
constexpr uint64 kChecked = 471;
constexpr std::size_t kClientAt = 8;
constexpr std::size_t kVersionAt = 10;
constexpr uint16 kLongOffsets = 23;
constexpr uint64 kLengthAt = 184;
constexpr uint64 kShortLengthAt = 168;
constexpr std::size_t kHeaderBytes = 512;
/// A page of 512 bytes with a map of what is in use lies at 0x4400 and every 253,952 bytes
/// behind it; its type is there twice in a trailer of 16 bytes, with short offsets of 12.
constexpr uint64 kFirstMap = 0x4400;
constexpr uint64 kBetweenMaps = 253952;
constexpr uint64 kPage = 512;
constexpr uint16 kMapType = 0x8484;

class PstKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "!"; }

    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, "!BDN"))
            return Certainty::No;
        const bool client = liesAt(first, kClientAt, "SM") || liesAt(first, kClientAt, "SO");
        return client ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        if (reader.matches(kClientAt, "SO"))
            found.type = &kTypes[1];
        const bool longOffsets = reader.le<uint16>(kVersionAt) >= kLongOffsets;
        // The CRC neither begins nor ends with the usual inversion.
        const uint32 crc = ~reader.crc32(kCheckedFrom, kChecked, 0xFFFFFFFF);
        if (crc != reader.le<uint32>(kCrcAt))
            return found.breaks(0, kHeaderBytes);
        const uint64 end =
            longOffsets ? reader.le<uint64>(kLengthAt) : reader.le<uint32>(kShortLengthAt);
        const uint64 trailer = kPage - (longOffsets ? 16 : 12);
        for (uint64 map = kFirstMap; map < end; map += kBetweenMaps) {
            if (reader.le<uint16>(map + trailer) != kMapType)
                return found.breaks(map == kFirstMap ? kHeaderBytes : map - kBetweenMaps, map);
        }
        found.endsAt(end);
    }
};

} // namespace

const ContentKind& pstKind() {
    static const PstKind kind;
    return kind;
}

} // namespace kova
