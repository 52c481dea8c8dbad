// Writes the fuzzers' seeds: fuzz_seeds NTFS_FOLDER FAT_FOLDER EXFAT_FOLDER SEARCH_FOLDER
// PACKED_SAMPLES [NTFS_IMAGE...] The NTFS images are copied with every record from the first user
// record on marked free, so that a scan finds them.

#include "engine/ntfs/NtfsLayout.h"
#include "engine/search/ZDeepSearch.h"
#include "engine/search/savedSearchLines.h"
#include "fuzz/SearchedDrive.h"
#include "tests/support/ExFatBuilder.h"
#include "tests/support/FatBuilder.h"
#include "tests/support/NtfsBuilder.h"
#include "tests/support/freeRecords.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

namespace {

using namespace kova;
namespace fs = std::filesystem;

using Bytes = std::vector<uint8>;

void save(const fs::path& path, const Bytes& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
}

Bytes load(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

Bytes builtNtfs() {
    test::NtfsBuilder builder({.recordCount = 64, .clusters = 64});
    const int64 lcn = builder.firstFreeLcn();
    const uint32 cluster = builder.bytesPerCluster();
    const auto file = [&](const char16_t* name) {
        test::RecordBuilder record = builder.newRecord();
        record.standardInformation(1000).fileName(24, name);
        return record;
    };
    Bytes list;
    for (const auto& entry :
         {test::attributeListEntry(ntfs::kData, 41), test::attributeListEntry(ntfs::kData, 42, 2)})
        list.insert(list.end(), entry.begin(), entry.end());
    const auto extent = [&](int64 vcn, uint64 base) {
        test::RecordBuilder record = builder.newRecord();
        record.base(base).nonResident(
            ntfs::kData, {{vcn, lcn + 8 + vcn, 2}},
            {.firstVcn = vcn, .dataSize = 4 * cluster, .allocatedSize = 4 * cluster});
        return record;
    };
    builder.directory(24, 5, u"folder", true)
        .directory(25, 26, u"a", false)
        .directory(26, 25, u"b", false)
        .deletedFile(27, 24, u"resident.txt", "content")
        .deletedFile(28, 60, u"orphan.txt", "content")
        .put(29, file(u"runs.bin")
                     .data({{0, lcn, 2}, {2, ZDatarun::Hole, 3}, {5, lcn + 4, 1}}, 6 * cluster - 7,
                           cluster))
        .put(30, file(u"streams.bin").resident(ntfs::kData, {1, 2, 3}, u"zone"))
        // A unit of 4 clusters in one: "abc", and again as long as a chunk is.
        .putClusters(lcn + 6, {0x05, 0xB0, 0x08, 'a', 'b', 'c', 0xFA, 0x2F, 0x00})
        .put(31, file(u"packed.bin")
                     .nonResident(ntfs::kData, {{0, lcn + 6, 1}, {1, ZDatarun::Hole, 3}},
                                  {.dataSize = 4 * cluster - 5,
                                   .allocatedSize = 4 * cluster,
                                   .flags = 1,
                                   .compressionUnit = 2}))
        .put(40, file(u"listed.bin").resident(ntfs::kAttributeList, list))
        .put(41, extent(0, 40))
        .put(42, extent(2, 40));
    return builder.build();
}

/// With a packed system file of 40,000 bytes.
Bytes builtPacked(const Bytes& packed, uint8 packing) {
    test::NtfsBuilder builder({.recordCount = 32, .clusters = 64});
    const int64 lcn = builder.firstFreeLcn();
    Bytes clusters = packed;
    clusters.resize(std::size_t{10} * builder.bytesPerCluster());
    test::RecordBuilder record = builder.newRecord();
    record.standardInformation(1000)
        .fileName(5, u"program.exe")
        .nonResident(ntfs::kData, {{0, ZDatarun::Hole, 10}},
                     {.dataSize = 40'000, .initializedSize = 0, .flags = 0x8000})
        .nonResident(ntfs::kData, {{0, lcn, 10}},
                     {.dataSize = static_cast<int64>(packed.size()), .name = u"WofCompressedData"})
        .resident(ntfs::kReparsePoint, {0x17, 0, 0, 0x80, 16, 0, 0, 0, 1,       0, 0, 0,
                                        2,    0, 0, 0,    1,  0, 0, 0, packing, 0, 0, 0});
    return builder.putClusters(lcn, clusters).put(24, record).build();
}

Bytes builtFat(FatType type, uint32 clusters) {
    test::FatBuilder builder({.type = type, .clusters = clusters});
    const uint32 live = builder.addDirectory(0, {.name = "LIVE", .longName = u"a live folder"});
    const uint32 gone = builder.addDirectory(live, {.name = "GONE", .deleted = true});
    builder.addFile(live, {.name = "PHOTO.JPG", .longName = u"photo of us.jpg", .deleted = true},
                    std::string(3000, 'p'));
    builder.addFile(gone, {.name = "INSIDE.TXT"}, "inside");
    builder.addFile(0, {.name = "TOP.TXT", .deleted = true}, "top");
    builder.addFile(live, {.name = "EMPTY", .deleted = true}, "");
    const uint32 first =
        builder.addFile(0, {.name = "PIECES.TXT", .deleted = true}, std::string(1500, 't'));
    builder.addFile(0, {.name = "BETWEEN.RTF", .deleted = true}, "{\\rtf1 between}");
    builder.add(0, {.name = "LONGER.TXT", .deleted = true, .cluster = first, .size = 4000});
    // A volume may be cut off; small inputs are tried more often.
    builder.bytes().resize(std::min<std::size_t>(builder.bytes().size(), 256 * 1024));
    return builder.bytes();
}

Bytes builtExFat(const test::ExFatShape& shape) {
    test::ExFatBuilder builder(shape);
    const uint32 live = builder.addFolder(0, {.name = u"a live folder"});
    const uint32 gone = builder.addFolder(live, {.name = u"gone", .deleted = true});
    for (const bool noFatChain : {true, false}) {
        const test::ExFatEntry photo{
            .name = u"photo of all of us.jpg", .deleted = true, .noFatChain = noFatChain};
        const uint32 first = builder.addFile(0, photo, std::string(3000, 'p'));
        builder.setFat(first, first + 1);
        builder.addFile(live, photo, "another");
    }
    builder.addFile(gone, {.name = u"inside.txt"}, "inside");
    builder.addFile(live, {.name = u"empty", .deleted = true}, "");
    return builder.bytes();
}

/// What is kept of a search that has come to `requests` requests, without the line that vouches
/// for it.
Bytes savedSearch(int requests) {
    test::TestMedia media = fuzz::searchedDrive();
    SearchKeeping keeping;
    keeping.volume = SearchedVolume::of(media, {});
    std::string lines;
    keeping.keep = [&lines](const SavedSearch& saved) {
        lines.clear();
        writeLines(saved, [&lines](std::string_view line) { lines += line; });
    };
    media.unplugAfter(requests);
    ZDeepSearch search(&media, nullptr);
    search.setKeeping(std::move(keeping));
    ZFileTree tree;
    search.scan(&tree);
    lines.resize(lines.rfind('\n', lines.size() - 2) + 1);
    return {lines.begin(), lines.end()};
}

} // namespace

int main(int count, char** arguments) {
    if (count < 6) {
        std::cerr << "usage: fuzz_seeds NTFS_FOLDER FAT_FOLDER EXFAT_FOLDER SEARCH_FOLDER "
                     "PACKED_SAMPLES [NTFS_IMAGE...]\n";
        return 2;
    }
    const fs::path ntfsFolder = arguments[1];
    const fs::path fatFolder = arguments[2];
    const fs::path exFatFolder = arguments[3];
    const fs::path searchFolder = arguments[4];
    const fs::path packed = arguments[5];
    save(ntfsFolder / "built.img", builtNtfs());
    save(ntfsFolder / "xpress.img", builtPacked(load(packed / "xpress4k"), 0));
    save(ntfsFolder / "lzx.img", builtPacked(load(packed / "lzx"), 1));
    save(fatFolder / "built12.img", builtFat(FatType::Fat12, 300));
    save(fatFolder / "built16.img", builtFat(FatType::Fat16, 0));
    save(exFatFolder / "built.img", builtExFat({.clusterBytes = 512, .clusters = 300}));
    save(exFatFolder / "builtTexFat.img", builtExFat({.clusters = 40, .fats = 2}));
    save(searchFolder / "all.jsonl", savedSearch(-1));
    save(searchFolder / "begun.jsonl", savedSearch(3));
    for (int i = 6; i < count; ++i) {
        Bytes image = load(arguments[i]);
        test::freeRecords(image);
        save(ntfsFolder / fs::path(arguments[i]).filename(), image);
    }
    return 0;
}
