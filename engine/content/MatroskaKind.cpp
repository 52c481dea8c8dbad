#include "engine/content/ContentText.h"
#include "engine/content/kinds.h"

#include "format/FileTime.h"

#include <algorithm>
#include <optional>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"Matroska", L"mkv", ContentGroup::Videos},
                                  {L"WebM", L"webm", ContentGroup::Videos}};

enum Type { Mkv, WebM };

constexpr auto kMagic = "\x1A\x45\xDF\xA3"sv;

/// Ids of elements, their marker bits included.
constexpr uint32 kHeader = 0x1A45DFA3;
constexpr uint32 kDocType = 0x4282;
constexpr uint32 kSegment = 0x18538067;
constexpr uint32 kInfo = 0x1549A966;
constexpr uint32 kDate = 0x4461;
constexpr uint32 kTitle = 0x7BA9;
constexpr uint32 kCluster = 0x1F43B675;
/// What a segment is made of.
constexpr uint32 kInSegment[] = {0x114D9B74, kInfo,      0x1654AE6B, kCluster, 0x1C53BB6B,
                                 0x1941A469, 0x1043A770, 0x1254C367, 0xEC,     0xBF};
/// What a cluster is made of.
constexpr uint32 kInCluster[] = {0xE7, 0xA7, 0xAB, 0xA3, 0xA0, 0xAF, 0x5854, 0xEC, 0xBF};

/// An element: its id, its size (both of variable length), its data.
struct Element {
    uint32 id = 0;
    uint64 data = 0;
    std::optional<uint64> end; ///< Nothing: it ends with what holds it.
};

/// Bytes of a number that begins with this byte: zeros before the first one, and that.
unsigned lengthOf(uint8 first) {
    unsigned length = 1;
    while (length <= 8 && (first & (0x80U >> (length - 1))) == 0)
        ++length;
    return length;
}

/// The element at an offset; nothing when none can begin there.
std::optional<Element> elementAt(ContentReader& reader, uint64 at) {
    Element element;
    const unsigned idBytes = lengthOf(reader.byte(at));
    if (idBytes > 4)
        return std::nullopt;
    for (unsigned i = 0; i < idBytes; ++i)
        element.id = element.id << 8 | reader.byte(at + i);
    at += idBytes;
    const uint8 first = reader.byte(at);
    const unsigned sizeBytes = lengthOf(first);
    if (sizeBytes > 8)
        return std::nullopt;
    uint64 size = first & ((0x80U >> (sizeBytes - 1)) - 1);
    bool isUnknown = size == (0x80U >> (sizeBytes - 1)) - 1;
    for (unsigned i = 1; i < sizeBytes; ++i) {
        const uint8 byte = reader.byte(at + i);
        size = size << 8 | byte;
        isUnknown = isUnknown && byte == 0xFF;
    }
    element.data = at + sizeBytes;
    if (!isUnknown)
        element.end = element.data + size;
    return element;
}

bool isOneOf(uint32 id, std::span<const uint32> ids) {
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

class MatroskaKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "\x1A"; }

    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, kMagic))
            return Certainty::No;
        const std::string_view view(reinterpret_cast<const char*>(first.data()),
                                    std::min<std::size_t>(first.size(), 64));
        const bool isNamed = view.find("matroska") != std::string_view::npos ||
                             view.find("webm") != std::string_view::npos;
        return isNamed ? Certainty::Structure : Certainty::Magic;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        const auto header = elementAt(reader, 0);
        if (!header || header->id != kHeader || !header->end)
            return found.breaks(0, 0);
        takeHeader(reader, *header, found);
        const auto segment = elementAt(reader, *header->end);
        if (!segment || segment->id != kSegment)
            return found.breaks(*header->end, *header->end);
        uint64 at = segment->data;
        while (!segment->end || at < *segment->end) {
            if (!segment->end && !reader.has(at, 2))
                return found.endsAt(at);
            const auto element = elementAt(reader, at);
            if (!element || !isOneOf(element->id, kInSegment)) {
                // A stream that was written as it came ends where nothing of it follows.
                return segment->end ? found.breaks(at, at) : found.endsAt(at);
            }
            if (element->id == kInfo && element->end)
                takeInfo(reader, *element, found);
            uint64 wrongAt = 0;
            const uint64 end = element->id == kCluster ? clusterEnd(reader, *element, wrongAt)
                                                       : element->end.value_or(0);
            if (end == 0)
                return found.breaks(at, std::max(at, wrongAt));
            if (!reader.has(end, 0))
                fail();
            at = end;
        }
        if (at != *segment->end)
            return found.breaks(at, at);
        found.endsAt(at);
    }

private:
    /// Behind a cluster; 0 when something in it is none of a cluster's, at `wrongAt`.
    static uint64 clusterEnd(ContentReader& reader, const Element& cluster, uint64& wrongAt) {
        uint64 at = cluster.data;
        while (!cluster.end || at < *cluster.end) {
            const auto element = elementAt(reader, at);
            wrongAt = at;
            if (!element || !element->end || !isOneOf(element->id, kInCluster))
                return cluster.end ? 0 : at;
            at = *element->end;
        }
        wrongAt = at;
        return at == *cluster.end ? at : 0;
    }

    template <typename Take>
    static void forEach(ContentReader& reader, const Element& parent, Take take) {
        for (uint64 at = parent.data; at < *parent.end;) {
            const auto element = elementAt(reader, at);
            if (!element || !element->end || *element->end > *parent.end)
                return;
            take(*element, *element->end - element->data);
            at = *element->end;
        }
    }

    static void takeHeader(ContentReader& reader, const Element& header, MeasuredContent& found) {
        forEach(reader, header, [&](const Element& element, uint64 bytes) {
            if (element.id == kDocType && reader.text(element.data, bytes).starts_with("webm"))
                found.type = &kTypes[WebM];
        });
    }

    static void takeInfo(ContentReader& reader, const Element& info, MeasuredContent& found) {
        // Nanoseconds since 2001.
        constexpr int64 kTicksFrom1601To2001 =
            format::kFileTimeOf1970 + int64{978'307'200} * format::kFileTimeTicksPerSecond;
        forEach(reader, info, [&](const Element& element, uint64 bytes) {
            if (element.id == kTitle)
                found.title = text::fromUtf8(reader.text(element.data, bytes));
            if (element.id == kDate && bytes == sizeof(int64))
                found.date = reader.be<int64>(element.data) / 100 + kTicksFrom1601To2001;
        });
    }
};

} // namespace

const ContentKind& matroskaKind() {
    static const MatroskaKind kind;
    return kind;
}

} // namespace kova
