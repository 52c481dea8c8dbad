#include "engine/content/Inflater.h"
#include "engine/content/kinds.h"

#include <algorithm>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"ZIP", L"zip", ContentGroup::Archives},
                                  {L"Word", L"docx", ContentGroup::Documents},
                                  {L"Excel", L"xlsx", ContentGroup::Documents},
                                  {L"PowerPoint", L"pptx", ContentGroup::Documents},
                                  {L"OpenDocument text", L"odt", ContentGroup::Documents},
                                  {L"OpenDocument table", L"ods", ContentGroup::Documents},
                                  {L"OpenDocument slides", L"odp", ContentGroup::Documents},
                                  {L"EPUB", L"epub", ContentGroup::Documents},
                                  {L"Java archive", L"jar", ContentGroup::Programs},
                                  {L"Android package", L"apk", ContentGroup::Programs}};

enum Type { Zip, Docx, Xlsx, Pptx, Odt, Ods, Odp, Epub, Jar, Apk };

/// What a member's name tells of the whole. The first that fits anything counts.
struct Telltale {
    std::string_view name;
    Type type;
};

constexpr Telltale kTelltales[] = {{"word/", Docx},
                                   {"xl/", Xlsx},
                                   {"ppt/", Pptx},
                                   {"AndroidManifest.xml", Apk},
                                   {"META-INF/MANIFEST.MF", Jar}};
/// What the first member, called "mimetype" and stored as it is, says.
constexpr Telltale kMediaTypes[] = {{"application/vnd.oasis.opendocument.text", Odt},
                                    {"application/vnd.oasis.opendocument.spreadsheet", Ods},
                                    {"application/vnd.oasis.opendocument.presentation", Odp},
                                    {"application/epub+zip", Epub}};

/// Signatures.
constexpr auto kLocal = "PK\3\4"sv;
constexpr auto kCentral = "PK\1\2"sv;
constexpr auto kSigned = "PK\5\5"sv;
constexpr auto kExtraData = "PK\6\x08"sv;
constexpr auto kEnd64 = "PK\6\6"sv;
constexpr auto kLocator64 = "PK\6\7"sv;
constexpr auto kEnd = "PK\5\6"sv;
constexpr auto kDescriptor = "PK\7\x08"sv;

/// A member's header: flags at 6, method at 8 (2 each), CRC-32 at 14, stored and real size at 18
/// and 22 (4 each), lengths of name and extra fields at 26 and 28 (2 each).
constexpr uint64 kFlagsAt = 6;
constexpr uint64 kMethodAt = 8;
constexpr uint64 kCrcAt = 14;
constexpr uint64 kStoredAt = 18;
constexpr std::size_t kNameBytesAt = 26;
constexpr std::size_t kLocalBytes = 30;
constexpr uint16 kEncrypted = 1;
constexpr uint16 kSizesBehind = 8; ///< The sizes follow the data, in a descriptor.
constexpr uint16 kDeflated = 8;
constexpr uint32 kIn64 = 0xFFFFFFFF; ///< The size stands in an extra field.
/// An entry of the directory: lengths of name, extra fields and comment at 28, 30 and 32.
constexpr uint64 kCentralBytes = 46;
constexpr uint64 kCentralNameAt = 28;
/// Records at the end, and where they tell their own length.
constexpr uint64 kEnd64SizeAt = 4;
constexpr uint64 kEnd64Header = 12;
constexpr uint64 kLocator64Bytes = 20;
constexpr uint64 kEndBytes = 22;
constexpr uint64 kDirectoryAt = 16; ///< Where the directory begins (4).
constexpr uint64 kCommentAt = 20;

/// One member of the archive.
struct Member {
    uint64 data = 0;
    uint64 stored = 0;
    uint16 flags = 0;
    uint16 method = 0;
    uint32 crc = 0;
};

/// The stored size in the extra field for large files: its id 1, its length, the real size (8) and
/// the stored one (8).
uint64 storedSize64(ContentReader& reader, uint64 extra, uint64 end) {
    while (extra + 4 <= end) {
        const uint64 bytes = reader.le<uint16>(extra + 2);
        if (reader.le<uint16>(extra) == 1 && bytes >= 16)
            return reader.le<uint64>(extra + 4 + 8);
        extra += 4 + bytes;
    }
    return kIn64;
}

Member memberAt(ContentReader& reader, uint64 at) {
    Member member;
    member.flags = reader.le<uint16>(at + kFlagsAt);
    member.method = reader.le<uint16>(at + kMethodAt);
    member.crc = reader.le<uint32>(at + kCrcAt);
    member.stored = reader.le<uint32>(at + kStoredAt);
    const uint64 extra = at + kLocalBytes + reader.le<uint16>(at + kNameBytesAt);
    member.data = extra + reader.le<uint16>(at + kNameBytesAt + 2);
    if (member.stored == kIn64)
        member.stored = storedSize64(reader, extra, member.data);
    return member;
}

class ZipKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "P"; }

    std::size_t bytesNeeded() const override { return kLocalBytes; }

    Certainty begins(std::span<const uint8> first) const override {
        if (startsWith(first, kEnd))
            return Certainty::Magic;
        if (!startsWith(first, kLocal) || first.size() < kLocalBytes)
            return Certainty::No;
        const auto name = readLe<uint16>(first, kNameBytesAt);
        return name > 0 && name < 0x1000 ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        found.verified = true;
        uint64 at = 0;
        while (reader.matches(at, kLocal)) {
            const Member member = memberAt(reader, at);
            tell(reader, at, member, found);
            uint64 wrongAt = 0;
            const uint64 end = memberEnd(reader, member, found, wrongAt);
            if (end == 0)
                return found.breaks(at, wrongAt);
            at = end;
        }
        if (reader.matches(at, kExtraData))
            at += 8 + uint64{reader.le<uint32>(at + 4)};
        const uint64 directory = at;
        while (reader.matches(at, kCentral))
            at += kCentralBytes + uint64{reader.le<uint16>(at + kCentralNameAt)} +
                  reader.le<uint16>(at + kCentralNameAt + 2) +
                  reader.le<uint16>(at + kCentralNameAt + 4);
        if (reader.matches(at, kSigned))
            at += 6 + uint64{reader.le<uint16>(at + 4)};
        if (reader.matches(at, kEnd64)) {
            const auto bytes = reader.le<uint64>(at + kEnd64SizeAt);
            if (!reader.has(at + kEnd64Header, bytes))
                return found.breaks(at, at);
            at += kEnd64Header + bytes;
        }
        if (reader.matches(at, kLocator64))
            at += kLocator64Bytes;
        if (!reader.matches(at, kEnd))
            return found.breaks(at, at);
        // The rest of an archive whose beginning lies elsewhere.
        const auto recorded = reader.le<uint32>(at + kDirectoryAt);
        if (recorded != kIn64 && recorded > directory)
            return;
        found.endsAt(at + kEndBytes + reader.le<uint16>(at + kCommentAt));
    }

private:
    /// Behind a member and its descriptor; 0 when something is wrong, at `wrongAt` at the latest.
    static uint64 memberEnd(ContentReader& reader, const Member& member, MeasuredContent& found,
                            uint64& wrongAt) {
        const bool sizesBehind = (member.flags & kSizesBehind) != 0;
        const bool isEncrypted = (member.flags & kEncrypted) != 0;
        if (member.method == kDeflated && !isEncrypted) {
            const uint64 limit = sizesBehind ? reader.size() : member.data + member.stored;
            const auto inflated =
                Inflater::run(reader, member.data, limit, Inflater::Wrapper::None);
            wrongAt = inflated.end;
            if (!inflated.whole)
                return 0;
            const uint32 crc = sizesBehind ? descriptorCrc(reader, inflated.end) : member.crc;
            if (crc != inflated.crc)
                return 0;
            return sizesBehind ? descriptorEnd(reader, inflated.end, inflated.produced)
                               : inflated.end;
        }
        if (!sizesBehind) {
            wrongAt = member.data + member.stored;
            if (!reader.has(member.data, member.stored))
                fail();
            found.verified = found.verified && (!isEncrypted && member.method == 0);
            const bool isSound = isEncrypted || member.method != 0 ||
                                 reader.crc32(member.data, member.stored) == member.crc;
            return isSound ? wrongAt : 0;
        }
        // Its end is where a descriptor tells of just that many bytes.
        found.verified = false;
        for (uint64 from = member.data;;) {
            const auto at = reader.find(kDescriptor, from, reader.size());
            wrongAt = at.value_or(reader.size());
            if (!at)
                return 0;
            if (reader.le<uint32>(*at + 8) == static_cast<uint32>(*at - member.data))
                return descriptorEnd(reader, *at, kIn64);
            from = *at + 1;
        }
    }

    static uint32 descriptorCrc(ContentReader& reader, uint64 at) {
        return reader.le<uint32>(reader.matches(at, kDescriptor) ? at + 4 : at);
    }

    /// Its sizes have 4 bytes each, or 8; what follows tells, as it is another header.
    static uint64 descriptorEnd(ContentReader& reader, uint64 at, uint64 /*realSize*/) {
        if (reader.matches(at, kDescriptor))
            at += 4;
        const uint64 shortEnd = at + 12;
        return reader.matches(shortEnd, "PK") ? shortEnd : at + 20;
    }

    static void tell(ContentReader& reader, uint64 at, const Member& member,
                     MeasuredContent& found) {
        if (found.type != &kTypes[Zip])
            return;
        const std::string name =
            reader.text(at + kLocalBytes, reader.le<uint16>(at + kNameBytesAt));
        if (at == 0 && name == "mimetype" && member.method == 0) {
            const std::string type = reader.text(member.data, std::min<uint64>(member.stored, 64));
            for (const Telltale& telltale : kMediaTypes) {
                if (type.starts_with(telltale.name))
                    found.type = &kTypes[telltale.type];
            }
        }
        for (const Telltale& telltale : kTelltales) {
            if (name.starts_with(telltale.name))
                found.type = &kTypes[telltale.type];
        }
    }
};

} // namespace

const ContentKind& zipKind() {
    static const ZipKind kind;
    return kind;
}

} // namespace kova
