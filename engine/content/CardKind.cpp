#include "engine/content/ContentText.h"
#include "engine/content/TextRun.h"
#include "engine/content/kinds.h"

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"vCard", L"vcf", ContentGroup::Documents},
                                  {L"iCalendar", L"ics", ContentGroup::Documents}};
constexpr auto kCard = "BEGIN:VCARD"sv;
constexpr auto kCalendar = "BEGIN:VCALENDAR"sv;
constexpr auto kBegin = "BEGIN:"sv;
constexpr auto kEnd = "END:"sv;
/// As much of a line as is looked at.
constexpr std::size_t kMostLine = 256;

class CardKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "B\xEF"; }

    Certainty begins(std::span<const uint8> first) const override {
        const auto text = first.subspan(markBytes(first));
        const bool there = startsWith(text, kCard) || startsWith(text, kCalendar);
        return there ? Certainty::Structure : Certainty::No;
    }

    Fit mayContinue(std::span<const uint8> block, uint64) const override {
        return isText(block, true) ? Fit::Yes : Fit::No;
    }

protected:
    /// Goes from line to line, for as long as one component follows the other.
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        const std::size_t mark = markBytes(reader.some(0));
        if (reader.matches(mark, kCalendar))
            found.type = &kTypes[1];
        CharacterReader characters(reader, mark);
        std::string line;
        uint64 depth = 0;
        uint64 end = 0; // Behind the last component.
        while (true) {
            const uint64 at = characters.at();
            const bool ended = !readLine(characters, line);
            if (depth == 0 && end > 0 && !line.starts_with(kBegin))
                return found.endsAt(end);
            if (ended && !line.starts_with(kEnd))
                return found.breaks(at, characters.at());
            if (line.starts_with(kBegin)) {
                ++depth;
            } else if (line.starts_with(kEnd) && depth > 0) {
                end = --depth == 0 ? lineEnd(reader, at, line) : 0;
                characters.moveTo(end > 0 ? end : characters.at());
            } else if (found.title.empty() && line.starts_with("FN:")) {
                found.title = text::fromUtf8(std::string_view(line).substr(3));
            }
        }
    }

private:
    /// The next line up to its break, the rest of a long one left out; false when it ends with
    /// what is no text.
    static bool readLine(CharacterReader& characters, std::string& line) {
        line.clear();
        while (true) {
            const int c = characters.next();
            if (c == '\n')
                return true;
            if (c < ' ' && c != '\r' && c != '\t')
                return false;
            if (line.size() < kMostLine)
                line += static_cast<char>(c);
        }
    }

    /// Behind the line at `at` and its break, if it has one: the name behind "END:" is letters.
    static uint64 lineEnd(ContentReader& reader, uint64 at, std::string_view line) {
        std::size_t length = kEnd.size();
        while (length < line.size() && line[length] >= 'A' && line[length] <= 'Z')
            ++length;
        const uint64 end = at + length;
        if (reader.matches(end, "\r\n"))
            return end + 2;
        return reader.matches(end, "\n") ? end + 1 : end;
    }
};

} // namespace

const ContentKind& cardKind() {
    static const CardKind kind;
    return kind;
}

} // namespace kova
