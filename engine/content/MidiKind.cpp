#include "engine/content/kinds.h"

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"MIDI", L"mid", ContentGroup::Sounds}};

/// "MThd", length 6, format (2), tracks (2), division (2); then a chunk for each track.
constexpr auto kMagic = "MThd\0\0\0\x06"sv;
constexpr std::size_t kFormatAt = 8;
constexpr std::size_t kTracksAt = 10;
constexpr std::size_t kHeaderBytes = 14;
constexpr uint64 kChunkHeader = 8;
/// The event that ends every track.
constexpr auto kEndOfTrack = "\xFF\x2F\0"sv;

class MidiKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "M"; }

    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, kMagic) || first.size() < kHeaderBytes)
            return Certainty::No;
        return readBe<uint16>(first, kFormatAt) <= 2 ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        found.verified = true;
        uint64 at = kHeaderBytes;
        for (uint32 left = reader.be<uint16>(kTracksAt); left > 0; --left) {
            if (!reader.matches(at, "MTrk"))
                return found.breaks(at, at);
            const uint64 end = at + kChunkHeader + reader.be<uint32>(at + 4);
            if (!reader.has(end, 0))
                return found.breaks(at, reader.size());
            if (end < at + kChunkHeader + kEndOfTrack.size() ||
                !reader.matches(end - kEndOfTrack.size(), kEndOfTrack))
                return found.breaks(at, end);
            at = end;
        }
        found.endsAt(at);
    }
};

} // namespace

const ContentKind& midiKind() {
    static const MidiKind kind;
    return kind;
}

} // namespace kova
