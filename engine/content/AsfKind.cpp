#include "engine/content/ContentText.h"
#include "engine/content/kinds.h"

#include <algorithm>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"WMV", L"wmv", ContentGroup::Videos},
                                  {L"WMA", L"wma", ContentGroup::Sounds}};

/// Everything is an object: what it is (a GUID of 16 bytes), its length with this header (8), data.
constexpr std::size_t kGuid = 16;
constexpr uint64 kObjectHeader = 24;
constexpr auto kHeaderObject = "\x30\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C"sv;
constexpr auto kDataObject = "\x36\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C"sv;
constexpr auto kDescription = "\x33\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C"sv;
constexpr auto kProperties = "\xA1\xDC\xAB\x8C\x47\xA9\xCF\x11\x8E\xE4\x00\xC0\x0C\x20\x53\x65"sv;
constexpr auto kStream = "\x91\x07\xDC\xB7\xB7\xA9\xCF\x11\x8E\xE6\x00\xC0\x0C\x20\x53\x65"sv;
constexpr auto kVideo = "\xC0\xEF\x19\xBC\x4D\x5B\xCF\x11\xA8\xFD\x00\x80\x5F\x5C\x44\x2B"sv;

/// The header object: objects in it at 24 (4), two bytes, the objects.
constexpr uint64 kFirstInHeader = 30;
constexpr uint64 kObjectsAt = 24;
/// File properties: length of the file at 40 (8), FILETIME of its making at 48 (8), flags at 88
/// (bit 0: it was sent live, and lengths are unknown), length of its packets at 92 and 96 (4).
constexpr uint64 kFileBytesAt = 40;
constexpr uint64 kMadeAt = 48;
constexpr uint64 kFlagsAt = 88;
constexpr uint64 kPacketBytesAt = 92;
/// A description: lengths (2 bytes each) of title, author and others, then these.
constexpr uint64 kDescriptionTextAt = 34;
/// The data object: the file's number (16), packets (8), two bytes, the packets.
constexpr uint64 kFirstPacket = 50;
constexpr uint32 kMostObjects = 10000;
/// Packets with error correction, as all writers make them, begin so.
constexpr uint8 kErrorCorrection = 0x82;

class AsfKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "\x30"; }

    Certainty begins(std::span<const uint8> first) const override {
        return startsWith(first, kHeaderObject) ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        AsfHeader header;
        found.type = &kTypes[1];
        const uint64 data = reader.le<uint64>(kGuid);
        if (!readHeader(reader, data, header, found))
            return;
        if (!reader.matches(data, kDataObject))
            return found.breaks(data, data);
        uint64 at = data;
        const auto dataBytes = reader.le<uint64>(at + kGuid);
        if (dataBytes < kFirstPacket)
            return found.breaks(data, data);
        if (!packetsFit(reader, data, header, found) || !reader.has(at, dataBytes))
            return;
        at += dataBytes;
        // Indexes lie behind the data.
        while (at < header.fileBytes) {
            const auto length = reader.le<uint64>(at + kGuid);
            if (length < kObjectHeader || length > header.fileBytes - at)
                return found.breaks(at, at);
            at += length;
        }
        found.endsAt(at);
    }

private:
    struct AsfHeader {
        uint64 fileBytes = 0;
        uint32 packetBytes = 0;
    };

    static bool readHeader(ContentReader& reader, uint64 end, AsfHeader& header,
                           MeasuredContent& found) {
        uint64 at = kFirstInHeader;
        const auto objects = reader.le<uint32>(kObjectsAt);
        for (uint32 i = 0; i < objects && i < kMostObjects; ++i) {
            const auto length = reader.le<uint64>(at + kGuid);
            if (length < kObjectHeader || at > end || length > end - at) {
                found.breaks(at, at);
                return false;
            }
            if (reader.matches(at, kProperties)) {
                found.date = std::max<int64>(0, reader.le<int64>(at + kMadeAt));
                if ((reader.le<uint32>(at + kFlagsAt) & 1) == 0)
                    header.fileBytes = reader.le<uint64>(at + kFileBytesAt);
                header.packetBytes = reader.le<uint32>(at + kPacketBytesAt);
            } else if (reader.matches(at, kStream) && reader.matches(at + kObjectHeader, kVideo)) {
                found.type = &kTypes[0];
            } else if (reader.matches(at, kDescription)) {
                const auto count = reader.le<uint16>(at + kObjectHeader);
                found.title = text::fromUtf16Le(reader.some(at + kDescriptionTextAt, count));
            }
            at += length;
        }
        return true;
    }

    /// Looks at the beginning of each packet.
    static bool packetsFit(ContentReader& reader, uint64 data, const AsfHeader& header,
                           MeasuredContent& found) {
        const uint64 end = data + reader.le<uint64>(data + kGuid);
        const uint64 bytes = header.packetBytes;
        uint64 at = data + kFirstPacket;
        found.breaks(at, reader.size());
        if (bytes == 0 || !reader.has(at, bytes) || reader.byte(at) != kErrorCorrection)
            return true;
        for (; at < end && end - at >= bytes; at += bytes) {
            if (reader.byte(at) == kErrorCorrection)
                continue;
            found.breaks(at - bytes, at);
            return false;
        }
        return true;
    }
};

} // namespace

const ContentKind& asfKind() {
    static const AsfKind kind;
    return kind;
}

} // namespace kova
