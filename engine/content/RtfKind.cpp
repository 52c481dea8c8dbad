#include "engine/content/TextRun.h"
#include "engine/content/kinds.h"

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"RTF", L"rtf", ContentGroup::Documents}};

constexpr auto kMagic = "{\\rtf"sv;
/// What writers let follow the last brace.
constexpr std::string_view kTails[] = {"\r\n"sv, "\n"sv};
constexpr uint64 kMostBinary = uint64{1} << 31;

class RtfKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "{"; }

    Certainty begins(std::span<const uint8> first) const override {
        return startsWith(first, kMagic) ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        CharacterReader characters(reader, 0);
        uint64 depth = 0;
        while (true) {
            const int c = characters.next();
            if (c < 0)
                fail();
            if (c == '{') {
                ++depth;
            } else if (c == '}') {
                if (--depth == 0)
                    return found.endsAt(withTail(reader, characters.at()));
            } else if (c == '\\') {
                skipControl(reader, characters);
            } else if (c < ' ' && c != '\t' && c != '\r' && c != '\n') {
                return found.breaks(characters.at() - 1, characters.at() - 1);
            }
        }
    }

private:
    /// Passes an escaped character, and the bytes behind a control word "\binN".
    static void skipControl(ContentReader& reader, CharacterReader& characters) {
        constexpr auto kBinary = "bin"sv;
        const uint64 at = characters.at();
        if (characters.next() != 'b')
            return;
        const bool binary = reader.matches(at, kBinary);
        characters.moveTo(at + 1);
        if (!binary)
            return;
        uint64 count = 0;
        uint64 digit = at + kBinary.size();
        for (; reader.byte(digit) >= '0' && reader.byte(digit) <= '9' && count < kMostBinary;
             ++digit)
            count = count * 10 + (reader.byte(digit) - '0');
        characters.moveTo(at + 1);
        if (digit == at + kBinary.size())
            return;
        const bool space = reader.byte(digit) == ' ';
        characters.moveTo(digit + (space ? 1 : 0) + count);
    }

    /// Some writers add a zero, which cannot be told from padding and is left out.
    static uint64 withTail(ContentReader& reader, uint64 end) {
        for (const auto tail : kTails) {
            if (reader.matches(end, tail))
                return end + tail.size();
        }
        return end;
    }
};

} // namespace

const ContentKind& rtfKind() {
    static const RtfKind kind;
    return kind;
}

} // namespace kova
