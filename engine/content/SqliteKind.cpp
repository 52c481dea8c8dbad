#include "engine/content/kinds.h"

#include <bit>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"SQLite", L"sqlite", ContentGroup::Other}};

/// The header: bytes of a page at 16 (2, big-endian as all; 1 stands for 64 KiB), versions at 18
/// and 19, fractions 64, 32, 32 at 21, a counter of changes at 24 (4), pages at 28 (4; right if
/// the counter at 92 equals the one at 24). The root of a tree begins behind it, at 100.
constexpr auto kMagic = "SQLite format 3\0"sv;
constexpr std::size_t kPageBytesAt = 16;
constexpr std::size_t kFractionsAt = 21;
constexpr std::size_t kChangesAt = 24;
constexpr std::size_t kPagesAt = 28;
constexpr std::size_t kPagesValidAt = 92;
constexpr std::size_t kHeaderBytes = 100;
constexpr uint32 kLeastPage = 512;
/// The page with this byte is left out: file locks are taken on it.
constexpr uint64 kLockByte = uint64{1} << 30;

uint32 pageBytes(uint16 stored) {
    return stored == 1 ? 0x10000 : stored;
}

/// Pages of trees begin with what they are; those of free lists, overflows and maps with the
/// number of a page or a number up to 5.
bool beginsPage(uint32 first, uint32 pages) {
    const uint32 kind = first >> 24;
    return first <= pages || kind <= 5 || kind == 10 || kind == 13;
}

class SqliteKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "S"; }

    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, kMagic))
            return Certainty::No;
        if (first.size() < kHeaderBytes)
            return Certainty::Magic;
        const uint32 page = pageBytes(readBe<uint16>(first, kPageBytesAt));
        const bool fits = page >= kLeastPage && std::has_single_bit(page) &&
                          liesAt(first, kFractionsAt, "\x40\x20\x20"sv);
        return fits ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        const uint64 page = pageBytes(reader.be<uint16>(kPageBytesAt));
        const auto pages = reader.be<uint32>(kPagesAt);
        if (pages == 0 || reader.be<uint32>(kChangesAt) != reader.be<uint32>(kPagesValidAt))
            return found.breaks(page, page); // Written by versions before 3.7.
        for (uint64 at = page; at < page * pages; at += page) {
            if (at / page == kLockByte / page)
                continue;
            if (!beginsPage(reader.be<uint32>(at), pages))
                return found.breaks(at, at);
        }
        found.endsAt(page * pages);
    }
};

} // namespace

const ContentKind& sqliteKind() {
    static const SqliteKind kind;
    return kind;
}

} // namespace kova
