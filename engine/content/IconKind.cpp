#include "engine/content/kinds.h"

#include <algorithm>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"Icon", L"ico", ContentGroup::Pictures},
                                  {L"Cursor", L"cur", ContentGroup::Pictures}};

constexpr auto kIcon = "\0\0\1\0"sv;
constexpr auto kCursor = "\0\0\2\0"sv;
/// The number of pictures (2), then for each 16 bytes: a zero at 3, its length at 8 and its
/// offset at 12 (4 each).
constexpr std::size_t kCountAt = 4;
constexpr std::size_t kHeaderBytes = 6;
constexpr std::size_t kEntryBytes = 16;
constexpr std::size_t kMostPictures = 64;
/// A picture is a PNG, or a bitmap whose header begins with its own length.
constexpr auto kPng = "\x89PNG"sv;
constexpr auto kBitmap = "\x28\0\0\0"sv;

class IconKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "\0"sv; }

    Certainty begins(std::span<const uint8> first) const override {
        if ((!startsWith(first, kIcon) && !startsWith(first, kCursor)) ||
            first.size() < kHeaderBytes + kEntryBytes)
            return Certainty::No;
        const std::size_t count = readLe<uint16>(first, kCountAt);
        const std::size_t pictures = kHeaderBytes + count * kEntryBytes;
        const bool fits = count > 0 && count <= kMostPictures && first[kHeaderBytes + 3] == 0 &&
                          readLe<uint32>(first, kHeaderBytes + 12) == pictures;
        if (!fits)
            return Certainty::No;
        if (first.size() < pictures + kPng.size())
            return Certainty::Magic;
        const bool isPicture = liesAt(first, pictures, kPng) || liesAt(first, pictures, kBitmap);
        return isPicture ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        found.type = &kTypes[reader.matches(0, kIcon) ? 0 : 1];
        uint64 end = 0;
        const auto count = reader.le<uint16>(kCountAt);
        for (uint64 i = 0; i < count; ++i) {
            const uint64 entry = kHeaderBytes + i * kEntryBytes;
            const uint64 length = reader.le<uint32>(entry + 8);
            const uint64 at = reader.le<uint32>(entry + 12);
            if (!reader.matches(at, kPng) && !reader.matches(at, kBitmap))
                return found.breaks(std::max(end, entry), at);
            end = std::max(end, at + length);
        }
        found.endsAt(end);
    }
};

} // namespace

const ContentKind& iconKind() {
    static const IconKind kind;
    return kind;
}

} // namespace kova
