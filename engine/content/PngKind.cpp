#include "engine/content/kinds.h"

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"PNG", L"png", ContentGroup::Pictures}};

constexpr auto kSignature = "\x89PNG\r\n\x1A\n"sv;
/// A chunk: length of its data (4 bytes), type (4), data, CRC-32 of type and data (4).
constexpr std::size_t kChunkHeader = 8;
constexpr std::size_t kChunkCrc = 4;
constexpr uint32 kMostChunk = 0x7FFFFFFF;

bool isChunkType(std::span<const uint8> type) {
    for (std::size_t i = 0; i < 4; ++i) {
        const int letter = type[i] | 0x20;
        if (letter < 'a' || letter > 'z')
            return false;
    }
    return true;
}

class PngKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "\x89"; }

    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, kSignature))
            return Certainty::No;
        if (first.size() < kSignature.size() + kChunkHeader)
            return Certainty::Magic;
        const bool header = liesAt(first, kSignature.size(), "\0\0\0\x0DIHDR"sv);
        return header ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        found.verified = true;
        uint64 at = kSignature.size();
        while (true) {
            const auto length = reader.be<uint32>(at);
            if (length > kMostChunk || !isChunkType(reader.bytes(at + 4, 4)))
                return found.breaks(at, at);
            const uint64 crcAt = at + kChunkHeader + length;
            // A chunk that leaves the source still fits, as far as it goes.
            if (!reader.has(crcAt, kChunkCrc))
                return found.breaks(at, reader.size());
            const bool last = reader.matches(at + 4, "IEND");
            if (reader.crc32(at + 4, 4 + uint64{length}) != reader.be<uint32>(crcAt))
                return found.breaks(at, crcAt + kChunkCrc);
            at = crcAt + kChunkCrc;
            if (last)
                return found.endsAt(at);
        }
    }
};

} // namespace

const ContentKind& pngKind() {
    static const PngKind kind;
    return kind;
}

} // namespace kova
