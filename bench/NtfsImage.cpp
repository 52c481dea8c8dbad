#include "bench/NtfsImage.h"

#include "engine/LittleEndian.h"
#include "engine/ntfs/NtfsLayout.h"
#include "format/WideText.h"
#include "tests/support/NtfsBuilder.h"

#include <algorithm>
#include <fstream>

namespace kova::bench {

namespace {

using test::NtfsBuilder;
using test::RecordBuilder;

constexpr uint32 kRecordsPerFolder = 500;
constexpr uint32 kFirstFile = 32;

std::u16string nameOf(uint32 number) {
    std::u16string name = u"document ";
    for (const char digit : std::to_string(number))
        name += static_cast<char16_t>(digit);
    return name + u".txt";
}

void write(std::ofstream& out, const std::vector<uint8>& bytes) {
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
}

/// Mapping pairs of a file in single clusters take several bytes each, so they are spread over
/// extension records.
constexpr int64 kRunsPerRecord = 220;

} // namespace

std::wstring NtfsImage::path() const {
    return format::wideFromUtf8(path_.string());
}

NtfsImage NtfsImage::ofRecords(uint32 records, uint32 deletedInTen, std::size_t contentBytes) {
    NtfsImage image;
    const int64 mftClusters = int64{records} * kRecordBytes / kClusterBytes;
    const int64 bitmapLcn = kMftLcn + mftClusters;
    const int64 bitmapClusters = records / 8 / kClusterBytes + 1;

    NtfsBuilder small({.recordCount = 64, .mftExtents = {{kMftLcn, 16}}});
    std::vector<uint8> bitmap(static_cast<std::size_t>(bitmapClusters) * kClusterBytes, 0xFF);
    const auto isDeleted = [&](uint32 number) {
        return number >= kFirstFile && number % kRecordsPerFolder != 0 &&
               number % 10 < deletedInTen;
    };
    for (uint32 number = 0; number < records; ++number) {
        if (isDeleted(number))
            bitmap[number / 8] &= static_cast<uint8>(~(1U << (number % 8)));
    }
    RecordBuilder mft(kRecordBytes);
    mft.flags(1)
        .standardInformation(1)
        .data({{0, kMftLcn, mftClusters}}, int64{records} * kRecordBytes, kClusterBytes)
        .nonResident(
            ntfs::kBitmap, {{0, bitmapLcn, bitmapClusters}},
            {.dataSize = records / 8, .allocatedSize = bitmapClusters * int64{kClusterBytes}});
    small.put(0, mft, true);
    const auto head = small.build();

    std::ofstream out(image.path_, std::ios::binary);
    write(out, {head.begin(), head.begin() + (kMftLcn * kClusterBytes)});
    const std::vector<uint8> content(contentBytes, 'x');
    const std::size_t mftStart = kMftLcn * kClusterBytes;
    for (uint32 number = 0; number < records; ++number) {
        if (number < kFirstFile) {
            const auto at = head.begin() + static_cast<std::ptrdiff_t>(
                                               mftStart + std::size_t{number} * kRecordBytes);
            write(out, {at, at + kRecordBytes});
            continue;
        }
        const uint32 folder = number / kRecordsPerFolder * kRecordsPerFolder;
        RecordBuilder record(kRecordBytes);
        record.standardInformation(1000 + number);
        if (number % kRecordsPerFolder == 0) {
            record.flags(3).fileName(5, nameOf(number));
        } else {
            record.flags(isDeleted(number) ? 0 : 1)
                .fileName(folder < kFirstFile ? 5 : folder, nameOf(number))
                .resident(ntfs::kData, content);
        }
        write(out, record.bytes());
    }
    write(out, bitmap);
    return image;
}

NtfsImage NtfsImage::ofFile(int64 clusters, bool fragmented) {
    NtfsImage image;
    const auto extents = static_cast<uint32>(fragmented ? clusters / kRunsPerRecord + 1 : 1);
    constexpr uint32 kFile = 40;
    constexpr uint32 kFirstExtension = 64;
    const uint32 records = (kFirstExtension + extents + 64) / 64 * 64;
    const int64 mftClusters = int64{records} * kRecordBytes / kClusterBytes;
    const int64 listLcn = kMftLcn + mftClusters;
    std::vector<uint8> list;
    const int64 firstLcn = listLcn + 64;
    const int64 size = clusters * kClusterBytes;

    NtfsBuilder builder({.recordCount = records,
                         .clusters = static_cast<uint32>(firstLcn),
                         .mftExtents = {{kMftLcn, mftClusters}}});
    int64 vcn = 0;
    for (uint32 extent = 0; extent < extents; ++extent) {
        std::vector<ZDatarun> runs;
        if (!fragmented)
            runs.push_back({0, firstLcn, clusters});
        for (; fragmented && vcn < clusters && static_cast<int64>(runs.size()) < kRunsPerRecord;
             ++vcn)
            runs.push_back({vcn, firstLcn + 2 * vcn, 1});
        if (runs.empty())
            break;
        const auto entry =
            test::attributeListEntry(ntfs::kData, kFirstExtension + extent, runs.front().vcn);
        list.insert(list.end(), entry.begin(), entry.end());
        builder.put(kFirstExtension + extent, RecordBuilder(kRecordBytes)
                                                  .base(kFile)
                                                  .nonResident(ntfs::kData, runs,
                                                               {.firstVcn = runs.front().vcn,
                                                                .dataSize = size,
                                                                .allocatedSize = size}));
    }
    RecordBuilder file(kRecordBytes);
    file.standardInformation(1).nonResident(
        ntfs::kAttributeList, {{0, listLcn, 64}},
        {.dataSize = static_cast<int64>(list.size()), .allocatedSize = 64 * int64{kClusterBytes}});
    file.fileName(5, u"large.bin");
    builder.put(kFile, file).putClusters(listLcn, list);

    auto head = builder.build();
    const uint64 sectors = static_cast<uint64>(firstLcn + clusters * (fragmented ? 2 : 1)) * 8;
    storeLe<uint64>(&head[0x28], sectors);
    std::ofstream out(image.path_, std::ios::binary);
    write(out, head);
    std::vector<uint8> cluster(kClusterBytes);
    for (int64 i = 0; i < clusters * (fragmented ? 2 : 1); ++i) {
        std::fill(cluster.begin(), cluster.end(), static_cast<uint8>(i));
        write(out, cluster);
    }
    return image;
}

} // namespace kova::bench
