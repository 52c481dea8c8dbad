#include "engine/content/ContentText.h"
#include "engine/content/Inflater.h"
#include "engine/content/kinds.h"

#include <optional>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"gzip", L"gz", ContentGroup::Archives}};

/// A member: magic, method 8, flags at 3, time of the file at 4 (4, Unix), flags of the method,
/// system; extra data (its length in 2 bytes), name, comment (each up to a zero), a CRC (2) as the
/// flags say; deflated data; CRC-32 and length (4 each) of what it was.
constexpr auto kMagic = "\x1F\x8B\x08"sv;
constexpr std::size_t kFlagsAt = 3;
constexpr std::size_t kTimeAt = 4;
constexpr std::size_t kHeaderBytes = 10;
constexpr uint64 kTrailer = 8;
constexpr uint8 kHasCrc = 2;
constexpr uint8 kHasExtra = 4;
constexpr uint8 kHasName = 8;
constexpr uint8 kHasComment = 16;
constexpr uint8 kReserved = 0xE0;
constexpr uint64 kMostText = 4096;

class GzipKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "\x1F"; }

    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, kMagic) || first.size() < kHeaderBytes)
            return Certainty::No;
        return (first[kFlagsAt] & kReserved) == 0 ? Certainty::Magic : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        found.verified = true;
        found.date = text::timeFromUnix(reader.le<uint32>(kTimeAt));
        uint64 at = 0;
        // Members may follow each other; one that begins a block of a drive is another file.
        do {
            const auto data = afterHeader(reader, at, found);
            if (!data)
                return found.breaks(at, at + kHeaderBytes);
            const auto inflated =
                Inflater::run(reader, *data, reader.size(), Inflater::Wrapper::None);
            if (!inflated.whole)
                return found.breaks(at, inflated.end);
            const auto length = static_cast<uint32>(inflated.produced);
            if (reader.le<uint32>(inflated.end) != inflated.crc ||
                reader.le<uint32>(inflated.end + 4) != length)
                return found.breaks(at, inflated.end + kTrailer);
            at = inflated.end + kTrailer;
        } while (at % kSector != 0 && reader.matches(at, kMagic));
        found.endsAt(at);
    }

private:
    static constexpr uint64 kSector = 512;

    static std::optional<uint64> afterHeader(ContentReader& reader, uint64 at,
                                             MeasuredContent& found) {
        const uint8 flags = reader.byte(at + kFlagsAt);
        uint64 next = at + kHeaderBytes;
        if ((flags & kHasExtra) != 0)
            next += 2 + uint64{reader.le<uint16>(next)};
        for (const uint8 has : {kHasName, kHasComment}) {
            if ((flags & has) == 0)
                continue;
            const auto end = reader.find("\0"sv, next, next + kMostText);
            if (!end)
                return std::nullopt;
            if (has == kHasName && at == 0)
                found.title = text::fromLatin1(reader.some(next, *end - next));
            next = *end + 1;
        }
        return next + ((flags & kHasCrc) != 0 ? 2 : 0);
    }
};

} // namespace

const ContentKind& gzipKind() {
    static const GzipKind kind;
    return kind;
}

} // namespace kova
