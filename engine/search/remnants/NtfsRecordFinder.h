#pragma once

#include "engine/ntfs/NtfsLayout.h"
#include "engine/search/BlockFinder.h"

#include <cstring>
#include <vector>

namespace kova {

/// Finds what a former NTFS volume has left: file records, index blocks and boot sectors, wherever
/// they lie. Nothing vouches for a record here, so its fixups have to agree.
class NtfsRecordFinder : public BlockFinder {
public:
    /// One file record.
    struct Sighting {
        uint64 position = 0; ///< Byte on the media.
        uint32 number = 0;   ///< Record number, as the record says.
        uint32 recordBytes = 0;
        uint32 clusterBytes = 0; ///< As its sizes and runs agree on; 0 when they do not tell.
    };

    /// A folder's first index block, as its record places it and as it was found: together they
    /// tell where a volume began.
    struct IndexRuns {
        uint64 record = 0; ///< Byte on the media of the folder's record.
        uint64 lcn = 0;
    };

    /// Whether a look at the step of bytes that `bytes` begin with is worth it: what every block is
    /// asked, and hardly any gets past.
    [[nodiscard]] static bool mayHold(std::span<const uint8> bytes) {
        return (bytes[0] == 'F' && std::memcmp(bytes.data(), "FILE", 4) == 0) ||
               (bytes[0] == 'I' && std::memcmp(bytes.data(), "INDX", 4) == 0);
    }

    void look(uint64 position, std::span<const uint8> bytes, std::size_t fresh) override;

    [[nodiscard]] std::wstring name() const override { return L"NTFS file records"; }

    [[nodiscard]] uint64 found() const override { return sightings_.size(); }

    /// In the order of the media.
    [[nodiscard]] const std::vector<Sighting>& sightings() const { return sightings_; }

    /// Folders' first index clusters, as far as `kMostIndexes` of them.
    [[nodiscard]] const std::vector<IndexRuns>& indexRuns() const { return indexRuns_; }

    /// Bytes on the media at which a folder's first index block lies, as far as `kMostIndexes`.
    [[nodiscard]] const std::vector<uint64>& indexBlocks() const { return indexBlocks_; }

private:
    /// More than these tell no more about where a volume began.
    static constexpr std::size_t kMostIndexes = 4096;

    void lookAtRecord(uint64 position, std::span<const uint8> bytes);
    void lookAtIndex(uint64 position, std::span<const uint8> bytes);
    void keepIndexRuns(uint64 position, std::span<const uint8> record);

    std::vector<Sighting> sightings_;
    std::vector<IndexRuns> indexRuns_;
    std::vector<uint64> indexBlocks_;
    ntfs::RecordBuffer record_;
};

} // namespace kova
