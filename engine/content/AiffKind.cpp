#include "engine/content/kinds.h"

#include <algorithm>

namespace kova {

namespace {

constexpr ContentType kTypes[] = {{L"AIFF", L"aiff", ContentGroup::Sounds, Filling::Samples}};

/// "FORM", length of what follows (4), form; then chunks: name (4), length (4), data, made even.
constexpr uint64 kChunkHeader = 8;
constexpr std::size_t kFormAt = 8;
constexpr std::size_t kFirstChunkAt = 12;

bool isChunkName(std::span<const uint8> name) {
    return std::ranges::all_of(name.first(4), [](uint8 c) { return c >= ' ' && c < 0x7F; });
}

class AiffKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "F"; }

    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, "FORM") ||
            (!liesAt(first, kFormAt, "AIFF") && !liesAt(first, kFormAt, "AIFC")))
            return Certainty::No;
        if (first.size() < kFirstChunkAt + 4)
            return Certainty::Magic;
        return isChunkName(first.subspan(kFirstChunkAt)) ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        const uint64 end = kChunkHeader + reader.be<uint32>(4);
        uint64 at = kFirstChunkAt;
        uint64 sound = at;
        while (at < end && end - at >= kChunkHeader) {
            if (!isChunkName(reader.bytes(at, 4)))
                return found.breaks(sound, at);
            sound = at;
            const uint64 length = reader.be<uint32>(at + 4);
            at += kChunkHeader + length + length % 2;
        }
        if (at > end + 1)
            return found.breaks(sound, end);
        found.endsAt(end);
    }
};

} // namespace

const ContentKind& aiffKind() {
    static const AiffKind kind;
    return kind;
}

} // namespace kova
