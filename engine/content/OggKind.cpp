#include "engine/content/VorbisComment.h"
#include "engine/content/kinds.h"

#include <algorithm>
#include <array>
#include <vector>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"Ogg", L"ogg", ContentGroup::Sounds},
                                  {L"Opus", L"opus", ContentGroup::Sounds},
                                  {L"Ogg video", L"ogv", ContentGroup::Videos},
                                  {L"Ogg", L"spx", ContentGroup::Sounds}};

struct Codec {
    std::string_view mark; ///< What the stream's first packet begins with.
    const ContentType* type;
};

constexpr Codec kCodecs[] = {
    {"OpusHead"sv, &kTypes[1]}, {"\x80theora"sv, &kTypes[2]}, {"Speex   "sv, &kTypes[3]}};

/// A page: "OggS", version 0, flags at 5, position (8), stream's number at 14, page's number (4),
/// CRC-32 at 22, count of segments at 26, their lengths, the segments.
constexpr auto kMagic = "OggS\0"sv;
constexpr std::size_t kFlagsAt = 5;
constexpr std::size_t kStreamAt = 14;
constexpr std::size_t kCrcAt = 22;
constexpr std::size_t kSegmentsAt = 26;
constexpr std::size_t kPageHeader = 27;
constexpr uint8 kFirstPage = 2;
constexpr uint8 kLastPage = 4;
/// Streams that one file has at a time.
constexpr std::size_t kMostStreams = 64;
constexpr uint64 kSector = 512;

constexpr std::array<uint32, 256> crcTable() {
    std::array<uint32, 256> table{};
    for (uint32 i = 0; i < 256; ++i) {
        uint32 crc = i << 24;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc << 1) ^ ((crc >> 31) != 0 ? 0x04C11DB7 : 0);
        table[i] = crc;
    }
    return table;
}

uint32 pageCrc(std::span<const uint8> page) {
    static constexpr auto kTable = crcTable();
    uint32 crc = 0;
    for (std::size_t i = 0; i < page.size(); ++i) {
        const uint8 byte = i >= kCrcAt && i < kCrcAt + 4 ? 0 : page[i];
        crc = (crc << 8) ^ kTable[(crc >> 24) ^ byte];
    }
    return crc;
}

class OggKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "O"; }

    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, kMagic) || first.size() < kPageHeader)
            return Certainty::No;
        const bool begin = (first[kFlagsAt] & ~kLastPage) == kFirstPage;
        return begin && first[kSegmentsAt] > 0 ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        found.verified = true;
        std::vector<uint32> open;
        uint64 at = 0;
        while (true) {
            if (!reader.matches(at, kMagic))
                break;
            const auto header = reader.bytes(at, kPageHeader);
            const uint8 flags = header[kFlagsAt];
            const auto stream = readLe<uint32>(header, kStreamAt);
            // Another file's beginning, unless it is chained to this one.
            if (open.empty() && at > 0 && ((flags & kFirstPage) == 0 || at % kSector == 0))
                break;
            const std::size_t length = pageBytes(reader, at);
            const auto page = reader.bytes(at, length);
            if (pageCrc(page) != readLe<uint32>(page, kCrcAt))
                return found.breaks(at, at + length);
            if (at < kHeadPages)
                readHead(page, found);
            if ((flags & kFirstPage) != 0 && open.size() < kMostStreams)
                open.push_back(stream);
            if ((flags & kLastPage) != 0)
                std::erase(open, stream);
            at += length;
        }
        if (!open.empty())
            return found.breaks(at, at);
        found.endsAt(at);
    }

private:
    /// The pages with what streams are and their comments lie here.
    static constexpr uint64 kHeadPages = 4096;

    static std::size_t pageBytes(ContentReader& reader, uint64 at) {
        const uint8 segments = reader.byte(at + kSegmentsAt);
        std::size_t length = kPageHeader + segments;
        for (const uint8 segment : reader.bytes(at + kPageHeader, segments))
            length += segment;
        return length;
    }

    static void readHead(std::span<const uint8> page, MeasuredContent& found) {
        const auto data = page.subspan(kPageHeader + page[kSegmentsAt]);
        for (const Codec& codec : kCodecs) {
            if (startsWith(data, codec.mark))
                found.type = codec.type;
        }
        for (const auto mark : {"\x03vorbis"sv, "OpusTags"sv}) {
            if (startsWith(data, mark))
                found.title = vorbisTitle(data.subspan(mark.size()));
        }
    }
};

} // namespace

const ContentKind& oggKind() {
    static const OggKind kind;
    return kind;
}

} // namespace kova
