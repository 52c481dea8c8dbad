#include "engine/content/kinds.h"

#include <bit>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"FLV", L"flv", ContentGroup::Videos}};

/// "FLV", version, flags at 4 (bit 0 video, bit 2 sound), length of the header at 5 (4); then the
/// length of the tag before (0 for the first), a tag, its length, and so on.
constexpr auto kMagic = "FLV\1"sv;
constexpr std::size_t kFlagsAt = 4;
constexpr std::size_t kHeaderBytesAt = 5;
constexpr std::size_t kHeaderBytes = 9;
constexpr uint64 kBackLength = 4;
/// A tag: type, length of the data (3), time (4), stream 0 (3), data.
constexpr uint64 kTagHeader = 11;
constexpr uint8 kSound = 8;
constexpr uint8 kVideo = 9;
constexpr uint8 kScript = 18;
/// A script's property that is a number: its name after the name's length, type 0, 8 bytes.
constexpr auto kFileSize = "\0\x08"
                           "filesize\0"sv;

class FlvKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "F"; }

    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, kMagic) || first.size() < kHeaderBytes + kBackLength)
            return Certainty::No;
        const bool fits = (first[kFlagsAt] & ~5) == 0 && first[kFlagsAt] != 0 &&
                          readBe<uint32>(first, kHeaderBytesAt) == kHeaderBytes &&
                          readBe<uint32>(first, kHeaderBytes) == 0;
        return fits ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        found.verified = true;
        uint64 at = kHeaderBytes + kBackLength;
        const uint64 told = fileBytes(reader, at);
        while (reader.has(at, kTagHeader)) {
            const auto tag = reader.bytes(at, kTagHeader);
            const uint64 length = readBe<uint32>(tag, 0) & 0xFFFFFF;
            const bool known = tag[0] == kSound || tag[0] == kVideo || tag[0] == kScript;
            if (!known || (readBe<uint32>(tag, 7) & 0xFFFFFF) != 0)
                break;
            const uint64 end = at + kTagHeader + length;
            if (!reader.has(end, kBackLength))
                return found.breaks(at, reader.size());
            if (reader.be<uint32>(end) != kTagHeader + length)
                return found.breaks(at, end + kBackLength);
            at = end + kBackLength;
        }
        if (at < told)
            return found.breaks(at, at);
        found.endsAt(at);
    }

private:
    /// The length that the first script gives; 0 for none.
    static uint64 fileBytes(ContentReader& reader, uint64 at) {
        const uint64 end = at + kTagHeader + (reader.be<uint32>(at) & 0xFFFFFF);
        const auto property = reader.find(kFileSize, at, end);
        if (!property)
            return 0;
        const auto told = std::bit_cast<double>(reader.be<uint64>(*property + kFileSize.size()));
        return told > 0 && told < static_cast<double>(uint64{1} << 52) ? static_cast<uint64>(told)
                                                                       : 0;
    }
};

} // namespace

const ContentKind& flvKind() {
    static const FlvKind kind;
    return kind;
}

} // namespace kova
