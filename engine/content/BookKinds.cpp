// Books and help whose header tells where their parts lie.
#include "engine/content/ContentText.h"
#include "engine/content/PlainKind.h"
#include "engine/content/kinds.h"

namespace kova {

namespace {

using namespace std::string_view_literals;

/// DjVu: "AT&TFORM", length of what follows (4, big-endian), the form.
namespace djvu {

constexpr ContentType kTypes[] = {{L"DjVu", L"djvu", ContentGroup::Documents}};

Certainty begins(std::span<const uint8> first) {
    return surely(liesAt(first, 12, "DJV"));
}

void follow(ContentReader& reader, MeasuredContent& found) {
    found.endsAt(12 + uint64{reader.be<uint32>(8)});
}

constexpr PlainFormat kFormat{kTypes, "AT&TFORM"sv, begins, follow};

} // namespace djvu

/// Windows' help: "ITSF", version 3, bytes of the header 96; at 56 where its first part lies (8),
/// which has the file's length at 8 (8).
namespace help {

constexpr ContentType kTypes[] = {{L"HTML help", L"chm", ContentGroup::Documents}};
constexpr uint64 kFirstPartAt = 56;

Certainty begins(std::span<const uint8> first) {
    return surely(readLe<uint32>(first, 8) == 96);
}

void follow(ContentReader& reader, MeasuredContent& found) {
    const auto part = reader.le<uint64>(kFirstPartAt);
    if (!reader.has(part, 24))
        return found.breaks(96, reader.size());
    found.endsAt(reader.le<uint64>(part + 8));
}

constexpr PlainFormat kFormat{kTypes, "ITSF\3\0\0\0"sv, begins, follow};

} // namespace help

/// Books for the Kindle are databases of the Palm: a name (32), at 60 what they are (8), records at
/// 76 (2, big-endian), then for each where it lies and flags (4 each). The last is an end mark.
class MobiKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return {}; }

    std::span<const Mark> marks() const override { return kMarks; }

    std::size_t bytesNeeded() const override { return kFirstRecord; }

    Certainty begins(std::span<const uint8> first) const override {
        return liesAt(first, kTypeAt, "BOOKMOBI") ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        found.title = text::fromLatin1(reader.bytes(0, kNameBytes));
        const uint64 records = reader.be<uint16>(kRecordsAt);
        uint64 last = kFirstRecord + records * kRecordBytes;
        for (uint64 i = 0; i < records; ++i) {
            const uint64 at = reader.be<uint32>(kFirstRecord + i * kRecordBytes);
            if (at < last)
                return found.breaks(kFirstRecord, kFirstRecord);
            last = at;
        }
        if (!reader.matches(last, kEnd))
            return found.breaks(last, last);
        found.endsAt(last + kEnd.size());
    }

private:
    static constexpr ContentType kTypes[] = {{L"Mobipocket", L"mobi", ContentGroup::Documents}};
    static constexpr std::size_t kNameBytes = 31;
    static constexpr std::size_t kTypeAt = 60;
    static constexpr Mark kMarks[] = {{kTypeAt, "B"sv}};
    static constexpr std::size_t kRecordsAt = 76;
    static constexpr std::size_t kFirstRecord = 78;
    static constexpr uint64 kRecordBytes = 8;
    static constexpr auto kEnd = "\xE9\x8E\r\n"sv;
};

} // namespace

const ContentKind& mobiKind() {
    static const MobiKind kind;
    return kind;
}

const ContentKind& djvuKind() {
    static const PlainKind kind(djvu::kFormat);
    return kind;
}

const ContentKind& helpKind() {
    static const PlainKind kind(help::kFormat);
    return kind;
}

} // namespace kova
