#include "engine/content/kinds.h"

#include <algorithm>

namespace kova {

namespace {

using namespace std::string_view_literals;

constexpr ContentType kTypes[] = {{L"OLE", L"ole", ContentGroup::Documents},
                                  {L"Word 97", L"doc", ContentGroup::Documents},
                                  {L"Excel 97", L"xls", ContentGroup::Documents},
                                  {L"PowerPoint 97", L"ppt", ContentGroup::Documents},
                                  {L"Outlook message", L"msg", ContentGroup::Documents},
                                  {L"Visio", L"vsd", ContentGroup::Documents},
                                  {L"Publisher", L"pub", ContentGroup::Documents}};

enum Type { Ole, Doc, Xls, Ppt, Msg, Vsd, Pub };

/// Streams that tell what the file is, as UTF-16.
struct Telltale {
    std::u16string_view stream;
    Type type;
};

constexpr Telltale kTelltales[] = {{u"WordDocument", Doc},
                                   {u"Workbook", Xls},
                                   {u"Book", Xls},
                                   {u"PowerPoint Document", Ppt},
                                   {u"__properties_version1.0", Msg},
                                   {u"VisioDocument", Vsd},
                                   {u"Quill", Pub}};

constexpr auto kMagic = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"sv;
/// The header: bytes of a sector as a power of two at 30 (2 bytes), sectors of the FAT at 44, first
/// sector of the directory at 48, first sector of the list of the FAT's sectors at 68 and how many
/// of it at 72 (4 each); the first 109 entries of that list from 76 on.
constexpr uint64 kShiftAt = 30;
constexpr uint64 kFatSectorsAt = 44;
constexpr uint64 kDirectoryAt = 48;
constexpr uint64 kListAt = 68;
constexpr uint64 kListInHeaderAt = 76;
constexpr uint32 kListInHeader = 109;
/// Entries of the FAT that are no sector's number.
constexpr uint32 kHighestSector = 0xFFFFFFFA;
constexpr uint32 kFree = 0xFFFFFFFF;
/// An entry of the directory: its name (64 bytes), the name's bytes with the closing zero (2).
constexpr uint64 kEntryBytes = 128;
constexpr uint64 kNameBytesAt = 64;

/// The file's own allocation table.
class Table {
public:
    explicit Table(ContentReader& reader)
        : reader_(reader), sectorBytes_(uint64{1} << reader.le<uint16>(kShiftAt)),
          fatSectors_(reader.le<uint32>(kFatSectorsAt)) {}

    [[nodiscard]] uint64 positionOf(uint32 sector) const {
        return (uint64{sector} + 1) * sectorBytes_;
    }

    [[nodiscard]] uint64 sectorBytes() const { return sectorBytes_; }

    /// Goes over the table; false, with `wrongAt`, when it is none.
    bool read(uint64& wrongAt) {
        wrongAt = 0;
        const uint64 perSector = sectorBytes_ / sizeof(uint32);
        if (fatSectors_ == 0 || uint64{fatSectors_} * sectorBytes_ > reader_.size())
            return false;
        uint32 list = reader_.le<uint32>(kListAt);
        uint64 listed = 0;
        for (uint32 i = 0; i < fatSectors_; ++i) {
            uint32 sector = 0;
            if (i < kListInHeader) {
                sector = reader_.le<uint32>(kListInHeaderAt + 4 * uint64{i});
            } else {
                // The last entry of each sector of the list leads to the next.
                if (listed == perSector - 1) {
                    list = reader_.le<uint32>(positionOf(list) + 4 * listed);
                    listed = 0;
                }
                if (list >= kHighestSector)
                    return false;
                sector = reader_.le<uint32>(positionOf(list) + 4 * listed++);
            }
            if (sector >= kHighestSector)
                return false;
            wrongAt = positionOf(sector);
            if (!readSector(sector, i * perSector, perSector))
                return false;
        }
        return true;
    }

    /// Sectors that are in use, counted from the file's first.
    [[nodiscard]] uint64 inUse() const { return inUse_; }

private:
    bool readSector(uint32 sector, uint64 first, uint64 count) {
        for (uint64 i = 0; i < count; ++i) {
            const auto next = reader_.le<uint32>(positionOf(sector) + 4 * i);
            if (next == kFree)
                continue;
            // A sector follows another one of the file, which the table has to reach.
            if (next < kHighestSector && next >= uint64{fatSectors_} * count)
                return false;
            inUse_ = std::max(inUse_, first + i + 1);
        }
        return true;
    }

    ContentReader& reader_;
    uint64 sectorBytes_;
    uint32 fatSectors_;
    uint64 inUse_ = 0;
};

class CompoundFileKind : public ContentKind {
public:
    std::span<const ContentType> types() const override { return kTypes; }

    std::string_view firstBytes() const override { return "\xD0"; }

    std::size_t bytesNeeded() const override { return 512; }

    Certainty begins(std::span<const uint8> first) const override {
        if (!startsWith(first, kMagic))
            return Certainty::No;
        if (first.size() < kShiftAt + 2)
            return Certainty::Magic;
        const auto shift = readLe<uint16>(first, kShiftAt);
        return shift == 9 || shift == 12 ? Certainty::Structure : Certainty::No;
    }

protected:
    void follow(ContentReader& reader, MeasuredContent& found) const override {
        Table table(reader);
        uint64 wrongAt = 0;
        const bool isSound = table.read(wrongAt);
        if (!isSound)
            return found.breaks(table.sectorBytes(), wrongAt);
        const uint64 directory = table.positionOf(reader.le<uint32>(kDirectoryAt));
        if (!tell(reader, directory, table.sectorBytes(), found))
            return found.breaks(table.sectorBytes(), directory + table.sectorBytes());
        found.endsAt((table.inUse() + 1) * table.sectorBytes());
    }

private:
    /// Looks through the first sector of the directory; false when it is none.
    static bool tell(ContentReader& reader, uint64 directory, uint64 bytes,
                     MeasuredContent& found) {
        constexpr std::u16string_view kRoot = u"Root Entry";
        for (uint64 at = directory; at < directory + bytes; at += kEntryBytes) {
            const auto nameBytes = reader.le<uint16>(at + kNameBytesAt);
            if (nameBytes > kNameBytesAt || nameBytes % 2 != 0)
                return false;
            std::u16string name;
            for (uint64 i = 0; i + 2 < nameBytes; i += 2)
                name.push_back(static_cast<char16_t>(reader.le<uint16>(at + i)));
            if (at == directory && name != kRoot && name != u"R")
                return false;
            for (const Telltale& telltale : kTelltales) {
                if (name == telltale.stream && found.type == &kTypes[Ole])
                    found.type = &kTypes[telltale.type];
            }
        }
        return true;
    }
};

} // namespace

const ContentKind& compoundFileKind() {
    static const CompoundFileKind kind;
    return kind;
}

} // namespace kova
