#include "engine/content/ContentText.h"
#include "engine/content/kinds.h"

#include <algorithm>
#include <optional>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"EXE", L"exe", ContentGroup::Programs},
                                  {L"DLL", L"dll", ContentGroup::Programs}};

/// The DOS header: "MZ", bytes in the last page at 2 and pages at 4 (of 512, 2 bytes each), offset
/// of the PE header at 60 (4).
constexpr std::size_t kLastPageAt = 2;
constexpr std::size_t kPagesAt = 4;
constexpr std::size_t kHeaderAt = 60;
constexpr std::size_t kDosHeader = 64;
constexpr uint64 kDosPage = 512;
/// The PE header: "PE", zeros, sections at 6 (2), time of linking at 8 (4), offset and number of
/// symbols at 12 and 16 (4 each), length of the optional header at 20 (2), flags at 22 (2; 0x2000:
/// a library), at 24 the optional header: magic (2), 32- or 64-bit, its directories at 96 or 112;
/// the fifth is the certificates': offset, length.
constexpr auto kPeMagic = "PE\0\0"sv;
constexpr uint64 kSectionsAt = 6;
constexpr uint64 kLinkedAt = 8;
constexpr uint64 kSymbolsAt = 12;
constexpr uint64 kOptionalBytesAt = 20;
constexpr uint64 kFlagsAt = 22;
constexpr uint64 kOptional = 24;
constexpr uint16 kLibrary = 0x2000;
constexpr uint16 kMagic32 = 0x10B;
constexpr uint16 kMagic64 = 0x20B;
constexpr uint64 kCertificates32 = 96 + 4 * 8;
constexpr uint64 kCertificates64 = 112 + 4 * 8;
/// A section: name (8), length and address in memory, length in the file at 16, offset at 20.
constexpr uint64 kSection = 40;
constexpr uint64 kSectionBytesAt = 16;
constexpr uint64 kSectionOffsetAt = 20;
constexpr uint32 kFurthestHeader = 0x10000;

class PeKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "M"; }

    std::size_t bytesNeeded() const override { return kDosHeader; }

    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, "MZ") || first.size() < kDosHeader)
            return Certainty::No;
        const auto header = readLe<uint32>(first, kHeaderAt);
        if (header >= kDosHeader / 2 && header < kFurthestHeader) {
            if (header + kPeMagic.size() > first.size())
                return Certainty::Weak;
            if (liesAt(first, header, kPeMagic))
                return Certainty::Structure;
        }
        return readLe<uint16>(first, kPagesAt) > 0 && readLe<uint16>(first, kLastPageAt) < kDosPage
                   ? Certainty::Weak
                   : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        const uint64 header = reader.le<uint32>(kHeaderAt);
        if (header >= kFurthestHeader || !reader.matches(header, kPeMagic))
            return;
        if ((reader.le<uint16>(header + kFlagsAt) & kLibrary) != 0)
            found.type = &kTypes[1];
        found.date = text::timeFromUnix(reader.le<uint32>(header + kLinkedAt));
        const uint64 optional = reader.le<uint16>(header + kOptionalBytesAt);
        uint64 section = header + kOptional + optional;
        uint64 end = section;
        for (uint32 i = reader.le<uint16>(header + kSectionsAt); i > 0; --i, section += kSection) {
            const uint64 bytes = reader.le<uint32>(section + kSectionBytesAt);
            if (bytes > 0)
                end = std::max(end, reader.le<uint32>(section + kSectionOffsetAt) + bytes);
        }
        const auto certificates = certificatesEnd(reader, header + kOptional, optional);
        const auto symbols = symbolsEnd(reader, header);
        if (!certificates || !symbols)
            return found.breaks(section, std::min(end, reader.size()));
        found.endsAt(std::max({end, section, *certificates, *symbols}));
    }

private:
    /// Symbols, which some compilers leave in, lie behind the sections, with their names behind
    /// them: those begin with their own length. 0 without any, nothing where there are none.
    static std::optional<uint64> symbolsEnd(ContentReader& reader, uint64 header) {
        constexpr uint64 kSymbol = 18;
        const uint64 at = reader.le<uint32>(header + kSymbolsAt);
        const uint64 count = reader.le<uint32>(header + kSymbolsAt + 4);
        if (at == 0 || count == 0)
            return 0;
        const uint64 names = at + count * kSymbol;
        const uint64 end = names + std::max<uint32>(reader.le<uint32>(names), sizeof(uint32));
        if (end > names + sizeof(uint32) && (end > reader.size() || reader.byte(end - 1) != 0))
            return std::nullopt;
        return end;
    }

    /// The certificates lie behind the sections: their length (4 bytes), version (2; 1.0 or 2.0),
    /// kind (2). 0 without any, nothing where there are none.
    static std::optional<uint64> certificatesEnd(ContentReader& reader, uint64 at, uint64 bytes) {
        const auto magic = bytes >= 2 ? reader.le<uint16>(at) : uint16{0};
        const uint64 entry = magic == kMagic64 ? kCertificates64 : kCertificates32;
        if ((magic != kMagic32 && magic != kMagic64) || entry + 8 > bytes)
            return 0;
        const auto length = reader.le<uint32>(at + entry + 4);
        if (length == 0)
            return 0;
        const uint64 first = reader.le<uint32>(at + entry);
        const auto version = reader.le<uint16>(first + 4);
        if (reader.le<uint32>(first) > length || (version != 0x100 && version != 0x200))
            return std::nullopt;
        return first + length;
    }
};

} // namespace

const ContentKind& peKind() {
    static const PeKind kind;
    return kind;
}

} // namespace kova
