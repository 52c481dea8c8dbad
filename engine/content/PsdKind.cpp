#include "engine/content/kinds.h"

namespace kova {

namespace {

constexpr ContentType kTypes[] = {{L"PSD", L"psd", ContentGroup::Pictures},
                                  {L"PSD", L"psb", ContentGroup::Pictures}};

/// Header: "8BPS", version at 4 (1, or 2 for large documents), zeros (6), channels at 12 (2),
/// height at 14 (4), width at 18 (4), bits a channel at 22 (2), mode at 24 (2).
constexpr std::size_t kVersionAt = 4;
constexpr std::size_t kChannelsAt = 12;
constexpr std::size_t kHeightAt = 14;
constexpr std::size_t kWidthAt = 18;
constexpr std::size_t kDepthAt = 22;
constexpr std::size_t kHeaderBytes = 26;
constexpr uint32 kMostSide = 300000;
constexpr uint16 kMostChannels = 56;
constexpr uint16 kLarge = 2;

enum Compression : uint16 { kRaw = 0, kPackBits = 1 };

struct PsdHeader {
    uint16 version;
    uint16 channels;
    uint32 height;
    uint32 width;
    uint16 depth;

    explicit PsdHeader(std::span<const uint8> b)
        : version(readBe<uint16>(b, kVersionAt)), channels(readBe<uint16>(b, kChannelsAt)),
          height(readBe<uint32>(b, kHeightAt)), width(readBe<uint32>(b, kWidthAt)),
          depth(readBe<uint16>(b, kDepthAt)) {}

    [[nodiscard]] bool fits() const {
        return (version == 1 || version == kLarge) && channels > 0 && channels <= kMostChannels &&
               height > 0 && height <= kMostSide && width > 0 && width <= kMostSide &&
               (depth == 1 || depth == 8 || depth == 16 || depth == 32);
    }
};

class PsdKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "8"; }

    std::size_t bytesNeeded() const override { return kHeaderBytes; }

    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, "8BPS"))
            return Certainty::No;
        if (first.size() < kHeaderBytes)
            return Certainty::Magic;
        return PsdHeader(first).fits() ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        const PsdHeader header(reader.bytes(0, kHeaderBytes));
        const bool large = header.version == kLarge;
        if (large)
            found.type = &kTypes[1];
        uint64 at = kHeaderBytes;
        at += 4 + uint64{reader.be<uint32>(at)}; // Colours.
        const uint64 resources = at;
        if (reader.be<uint32>(at) > 0 && !reader.matches(at + 4, "8BIM"))
            return found.breaks(resources, resources + 4);
        at += 4 + uint64{reader.be<uint32>(at)}; // Resources.
        const uint64 layers = large ? reader.be<uint64>(at) : reader.be<uint32>(at);
        if (!reader.has(at, layers))
            return found.breaks(at, reader.size());
        at += (large ? 8 : 4) + layers;
        const auto compression = reader.be<uint16>(at);
        const uint64 rows = uint64{header.channels} * header.height;
        if (compression == kRaw)
            found.endsAt(at + 2 + rows * ((uint64{header.width} * header.depth + 7) / 8));
        else if (compression == kPackBits)
            found.endsAt(packedEnd(reader, at + 2, rows, large));
        else
            found.breaks(at, at);
    }

private:
    /// Behind rows whose packed lengths stand in a table at `at`.
    static uint64 packedEnd(ContentReader& reader, uint64 at, uint64 rows, bool large) {
        const uint64 width = large ? 4 : 2;
        uint64 end = at + rows * width;
        for (uint64 row = 0; row < rows; ++row, at += width)
            end += large ? reader.be<uint32>(at) : reader.be<uint16>(at);
        return end;
    }
};

} // namespace

const ContentKind& psdKind() {
    static const PsdKind kind;
    return kind;
}

} // namespace kova
