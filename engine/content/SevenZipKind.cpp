#include "engine/content/kinds.h"

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"7z", L"7z", ContentGroup::Archives}};

/// The header: magic (6 bytes), version (2), CRC-32 of the rest at 8, then of the closing header:
/// its offset behind this one at 12 (8), length at 20 (8), CRC-32 at 28 (4).
constexpr auto kMagic = "7z\xBC\xAF\x27\x1C"sv;
constexpr std::size_t kCrcAt = 8;
constexpr std::size_t kOffsetAt = 12;
constexpr std::size_t kLengthAt = 20;
constexpr std::size_t kClosingCrcAt = 28;
constexpr uint64 kHeaderBytes = 32;

class SevenZipKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "7"; }

    Certainty begins(std::span<const uint8> first) const override {
        return startsWith(first, kMagic) ? Certainty::Magic : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        if (reader.crc32(kOffsetAt, kHeaderBytes - kOffsetAt) != reader.le<uint32>(kCrcAt))
            return;
        const auto offset = reader.le<uint64>(kOffsetAt);
        const auto length = reader.le<uint64>(kLengthAt);
        if (!reader.has(kHeaderBytes, offset) || !reader.has(kHeaderBytes + offset, length))
            return found.breaks(kHeaderBytes, reader.size());
        const uint64 end = kHeaderBytes + offset + length;
        if (reader.crc32(kHeaderBytes + offset, length) != reader.le<uint32>(kClosingCrcAt))
            return found.breaks(kHeaderBytes, end);
        found.endsAt(end);
    }
};

} // namespace

const ContentKind& sevenZipKind() {
    static const SevenZipKind kind;
    return kind;
}

} // namespace kova
