#include "engine/content/kinds.h"

#include <charconv>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"Library", L"a", ContentGroup::Programs},
                                  {L"Debian package", L"deb", ContentGroup::Programs}};

constexpr auto kMagic = "!<arch>\n"sv;
/// Each member's header ends with its length in decimal (10 characters) and two fixed bytes; its
/// bytes are followed by one more if their number is odd.
constexpr uint64 kHeaderBytes = 60;
constexpr uint64 kLengthAt = 48;
constexpr uint64 kLengthDigits = 10;
constexpr uint64 kMarkAt = 58;
constexpr auto kMark = "`\n"sv;

class ArKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "!"; }

    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, kMagic))
            return Certainty::No;
        return liesAt(first, kMagic.size() + kMarkAt, kMark) ? Certainty::Structure
                                                             : Certainty::Magic;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        found.type = &kTypes[reader.matches(kMagic.size(), "debian-binary"sv) ? 1 : 0];
        uint64 at = kMagic.size();
        while (reader.matches(at + kMarkAt, kMark)) {
            const std::string digits = reader.text(at + kLengthAt, kLengthDigits);
            uint64 length = 0;
            if (std::from_chars(digits.data(), digits.data() + digits.size(), length).ec !=
                    std::errc() ||
                !reader.has(at + kHeaderBytes, length))
                return found.breaks(at, at + kHeaderBytes);
            at += kHeaderBytes + length + length % 2;
        }
        found.endsAt(at);
    }
};

} // namespace

const ContentKind& arKind() {
    static const ArKind kind;
    return kind;
}

} // namespace kova
