#include "engine/content/kinds.h"

#include <algorithm>

namespace kova {

namespace {

constexpr ContentType kTypes[] = {{L"WAV", L"wav", ContentGroup::Sounds, Filling::Samples},
                                  {L"AVI", L"avi", ContentGroup::Videos},
                                  {L"WebP", L"webp", ContentGroup::Pictures, Filling::Packed},
                                  {L"MIDI", L"rmi", ContentGroup::Sounds},
                                  {L"Animated pointer", L"ani", ContentGroup::Pictures},
                                  {L"SoundFont", L"sf2", ContentGroup::Sounds},
                                  {L"CorelDRAW", L"cdr", ContentGroup::Pictures}};

struct Form {
    std::string_view name;
    const ContentType* type;
};

constexpr Form kForms[] = {{"AVI ", &kTypes[1]}, {"WEBP", &kTypes[2]}, {"RMID", &kTypes[3]},
                           {"ACON", &kTypes[4]}, {"sfbk", &kTypes[5]}, {"CDR", &kTypes[6]}};

/// A chunk: its name (4 bytes), length of its data (4), data, a byte to make it even. The file is
/// a chunk "RIFF" whose data begins with the form; an AVI beyond 1 GiB goes on in further ones.
/// "RF64" files give their length as 8 bytes in a chunk "ds64" that comes first.
constexpr uint64 kChunkHeader = 8;
constexpr std::size_t kFormAt = 8;
constexpr std::size_t kFirstChunkAt = 12;
constexpr std::size_t kLongLengthAt = 20;
constexpr std::size_t kLongDataAt = 28; ///< And that of the chunk "data".
constexpr uint32 kUnknown = 0xFFFFFFFF;

constexpr uint64 even(uint64 length) {
    return length + length % 2;
}

bool isChunkName(std::span<const uint8> name) {
    return std::ranges::all_of(name.first(4), [](uint8 c) { return c >= ' ' && c < 0x7F; });
}

const ContentType* typeOf(std::span<const uint8> first) {
    if (liesAt(first, kFormAt, "WAVE"))
        return &kTypes[0];
    if (!startsWith(first, "RIFF"))
        return nullptr;
    const auto* form = std::ranges::find_if(
        kForms, [first](const Form& f) { return liesAt(first, kFormAt, f.name); });
    return form == std::end(kForms) ? nullptr : form->type;
}

class RiffKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "R"; }

    std::size_t bytesNeeded() const override { return kFirstChunkAt; }

    Certainty begins(std::span<const uint8> first) const override {
        if ((!startsWith(first, "RIFF") && !startsWith(first, "RF64")) || typeOf(first) == nullptr)
            return Certainty::No;
        if (first.size() < kFirstChunkAt + 4)
            return Certainty::Magic;
        return isChunkName(first.subspan(kFirstChunkAt)) ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        found.type = typeOf(reader.bytes(0, kFirstChunkAt + 4));
        uint64 end = kChunkHeader + reader.le<uint32>(4);
        if (reader.matches(0, "RF64") && reader.matches(kFirstChunkAt, "ds64"))
            end = kChunkHeader + reader.le<uint64>(kLongLengthAt);
        else if (reader.le<uint32>(4) == kUnknown)
            end = reader.size(); // Written to a pipe: it ends with its last chunk.
        if (!followChunks(reader, found, kFirstChunkAt, end))
            return;
        uint64 at = found.length;
        while (reader.matches(at, "RIFF") && reader.matches(at + kFormAt, "AVIX")) {
            if (!followChunks(reader, found, at + kFirstChunkAt,
                              at + kChunkHeader + reader.le<uint32>(at + 4)))
                return;
            at = found.length;
        }
    }

private:
    /// Goes from chunk to chunk from `at` to `end`, into lists too: those of an AVI hold nearly
    /// all of it. The outer length is compared with no more than the chunks one level up.
    static bool followChunks(ContentReader& reader, MeasuredContent& found, uint64 at, uint64 end) {
        uint64 sound = at;
        while (at < end && end - at >= kChunkHeader) {
            const auto header = reader.some(at, kChunkHeader);
            if (header.size() < kChunkHeader)
                fail();
            if (!isChunkName(header)) {
                found.breaks(sound, at);
                return false;
            }
            sound = at;
            const bool list = startsWith(header, "LIST");
            uint64 length = readLe<uint32>(header, 4);
            if (length == kUnknown && startsWith(header, "data"))
                length = reader.le<uint64>(kLongDataAt);
            at += list ? kChunkHeader + 4 : kChunkHeader + even(length);
        }
        // Many writers leave the last byte that makes it even out of the outer length.
        if (at < end || at - end > 1) {
            found.breaks(sound, std::min(at, end));
            return false;
        }
        found.endsAt(std::max(at, end));
        return true;
    }
};

} // namespace

const ContentKind& riffKind() {
    static const RiffKind kind;
    return kind;
}

} // namespace kova
