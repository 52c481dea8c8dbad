#include "tests/support/freeRecords.h"

#include "engine/LittleEndian.h"
#include "engine/ntfs/NtfsLayout.h"

#include <algorithm>
#include <cstring>

namespace kova::test {

void freeRecords(std::vector<uint8>& image) {
    constexpr std::size_t kRecordBytes = 4096; // As large as records get.
    constexpr std::size_t kSystemBytes = 3;    // The first 24 records are the system's.
    const ntfs::BootSector boot = ntfs::BootSector::decode(image).value();
    const std::size_t clusterBytes = std::size_t{boot.clusterSectors()} * boot.bytesPerSector;
    const std::span<const uint8> record(image.data() + boot.mftLcn * clusterBytes, kRecordBytes);
    for (std::size_t at = loadLe<uint16>(&record[ntfs::RecordHeader::kFirstAttribute]);
         loadLe<uint32>(&record[at]) != ntfs::kEndOfAttributes;) {
        const ntfs::AttributeHeader header(record, at);
        if (header.type() == ntfs::kBitmap) {
            // A fresh volume's bitmap lies in one run.
            const uint8* pairs = &record[at + header.runsOffset()];
            uint64 lcn = 0;
            std::memcpy(&lcn, pairs + 1 + (pairs[0] & 0x0F), pairs[0] >> 4);
            std::fill_n(&image[lcn * clusterBytes + kSystemBytes],
                        static_cast<std::size_t>(header.dataSize()) - kSystemBytes, uint8{0});
        }
        at += header.length();
    }
}

} // namespace kova::test
