#include "engine/content/kinds.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"PDF", L"pdf", ContentGroup::Documents}};

constexpr auto kMagic = "%PDF-"sv;
constexpr auto kEnd = "%%EOF"sv;
constexpr auto kTableOffset = "startxref"sv;
/// Between "startxref" and the end mark stand a number and ends of lines.
constexpr uint64 kTrailerBytes = 64;
/// A line of a table of objects: offset (10 digits), generation (5), in use or free, end of line.
constexpr uint64 kLineBytes = 20;
constexpr uint64 kMostObjects = 1'000'000;

bool isSpace(uint8 c) {
    return c == ' ' || c == '\n' || c == '\r' || c == '\t' || c == '\f' || c == 0;
}

bool isDigit(uint8 c) {
    return c >= '0' && c <= '9';
}

/// Steps over blanks and line ends.
uint64 afterSpace(ContentReader& reader, uint64 at) {
    while (reader.has(at, 1) && isSpace(reader.byte(at)))
        ++at;
    return at;
}

/// The number at an offset, which is moved behind it.
std::optional<uint64> number(ContentReader& reader, uint64& at) {
    constexpr int kMostDigits = 12;
    uint64 value = 0;
    int digits = 0;
    for (; reader.has(at, 1) && isDigit(reader.byte(at)) && digits < kMostDigits; ++at, ++digits)
        value = value * 10 + (reader.byte(at) - '0');
    return digits > 0 ? std::optional(value) : std::nullopt;
}

/// Whether an object ("12 0 obj") begins there.
bool isObject(ContentReader& reader, uint64 at) {
    at = afterSpace(reader, at);
    if (!number(reader, at))
        return false;
    at = afterSpace(reader, at);
    if (!number(reader, at))
        return false;
    return reader.matches(afterSpace(reader, at), "obj");
}

/// What a table of objects vouches for.
struct Table {
    bool isThere = false;
    bool isVerified = false; ///< All that it names begins where it says.
    uint64 soundEnd = 0;     ///< The last object in order that does.
    uint64 wrongAt = 0;      ///< The first that does not.
};

/// Looks at each object that a table in text ("xref") names. One in a stream is only looked up.
Table check(ContentReader& reader, uint64 at) {
    Table table;
    if (!reader.matches(at, "xref")) {
        table.isThere = isObject(reader, at);
        return table;
    }
    table.isThere = true;
    std::vector<uint64> objects;
    at = afterSpace(reader, at + 4);
    while (reader.has(at, 1) && isDigit(reader.byte(at))) {
        const auto first = number(reader, at);
        at = afterSpace(reader, at);
        const auto count = number(reader, at);
        if (!first || !count || *count > kMostObjects - objects.size())
            return table;
        at = afterSpace(reader, at);
        for (uint64 i = 0; i < *count; ++i, at += kLineBytes) {
            uint64 line = at;
            const auto offset = number(reader, line);
            if (!offset || reader.byte(at + 17) != 'n')
                continue;
            if (*offset != 0)
                objects.push_back(*offset);
        }
        at = afterSpace(reader, at);
    }
    std::sort(objects.begin(), objects.end());
    for (const uint64 object : objects) {
        if (!reader.has(object, 1) || !isObject(reader, object)) {
            table.wrongAt = object;
            return table;
        }
        table.soundEnd = object;
    }
    table.isVerified = true;
    return table;
}

class PdfKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "%"; }

    Certainty begins(std::span<const uint8> first) const override {
        return startsWith(first, kMagic) ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        // A file may be added to: what follows an end belongs to it while it goes on with objects.
        // One for the web has an end near its beginning, which tells of a table further on.
        uint64 from = kMagic.size();
        uint64 soundEnd = 0;
        while (true) {
            const auto end = reader.find(kEnd, from, std::min(reader.size(), from + kFarthest));
            if (!end)
                return found.breaks(soundEnd, std::max(soundEnd, from));
            from = *end + kEnd.size();
            const auto tableAt = tableOffset(reader, *end);
            if (!tableAt)
                return found.breaks(soundEnd, *end);
            if (*tableAt != 0 && *tableAt < *end) {
                const Table table = check(reader, *tableAt);
                if (!table.isThere && isInner(reader, soundEnd, *end, *tableAt))
                    continue;
                if (!table.isThere)
                    return found.breaks(soundEnd, *end);
                if (table.wrongAt != 0)
                    return found.breaks(std::max(soundEnd, table.soundEnd), table.wrongAt);
                found.verified = table.isVerified;
            }
            soundEnd = behindLine(reader, from);
            if (!goesOn(reader, soundEnd, *tableAt, *end))
                return found.endsAt(soundEnd);
        }
    }

private:
    /// No part of a document that has no end mark inside is longer.
    static constexpr uint64 kFarthest = uint64{1} << 30;

    static std::optional<uint64> tableOffset(ContentReader& reader, uint64 end) {
        const uint64 from = end - std::min(end, kTrailerBytes);
        const std::string trailer = reader.text(from, end - from);
        const auto word = trailer.rfind(kTableOffset);
        if (word == std::string::npos)
            return std::nullopt;
        uint64 at = afterSpace(reader, from + word + kTableOffset.size());
        return number(reader, at);
    }

    /// Whether an end mark is that of a document attached to this one: counted from its own
    /// beginning, its table is where it says. One that begins a sector is a file of its own.
    static bool isInner(ContentReader& reader, uint64 from, uint64 end, uint64 tableAt) {
        constexpr int kMostInner = 64;
        constexpr uint64 kSector = 512;
        for (int i = 0; i < kMostInner; ++i) {
            const auto begin = reader.find(kMagic, from + kMagic.size(), end);
            if (!begin)
                break;
            if (*begin % kSector != 0 && *begin + tableAt < end &&
                check(reader, *begin + tableAt).isThere)
                return true;
            from = *begin;
        }
        return false;
    }

    /// Behind the blank lines at `at` where nothing else follows them, or behind the first.
    static uint64 behindLine(ContentReader& reader, uint64 at) {
        constexpr uint64 kMostBlanks = 256;
        const auto behind = reader.some(at, kMostBlanks);
        const auto last = std::ranges::find_if(
            behind, [](uint8 c) { return c != ' ' && c != '\r' && c != '\n' && c != '\t'; });
        if (last == behind.end() ? behind.size() < kMostBlanks : *last == 0)
            return at + static_cast<uint64>(last - behind.begin());
        if (reader.matches(at, "\r"))
            ++at;
        return reader.matches(at, "\n") ? at + 1 : at;
    }

    /// Behind lines of comments, as some put before what they add. Another file is none.
    static uint64 afterComments(ContentReader& reader, uint64 at) {
        constexpr int kMostLines = 16;
        constexpr uint64 kMostLine = 256;
        at = afterSpace(reader, at);
        for (int i = 0; i < kMostLines; ++i) {
            if (!reader.matches(at, "%") || reader.matches(at, kMagic))
                break;
            const auto line = reader.find("\n", at, at + kMostLine);
            if (!line)
                break;
            at = afterSpace(reader, *line);
        }
        return at;
    }

    static bool goesOn(ContentReader& reader, uint64 at, uint64 tableAt, uint64 end) {
        if (tableAt == 0 || tableAt > end)
            return true;
        at = afterComments(reader, at);
        return isObject(reader, at) || reader.matches(afterSpace(reader, at), "xref");
    }
};

} // namespace

const ContentKind& pdfKind() {
    static const PdfKind kind;
    return kind;
}

} // namespace kova
