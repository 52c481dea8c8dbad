#include "format/PartitionTable.h"

#include "format/BootSector.h"
#include "format/LittleEndian.h"

#include <algorithm>
#include <array>
#include <optional>
#include <set>
#include <string_view>

namespace format {

namespace {

// Master and extended boot records.
constexpr std::size_t kMbrBytes = 512;
constexpr std::size_t kMbrSignature = 510; // u16
constexpr std::uint16_t kMbrSignatureValue = 0xAA55;
constexpr std::size_t kMbrEntries = 446; // four of 16 bytes
constexpr std::size_t kMbrEntryBytes = 16;
constexpr int kMbrEntryCount = 4;
constexpr std::size_t kEntryStatus = 0;      // u8; 0x80: bootable, otherwise 0
constexpr std::size_t kEntryType = 4;        // u8
constexpr std::size_t kEntryFirstSector = 8; // u32
constexpr std::size_t kEntrySectors = 12;    // u32
constexpr std::uint8_t kStatusBootable = 0x80;
constexpr std::uint8_t kTypeEmpty = 0x00;
constexpr std::uint8_t kTypeGpt = 0xEE;
constexpr int kFirstLogicalNumber = 5;
constexpr std::size_t kMostLogicalPartitions = 1024; // bounds a crafted chain

// GUID partition table.
constexpr std::string_view kGptSignature = "EFI PART";
constexpr std::size_t kGptHeaderBytes = 12;   // u32, size of the header
constexpr std::size_t kGptHeaderCrc = 16;     // u32, over the header with this field zero
constexpr std::size_t kGptOwnSector = 24;     // u64
constexpr std::size_t kGptOtherSector = 32;   // u64, where the other copy of the header is
constexpr std::size_t kGptEntriesSector = 72; // u64
constexpr std::size_t kGptEntryCount = 80;    // u32
constexpr std::size_t kGptEntryBytes = 84;    // u32
constexpr std::size_t kGptEntriesCrc = 88;    // u32
constexpr std::uint32_t kGptSmallestHeader = 92;
constexpr std::size_t kGuidBytes = 16;
constexpr std::size_t kGptEntryFirstSector = 32; // u64
constexpr std::size_t kGptEntryLastSector = 40;  // u64, inclusive
constexpr std::uint32_t kGptSmallestEntry = 128;
constexpr std::uint32_t kGptLargestEntry = 4096;
constexpr std::uint64_t kGptMostEntryBytes = 1024ULL * 1024; // 64 times what disks have

using Bytes = std::span<const std::uint8_t>;

struct MbrEntry {
    std::uint8_t status = 0;
    std::uint8_t type = 0;
    std::uint64_t firstSector = 0;
    std::uint64_t sectors = 0;

    [[nodiscard]] bool isUsed() const { return type != kTypeEmpty && sectors != 0; }

    [[nodiscard]] bool isExtended() const {
        return type == 0x05 || type == 0x0F || type == 0x85; // CHS, LBA and Linux spellings
    }
};

using MbrEntries = std::array<MbrEntry, kMbrEntryCount>;

/// Reads a master or extended boot record; nothing when there is none.
std::optional<MbrEntries> readBootRecord(const ReadDisk& read, std::uint64_t offset) {
    std::array<std::uint8_t, kMbrBytes> bytes{};
    if (!read(offset, bytes) ||
        loadLe<std::uint16_t>(bytes.data() + kMbrSignature) != kMbrSignatureValue)
        return std::nullopt;
    MbrEntries entries;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const Bytes entry = Bytes(bytes).subspan(kMbrEntries + i * kMbrEntryBytes, kMbrEntryBytes);
        entries[i] = {entry[kEntryStatus], entry[kEntryType],
                      loadLe<std::uint32_t>(entry.data() + kEntryFirstSector),
                      loadLe<std::uint32_t>(entry.data() + kEntrySectors)};
    }
    return entries;
}

class TableReader {
public:
    TableReader(const ReadDisk& read, std::uint64_t size, std::uint32_t sectorSize)
        : read_(read), size_(size), sectorSize_(sectorSize) {}

    PartitionTable readTable() {
        const std::optional<MbrEntries> mbr = readMbr();
        const bool saysGpt =
            mbr && std::any_of(mbr->begin(), mbr->end(),
                               [](const MbrEntry& entry) { return entry.type == kTypeGpt; });
        if ((saysGpt || (!mbr && !isVolume())) && addGpt())
            return {TableKind::Gpt, std::move(partitions_)};
        if (!mbr)
            return {};
        addMbr(*mbr);
        return {TableKind::Mbr, std::move(partitions_)};
    }

private:
    /// Whether a volume starts where the MBR would be; what looks like a GPT behind it is then
    /// left over from before the disk was formatted.
    [[nodiscard]] bool isVolume() const {
        std::array<std::uint8_t, kBootSectorBytes> bytes{};
        return read_(0, bytes) && identifyVolume(bytes).has_value();
    }

    /// The entries of sector 0, if it is a partition table: a volume's boot sector carries the
    /// same signature, over code and texts that make no sense as entries.
    [[nodiscard]] std::optional<MbrEntries> readMbr() const {
        std::optional<MbrEntries> entries = readBootRecord(read_, 0);
        if (!entries)
            return std::nullopt;
        const bool allSane =
            std::all_of(entries->begin(), entries->end(), [](const MbrEntry& entry) {
                return (entry.status & ~kStatusBootable) == 0 &&
                       (!entry.isUsed() || entry.firstSector != 0);
            });
        const bool anyUsed = std::any_of(entries->begin(), entries->end(),
                                         [](const MbrEntry& entry) { return entry.isUsed(); });
        return allSane && anyUsed ? entries : std::nullopt;
    }

    void addMbr(const MbrEntries& mbr) {
        for (int i = 0; i < kMbrEntryCount; ++i) {
            const MbrEntry& entry = mbr[static_cast<std::size_t>(i)];
            if (entry.isUsed() && !entry.isExtended() && entry.type != kTypeGpt)
                add(i + 1, entry.firstSector, entry.sectors);
        }
        for (const MbrEntry& entry : mbr) {
            if (entry.isUsed() && entry.isExtended())
                addLogical(entry.firstSector);
        }
    }

    /// Follows the chain of boot records in an extended partition. In each, the first entry is a
    /// partition relative to the record, the next extended one leads to the next record,
    /// relative to the start of the whole.
    void addLogical(std::uint64_t extendedSector) {
        std::set<std::uint64_t> visited;
        std::uint64_t recordSector = extendedSector;
        while (visited.insert(recordSector).second && visited.size() <= kMostLogicalPartitions) {
            const std::optional<MbrEntries> record =
                readBootRecord(read_, recordSector * sectorSize_);
            if (!record)
                return;
            std::uint64_t nextSector = recordSector;
            for (const MbrEntry& entry : *record) {
                if (!entry.isUsed())
                    continue;
                if (entry.isExtended())
                    nextSector = extendedSector + entry.firstSector;
                else if (entry.firstSector != 0)
                    add(nextLogicalNumber_++, recordSector + entry.firstSector, entry.sectors);
            }
            recordSector = nextSector;
        }
    }

    /// Adds the partitions of the GPT; false when there is none. Copies that are whole come
    /// before those that fail their checksums but could still be right.
    bool addGpt() {
        std::vector<std::uint64_t> headerSectors{1};
        if (const std::optional<Header> first = readHeader(1))
            headerSectors.push_back(first->otherSector);
        headerSectors.push_back(size_ / sectorSize_ - 1);
        for (const bool mustBeWhole : {true, false}) {
            for (const std::uint64_t sector : headerSectors) {
                const std::optional<Header> header = readHeader(sector);
                if (header && (header->isWhole || !mustBeWhole) && addEntries(*header, mustBeWhole))
                    return true;
            }
        }
        return false;
    }

    struct Header {
        std::uint64_t otherSector = 0;
        std::uint64_t entriesSector = 0;
        std::uint32_t entryCount = 0;
        std::uint32_t entryBytes = 0;
        std::uint32_t entriesCrc = 0;
        bool isWhole = false; ///< Its checksum is right and it stands where it says.
    };

    [[nodiscard]] std::optional<Header> readHeader(std::uint64_t sector) const {
        std::vector<std::uint8_t> bytes(sectorSize_);
        if (sector == 0 || sector >= size_ / sectorSize_ || !read_(sector * sectorSize_, bytes) ||
            !std::equal(kGptSignature.begin(), kGptSignature.end(), bytes.begin(),
                        [](char c, std::uint8_t byte) { return static_cast<char>(byte) == c; }))
            return std::nullopt;
        Header header;
        header.otherSector = loadLe<std::uint64_t>(bytes.data() + kGptOtherSector);
        header.entriesSector = loadLe<std::uint64_t>(bytes.data() + kGptEntriesSector);
        header.entryCount = loadLe<std::uint32_t>(bytes.data() + kGptEntryCount);
        header.entryBytes = loadLe<std::uint32_t>(bytes.data() + kGptEntryBytes);
        header.entriesCrc = loadLe<std::uint32_t>(bytes.data() + kGptEntriesCrc);
        const auto headerBytes = loadLe<std::uint32_t>(bytes.data() + kGptHeaderBytes);
        const auto crc = loadLe<std::uint32_t>(bytes.data() + kGptHeaderCrc);
        if (headerBytes >= kGptSmallestHeader && headerBytes <= bytes.size()) {
            std::fill_n(bytes.begin() + kGptHeaderCrc, sizeof crc, std::uint8_t{0});
            header.isWhole = crc == crc32(Bytes(bytes).first(headerBytes)) &&
                             loadLe<std::uint64_t>(bytes.data() + kGptOwnSector) == sector;
        }
        return header;
    }

    bool addEntries(const Header& header, bool mustBeWhole) {
        if (header.entryBytes < kGptSmallestEntry || header.entryBytes > kGptLargestEntry ||
            header.entriesSector >= size_ / sectorSize_)
            return false;
        const std::uint64_t tableBytes = std::uint64_t{header.entryCount} * header.entryBytes;
        const std::uint64_t tableOffset = header.entriesSector * sectorSize_;
        if (tableBytes > kGptMostEntryBytes || tableBytes > size_ - tableOffset)
            return false;
        std::vector<std::uint8_t> table(static_cast<std::size_t>(tableBytes));
        if (!read_(tableOffset, table) || (mustBeWhole && crc32(table) != header.entriesCrc))
            return false;
        for (std::uint32_t i = 0; i < header.entryCount; ++i) {
            const Bytes entry =
                Bytes(table).subspan(std::size_t{i} * header.entryBytes, header.entryBytes);
            const Bytes type = entry.first(kGuidBytes);
            const auto firstSector = loadLe<std::uint64_t>(entry.data() + kGptEntryFirstSector);
            const auto lastSector = loadLe<std::uint64_t>(entry.data() + kGptEntryLastSector);
            const bool isUsed =
                std::any_of(type.begin(), type.end(), [](std::uint8_t byte) { return byte != 0; });
            if (isUsed && firstSector != 0 && lastSector >= firstSector)
                add(static_cast<int>(i) + 1, firstSector, lastSector - firstSector + 1);
        }
        return true;
    }

    /// Keeps a partition unless it starts beyond the disk; one that ends there is cut.
    void add(int number, std::uint64_t firstSector, std::uint64_t sectors) {
        if (firstSector >= size_ / sectorSize_)
            return;
        const std::uint64_t offset = firstSector * sectorSize_;
        const std::uint64_t most = size_ - offset;
        const std::uint64_t length = sectors > most / sectorSize_ ? most : sectors * sectorSize_;
        partitions_.push_back({number, offset, length});
    }

    /// CRC-32 as in Ethernet and zip: reflected, polynomial 0x04C11DB7.
    static std::uint32_t crc32(Bytes bytes) {
        constexpr std::uint32_t kReflectedPolynomial = 0xEDB88320;
        std::uint32_t crc = ~0U;
        for (const std::uint8_t byte : bytes) {
            crc ^= byte;
            for (int bit = 0; bit < 8; ++bit)
                crc = (crc >> 1) ^ ((crc & 1U) != 0 ? kReflectedPolynomial : 0U);
        }
        return ~crc;
    }

    const ReadDisk& read_;
    std::uint64_t size_;
    std::uint32_t sectorSize_;
    int nextLogicalNumber_ = kFirstLogicalNumber;
    std::vector<Partition> partitions_;
};

} // namespace

PartitionTable readPartitionTable(const ReadDisk& read, std::uint64_t size,
                                  std::uint32_t sectorSize) {
    if (size < 2ULL * sectorSize)
        return {};
    return TableReader(read, size, sectorSize).readTable();
}

} // namespace format
