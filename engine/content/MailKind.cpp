#include "engine/content/ContentText.h"
#include "engine/content/TextRun.h"
#include "engine/content/kinds.h"

#include <algorithm>
#include <array>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"E-mail", L"eml", ContentGroup::Documents},
                                  {L"Mailbox", L"mbox", ContentGroup::Documents}};
/// Fields that a message's first line can hold.
constexpr std::string_view kFields[] = {
    "Received:"sv, "Return-Path:"sv,  "Delivered-To:"sv, "From:"sv,           "To:"sv,
    "Date:"sv,     "Subject:"sv,      "Message-ID:"sv,   "Message-Id:"sv,     "MIME-Version:"sv,
    "X-"sv,        "Content-Type:"sv, "Reply-To:"sv,     "DKIM-Signature:"sv, "ARC-Seal:"sv,
    "Sender:"sv,   "Envelope-To:"sv,  "User-Agent:"sv};
constexpr auto kMailboxLine = "From "sv;
constexpr std::size_t kMostHeader = std::size_t{32} << 10;
constexpr std::array<std::string_view, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

std::string_view viewOf(std::span<const uint8> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::string_view lineAt(std::string_view view, std::size_t at) {
    view = view.substr(std::min(at, view.size()));
    return view.substr(0, view.find('\n'));
}

/// A name of letters and hyphens, a colon.
bool isField(std::string_view line) {
    const auto colon = line.find(':');
    return colon != std::string_view::npos && colon > 0 &&
           std::all_of(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(colon), [](char c) {
               return c == '-' || (c >= '0' && c <= '9') || ((c | 32) >= 'a' && (c | 32) <= 'z');
           });
}

/// What stands behind a field's name in the header; empty for none.
std::string_view field(std::string_view header, std::string_view name) {
    for (std::size_t at = 0; at < header.size();) {
        const auto line = lineAt(header, at);
        if (line.size() <= 1)
            break;
        if (line.starts_with(name))
            return line.substr(name.size());
        at += line.size() + 1;
    }
    return {};
}

/// "Tue, 2 Jul 2024 12:30:00 +0200", as it stands, without the time zone.
int64 dateOf(std::string_view date) {
    const auto comma = date.find(',');
    if (comma != std::string_view::npos)
        date.remove_prefix(comma + 1);
    date.remove_prefix(std::min(date.find_first_not_of(' '), date.size()));
    const auto space = date.find(' ');
    if (space == 0 || space > 2 || date.size() < space + 18)
        return 0;
    const auto month = std::ranges::find(kMonths, date.substr(space + 1, 3));
    if (month == kMonths.end())
        return 0;
    const auto number = std::to_string(month - kMonths.begin() + 101).substr(1);
    const std::string day = (space == 1 ? "0" : "") + std::string(date.substr(0, space));
    return text::timeFromDigits(std::string(date.substr(space + 5, 4)) + number + day +
                                std::string(date.substr(space + 10, 8)));
}

class MailKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "RDFTSMXCAEU"; }

    std::string_view secondBytes() const override { return "earoKuI-Rns"; }

    Certainty begins(std::span<const uint8> first) const override {
        const auto view = viewOf(first.first(std::min<std::size_t>(first.size(), kMostHead)));
        const auto line = lineAt(view, 0);
        if (line.starts_with(kMailboxLine))
            return isField(lineAt(view, line.size() + 1)) ? Certainty::Structure : Certainty::No;
        if (std::ranges::none_of(kFields, [line](auto f) { return line.starts_with(f); }))
            return Certainty::No;
        return isHeader(view) ? Certainty::Magic : Certainty::No;
    }

    Fit mayContinue(std::span<const uint8> block, uint64) const override {
        return isText(block, true) ? Fit::Yes : Fit::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        const TextRun run = textRun(reader);
        const auto head = reader.some(0, std::min<uint64>(run.end, kMostHeader));
        const std::string header(viewOf(head));
        if (header.starts_with(kMailboxLine)) {
            found.type = &kTypes[1];
            return run.tell(found);
        }
        found.title = text::fromUtf8(field(header, "Subject:"));
        found.date = dateOf(field(header, "Date:"));
        const std::string last = lastBoundary(header);
        if (last.empty())
            return run.tell(found);
        if (!reader.find(last, 0, run.end))
            return found.breaks(run.end, run.end);
        found.endsAt(run.end);
    }

private:
    /// As much as `begins` looks at.
    static constexpr std::size_t kMostHead = 1024;
    static constexpr std::size_t kLeastFields = 2;

    /// Lines that are fields, or go on with the one before.
    static bool isHeader(std::string_view view) {
        std::size_t fields = 0;
        for (std::size_t at = 0; at < view.size();) {
            const auto line = lineAt(view, at);
            at += line.size() + 1;
            if (line.size() <= 1 || at > view.size())
                break;
            if (line[0] == ' ' || line[0] == '\t')
                continue;
            if (!isField(line))
                return false;
            ++fields;
        }
        return fields >= kLeastFields;
    }

    /// The line that ends a message of several parts; empty for other messages.
    static std::string lastBoundary(std::string_view header) {
        constexpr auto kBoundary = "boundary="sv;
        const auto blank = std::min(header.find("\n\n"), header.find("\n\r\n"));
        header = header.substr(0, blank);
        auto at = header.find(kBoundary);
        if (at == std::string_view::npos)
            return {};
        at += kBoundary.size();
        const bool quoted = at < header.size() && header[at] == '"';
        const auto from = at + (quoted ? 1 : 0);
        const auto to = header.find_first_of(quoted ? "\"" : "; \t\r\n", from);
        const auto name = header.substr(std::min(from, header.size()), to - from);
        constexpr std::size_t kMostBoundary = 70;
        return name.empty() || name.size() > kMostBoundary ? std::string()
                                                           : "--" + std::string(name) + "--";
    }
};

} // namespace

const ContentKind& mailKind() {
    static const MailKind kind;
    return kind;
}

} // namespace kova
