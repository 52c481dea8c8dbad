#include "engine/content/ContentText.h"
#include "engine/content/TextRun.h"
#include "engine/content/kinds.h"

#include <algorithm>
#include <optional>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"HTML", L"html", ContentGroup::Documents},
                                  {L"XML", L"xml", ContentGroup::Documents},
                                  {L"SVG", L"svg", ContentGroup::Pictures}};
constexpr std::string_view kHtmlBegins[] = {"<!doctype html"sv, "<html"sv, "<head"sv};
constexpr std::string_view kXmlBegins[] = {"<?xml"sv, "<svg"sv, "<!doctype svg"sv};
/// White space before the first tag.
constexpr std::size_t kMostSpace = 256;
constexpr std::size_t kMostTitle = 512;

bool isSpace(int c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool isWord(int c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

char lower(uint8 c) {
    return static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
}

bool beginsLower(std::span<const uint8> bytes, std::string_view what) {
    return bytes.size() >= what.size() && std::equal(what.begin(), what.end(), bytes.begin(),
                                                     [](char w, uint8 b) { return lower(b) == w; });
}

bool beginsOneOf(std::span<const uint8> first, std::span<const std::string_view> beginnings) {
    std::size_t at = markBytes(first);
    while (at < first.size() && at < kMostSpace && isSpace(first[at]))
        ++at;
    const auto tag = first.subspan(at);
    return std::ranges::any_of(beginnings, [tag](auto b) { return beginsLower(tag, b); });
}

/// Follows XML to the end of its root element.
class XmlWalk {
public:
    explicit XmlWalk(ContentReader& reader) : characters_(reader, 0) {}

    /// Behind the root element; nothing where it is no XML any more, or ends too early.
    std::optional<uint64> rootEnd() {
        while (next()) {
            if (c_ == '<' && !tag())
                return std::nullopt;
            if (opened_ && depth_ == 0)
                return characters_.at();
        }
        return std::nullopt;
    }

    /// Offset of the last byte looked at.
    [[nodiscard]] uint64 at() const { return characters_.at(); }

    /// The root element's name, without its name space.
    [[nodiscard]] const std::string& rootName() const { return root_; }

private:
    static constexpr std::size_t kMostName = 64;

    bool next() {
        c_ = characters_.next();
        return c_ >= ' ' || isSpace(c_) || c_ == '\f';
    }

    bool tag() {
        if (!next())
            return false;
        if (c_ == '?')
            return passTo("?>");
        if (c_ == '!')
            return declaration();
        if (c_ == '/') {
            if (depth_ == 0)
                return false;
            --depth_;
            return passTo(">");
        }
        return element();
    }

    /// A comment, a section of characters, or a document type.
    bool declaration() {
        if (!next())
            return false;
        if (c_ == '-')
            return next() && passTo("-->");
        if (c_ == '[')
            return passTo("]]>");
        int brackets = 0;
        while (next()) {
            brackets += c_ == '[' ? 1 : c_ == ']' ? -1 : 0;
            if (c_ == '>' && brackets <= 0)
                return true;
        }
        return false;
    }

    bool element() {
        const bool root = !opened_;
        bool name = true;
        int quote = 0;
        int last = 0;
        do {
            name = name && !isSpace(c_) && c_ != '/' && c_ != '>';
            if (root && name)
                addToName();
            if (quote != 0)
                quote = c_ == quote ? 0 : quote;
            else if (c_ == '"' || c_ == '\'')
                quote = c_;
            else if (c_ == '<')
                return false;
            else if (c_ == '>') {
                opened_ = true;
                depth_ += last == '/' ? 0 : 1;
                return true;
            }
            last = c_;
        } while (next());
        return false;
    }

    void addToName() {
        if (c_ == ':')
            root_.clear();
        else if (root_.size() < kMostName)
            root_ += lower(static_cast<uint8>(c_));
    }

    bool passTo(std::string_view end) {
        std::string last;
        while (next()) {
            last += static_cast<char>(c_);
            if (last.size() > end.size())
                last.erase(0, 1);
            if (last == end)
                return true;
        }
        return false;
    }

    CharacterReader characters_;
    int c_ = 0;
    uint64 depth_ = 0;
    bool opened_ = false;
    std::string root_;
};

/// Behind the white space at `at`, or behind its first line break where something else follows,
/// which was there before.
uint64 afterSpace(ContentReader& reader, uint64 at) {
    uint64 line = 0;
    while (reader.has(at, 1) && isSpace(reader.byte(at))) {
        if (reader.byte(at++) == '\n' && line == 0)
            line = at;
    }
    const bool isEnd = !reader.has(at, 1) || reader.byte(at) == 0;
    return isEnd || line == 0 ? at : line;
}

class MarkupKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "<\xEF \t\r\n"; }

    Certainty begins(std::span<const uint8> first) const override {
        const bool there = beginsOneOf(first, kHtmlBegins) || beginsOneOf(first, kXmlBegins);
        return there ? Certainty::Magic : Certainty::No;
    }

    Fit mayContinue(std::span<const uint8> block, uint64) const override {
        return isText(block, true) ? Fit::Yes : Fit::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        if (beginsOneOf(reader.some(0), kHtmlBegins))
            followHtml(reader, found);
        else
            followXml(reader, found);
    }

private:
    static void followXml(ContentReader& reader, MeasuredContent& found) {
        XmlWalk walk(reader);
        const auto end = walk.rootEnd();
        found.type = &kTypes[walk.rootName() == "svg" ? 2 : walk.rootName() == "html" ? 0 : 1];
        if (end)
            return found.endsAt(afterSpace(reader, *end));
        // Many a program leaves a tag open; the text has its end all the same.
        const TextRun run = textRun(reader);
        if (run.isPadded)
            found.endsAt(run.end);
        else
            found.breaks(walk.at() - 1, walk.at() - 1);
    }

    /// Browsers forgive everything, so that a file is whole if it has its last tag, or ends.
    static void followHtml(ContentReader& reader, MeasuredContent& found) {
        const TextRun run = textRun(reader);
        const uint64 closed = endBehindTag(reader, run.end);
        found.title = title(reader);
        if (closed == 0)
            return run.tell(found);
        found.endsAt(closed);
    }

    /// Where a text that ends at `textEnd` or before does so behind its last "</html>"; 0 without
    /// one.
    static uint64 endBehindTag(ContentReader& reader, uint64 textEnd) {
        constexpr auto kClosing = "</html>"sv;
        CharacterReader characters(reader, 0);
        std::size_t same = 0;
        uint64 after = 0;
        bool isBehind = false; // The tag, with nothing but white space since.
        for (int c = characters.next(); c > 0; c = characters.next()) {
            // Words are no part of a page any more: they were here before it.
            if (isBehind && isWord(c))
                return characters.at() - 1;
            isBehind = isBehind && isSpace(c);
            const char letter = lower(static_cast<uint8>(c));
            same = letter == kClosing[same] ? same + 1 : (letter == '<' ? 1 : 0);
            if (same == kClosing.size()) {
                after = characters.at();
                same = 0;
                isBehind = true;
            }
        }
        return after == 0 ? 0 : std::max(after, textEnd);
    }

    static std::wstring title(ContentReader& reader) {
        const auto head = reader.some(0);
        const std::string_view view(reinterpret_cast<const char*>(head.data()), head.size());
        std::size_t from = std::min(view.find("<title>"), view.find("<TITLE>"));
        if (from == std::string_view::npos)
            return {};
        from += "<title>"sv.size();
        const std::size_t to = view.find('<', from);
        if (to == std::string_view::npos || to - from > kMostTitle)
            return {};
        return text::fromUtf8(view.substr(from, to - from));
    }
};

} // namespace

const ContentKind& markupKind() {
    static const MarkupKind kind;
    return kind;
}

} // namespace kova
