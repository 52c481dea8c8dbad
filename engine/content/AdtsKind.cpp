#include "engine/content/FrameChain.h"
#include "engine/content/Id3.h"
#include "engine/content/kinds.h"

namespace kova {

namespace {

constexpr ContentType kTypes[] = {{L"AAC", L"aac", ContentGroup::Sounds}};

/// A frame's header: sync word (12 bits), version (1), layer 0 (2), no checksum (1), profile (2),
/// sample rate (4), private (1), channels (3), four bits, length with the header (13).
constexpr std::size_t kHeaderBytes = 7;
constexpr std::size_t kCheckedHeaderBytes = 9;
constexpr int kFramesAhead = 3;

/// What no frame of a file changes: profile, rate, channels.
constexpr uint32 kFixed = 0xFFFFFDC0;

uint32 lengthOf(std::span<const uint8> header) {
    return (readBe<uint32>(header, 3) >> 13) & 0x1FFF;
}

bool isHeader(std::span<const uint8> header) {
    const bool sync = header[0] == 0xFF && (header[1] & 0xF6) == 0xF0;
    const bool rate = ((header[2] >> 2) & 0xF) <= 12;
    const bool checked = (header[1] & 1) == 0;
    return sync && rate && lengthOf(header) > (checked ? kCheckedHeaderBytes : kHeaderBytes);
}

class AdtsChain : public FrameChain {
public:
    explicit AdtsChain(uint32 first) : fixed_(first & kFixed) {}

    uint64 frameAt(ContentReader& reader, uint64 at) override {
        if (!reader.has(at, kHeaderBytes))
            return 0;
        const auto header = reader.bytes(at, kHeaderBytes);
        return isHeader(header) && (readBe<uint32>(header, 0) & kFixed) == fixed_ ? lengthOf(header)
                                                                                  : 0;
    }

private:
    uint32 fixed_;
};

class AdtsKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "\xFF"; }

    std::size_t bytesNeeded() const override { return kHeaderBytes; }

    Certainty begins(std::span<const uint8> first) const override {
        return certaintyOfFrames(first, kHeaderBytes, [first](std::span<const uint8> header) {
            const bool continues =
                ((readBe<uint32>(header, 0) ^ readBe<uint32>(first, 0)) & kFixed) == 0;
            return isHeader(header) && continues ? lengthOf(header) : 0;
        });
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        AdtsChain chain(reader.be<uint32>(0));
        const uint64 end = chain.end(reader, 0);
        if (chain.frames() < kFramesAhead)
            return;
        if (chain.cut() || chain.goesOn(reader, end))
            return found.breaks(end, end);
        found.endsAt(end + id3::trailerAt(reader, end));
    }
};

} // namespace

const ContentKind& adtsKind() {
    static const AdtsKind kind;
    return kind;
}

} // namespace kova
