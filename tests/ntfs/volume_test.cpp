#include "engine/ZMemoryStream.h"
#include "engine/ntfs/ZMftRecord.h"
#include "engine/ntfs/ZNtfsVolume.h"
#include "tests/support/NtfsBuilder.h"
#include "tests/support/TestMedia.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

namespace kova::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A volume from a builder, initialised.
class Opened {
public:
    explicit Opened(NtfsBuilder& builder, ScanOptions options = {}, uint32 mediaSector = 512)
        : media(builder.build(), mediaSector), volume(&media) {
        volume.setScanOptions(options);
        volume.init();
    }

    ZFileTree& scan() {
        volume.scan(&tree);
        return tree;
    }

    /// The content of a record's file, nothing when extraction fails.
    std::optional<std::string> content(int64 id) {
        ZMemoryStream out;
        ZFileTreeNode node;
        node.id = id;
        if (!volume.extract(node, &out))
            return std::nullopt;
        return std::string(out.bytes().begin(), out.bytes().end());
    }

    TestMedia media;
    ZNtfsVolume volume;
    ZFileTree tree;
};

std::vector<uint8> pattern(std::size_t size) {
    std::vector<uint8> bytes(size);
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<uint8>((i * 7) ^ (i >> 8));
    return bytes;
}

std::string text(const std::vector<uint8>& bytes, std::size_t from = 0,
                 std::size_t count = std::string::npos) {
    return std::string(bytes.begin(), bytes.end()).substr(from, count);
}

std::vector<std::wstring> names(const ZFileTree& tree, int64 parent) {
    std::vector<std::wstring> found;
    for (const int64 id : tree.childIds(parent))
        found.push_back(tree.find(id)->name);
    return found;
}

TEST(NtfsScan, RebuildsPathsOfDeletedFiles) {
    NtfsBuilder builder;
    builder.directory(24, 5, u"live", true)
        .directory(25, 24, u"gone", false)
        .deletedFile(26, 25, u"photo.jpg", "jpeg")
        .deletedFile(27, 5, u"top.txt", "text")
        .deletedFile(28, 40, u"orphan.txt", "lost")
        .deletedFile(29, 27, u"below a file.txt", "lost too")
        .put(30, builder.newFile(u"live.txt").flags(1).resident(ntfs::kData, {1}), true);
    Opened opened(builder);
    const ZFileTree& tree = opened.scan();

    EXPECT_EQ(tree.rootId, 5);
    EXPECT_THAT(names(tree, kNoParent), ElementsAre(L"top.txt", L"live"));
    EXPECT_THAT(names(tree, 24), ElementsAre(L"gone"));
    EXPECT_THAT(names(tree, 25), ElementsAre(L"photo.jpg"));
    EXPECT_THAT(names(tree, kLostFolder), ElementsAre(L"orphan.txt"));
    EXPECT_EQ(tree.find(30), nullptr) << "live files are not listed";

    const ZFileTreeNode* photo = tree.find(26);
    EXPECT_EQ(photo->size, 4);
    EXPECT_EQ(photo->creationTime, 1026);
    EXPECT_EQ(photo->modificationTime, 1027);
    EXPECT_EQ(photo->accessTime, 1029);
    EXPECT_EQ(photo->attributes, 0x20U);
    EXPECT_TRUE(tree.find(24)->exists);
    EXPECT_FALSE(tree.find(25)->exists);
    EXPECT_EQ(opened.content(26), "jpeg");
}

TEST(NtfsScan, ReportsEveryRecordAndStops) {
    NtfsBuilder builder;
    builder.deletedFile(30, 5, u"a", "1").deletedFile(40, 5, u"b", "2");
    Opened opened(builder);
    std::vector<double> reports;
    opened.volume.setProgressCallback([&](double value) {
        reports.push_back(value);
        return reports.size() < 36; // 0.0, then one for each of records 0 to 34.
    });
    opened.scan();
    ASSERT_EQ(reports.size(), 36U);
    EXPECT_DOUBLE_EQ(reports.back(), 34 * 0.7 / 64);
    EXPECT_NE(opened.tree.find(30), nullptr);
    EXPECT_EQ(opened.tree.find(40), nullptr);
    Opened refused(builder);
    refused.volume.setProgressCallback([](double) { return false; });
    EXPECT_THAT(refused.scan().allNodes(), IsEmpty());
}

TEST(NtfsScan, WhatCountsAsAFile) {
    constexpr int64 kLimit = 107374182400;
    NtfsBuilder builder;
    const auto sized = [&](int64 size) {
        return builder.newFile(u"big").nonResident(ntfs::kData, {{0, ZDatarun::Hole, 1}},
                                                   {.dataSize = size, .allocatedSize = 4096});
    };
    builder.put(20, sized(kLimit))
        .put(21, sized(kLimit + 1))
        .put(22, builder.newFile(u"no data"))
        .put(23, builder.newRecord().fileName(5, u"no times").resident(ntfs::kData, {1}))
        .put(24, builder.newFile(u"SHORT~1", 2).resident(ntfs::kData, {1}))
        // Free in the bitmap, in use by its header: listed as existing.
        .put(25, builder.newFile(u"odd").flags(1).resident(ntfs::kData, {1}))
        // A directory by its attributes only: no data needed.
        .put(26, builder.newRecord().standardInformation(1, 0x10000000).fileName(5, u"folder"))
        // An extension record is no file.
        .put(27, builder.newFile(u"x").base(20).resident(ntfs::kData, {1}));
    Opened opened(builder);
    const ZFileTree& tree = opened.scan();
    EXPECT_THAT(tree.childIds(5), ElementsAre(20, 25, 26));
    EXPECT_TRUE(tree.find(25)->exists);
    EXPECT_TRUE(tree.find(26)->isDirectory);
    EXPECT_EQ(tree.find(26)->size, 0);
}

TEST(NtfsScan, NamesByNamespace) {
    NtfsBuilder builder;
    builder
        .put(20, builder.newRecord()
                     .standardInformation(1)
                     .fileName(9, u"LONGNA~1", 2)
                     .fileName(5, u"long name", 1)
                     .resident(ntfs::kData, {1}))
        .put(21, builder.newFile(u"posix", 0).fileName(9, u"second", 0).resident(ntfs::kData, {1}))
        .put(22, builder.newRecord()
                     .standardInformation(1)
                     .fileName(9, u"posix first", 0)
                     .fileName(5, u"win32", 3)
                     .resident(ntfs::kData, {1}))
        // A pair, and half of one: both are kept.
        .put(23, builder.newFile(u"\U0001F600\xD83D").resident(ntfs::kData, {1}));
    Opened classic(builder);
    const std::wstring smiles = std::wstring(L"\U0001F600") + wchar_t{0xD83D};
    EXPECT_THAT(names(classic.scan(), 5), ElementsAre(L"long name", L"win32", smiles));
    Opened today(builder, ScanOptions::today());
    EXPECT_THAT(names(today.scan(), 5), ElementsAre(L"long name", L"posix", L"win32", smiles));
}

TEST(NtfsScan, CirclesOfParentsEnd) {
    NtfsBuilder builder;
    builder.directory(20, 21, u"a", false)
        .directory(21, 20, u"b", false)
        .directory(22, 22, u"self", false);
    Opened opened(builder);
    EXPECT_EQ(opened.scan().allNodes().size(), 3U);
}

TEST(NtfsExtract, ContentExactly) {
    NtfsBuilder builder;
    const int64 lcn = builder.firstFreeLcn();
    const uint32 cluster = builder.bytesPerCluster();
    const auto bytes = pattern(5 * cluster);
    builder.putClusters(lcn, bytes)
        .put(20, builder.newFile().data({{0, lcn, 3}}, 10000, cluster))
        // Fragments out of order, with a hole; the last cluster is cut.
        .put(21, builder.newFile(u"b").data({{0, lcn + 3, 1}, {1, ZDatarun::Hole, 2}, {3, lcn, 2}},
                                            5 * cluster - 1, cluster))
        .put(22, builder.newFile(u"c").nonResident(
                     ntfs::kData, {{0, lcn, 1}},
                     {.dataSize = 4096, .allocatedSize = 4096, .flags = 1, .compressionUnit = 4}))
        .deletedFile(23, 5, u"d", "")
        .directory(24, 5, u"e", false);
    Opened opened(builder);
    EXPECT_EQ(opened.content(20), text(bytes, 0, 10000));
    EXPECT_EQ(opened.content(21), text(bytes, 3 * cluster, cluster) +
                                      std::string(2 * cluster, '\0') +
                                      text(bytes, 0, 2 * cluster - 1));
    EXPECT_EQ(opened.content(22), std::nullopt) << "compressed";
    EXPECT_EQ(opened.content(23), "");
    EXPECT_EQ(opened.content(24), std::nullopt) << "a directory";
    EXPECT_EQ(opened.content(63), std::nullopt) << "no record";
    EXPECT_EQ(opened.content(-1), std::nullopt);
}

TEST(NtfsExtract, BadSectorsBecomeZerosAndAreCounted) {
    NtfsBuilder builder;
    const int64 lcn = builder.firstFreeLcn();
    const auto bytes = pattern(4 * builder.bytesPerCluster());
    builder.putClusters(lcn, bytes)
        .put(20, builder.newFile().data({{0, lcn, 4}}, 4 * builder.bytesPerCluster(),
                                        builder.bytesPerCluster()));
    Opened opened(builder);
    opened.media.failSector(static_cast<uint64>(lcn) * 8 + 3);
    std::string expected = text(bytes);
    std::fill_n(expected.begin() + 3 * 512, 512, '\0');
    EXPECT_EQ(opened.content(20), expected);
    EXPECT_EQ(opened.media.unreadableSectors(), 1U);
}

/// A file whose first extent stands in the base record or in an extension record, and whose
/// others stand in extension records.
class Extents : public testing::Test {
protected:
    Extents() : lcn(builder.firstFreeLcn()), bytes(pattern(3 * builder.bytesPerCluster())) {
        builder.putClusters(lcn, bytes);
    }

    RecordBuilder extent(int64 vcn, int64 base, int64 clusters = 1) {
        RecordBuilder record = builder.newRecord();
        record.base(static_cast<uint64>(base))
            .nonResident(ntfs::kData, {{vcn, lcn + vcn, clusters}},
                         {.firstVcn = vcn, .dataSize = size, .allocatedSize = size});
        return record;
    }

    NtfsBuilder builder;
    int64 lcn;
    std::vector<uint8> bytes;
    int64 size = 3 * int64{builder.bytesPerCluster()};
};

std::vector<uint8> listOf(std::initializer_list<std::vector<uint8>> entries) {
    std::vector<uint8> list;
    for (const auto& entry : entries)
        list.insert(list.end(), entry.begin(), entry.end());
    return list;
}

TEST_F(Extents, AllInExtensionRecords) {
    builder
        .put(20,
             builder.newRecord().standardInformation(1).resident(
                 ntfs::kAttributeList, listOf({attributeListEntry(ntfs::kStandardInformation, 20),
                                               attributeListEntry(ntfs::kFileName, 21),
                                               attributeListEntry(ntfs::kData, 21),
                                               attributeListEntry(ntfs::kData, 22, 1),
                                               attributeListEntry(ntfs::kData, 23, 2)})))
        .put(21, extent(0, 20).fileName(5, u"scattered"))
        .put(22, extent(1, 20))
        .put(23, extent(2, 20));
    for (const ScanOptions options : {ScanOptions{}, ScanOptions::today()}) {
        Opened opened(builder, options);
        EXPECT_THAT(opened.scan().childIds(5), ElementsAre(20));
        EXPECT_EQ(opened.tree.find(20)->name, L"scattered");
        EXPECT_EQ(opened.content(20), text(bytes));
    }
}

TEST_F(Extents, FirstInTheBaseRecord) {
    RecordBuilder base = builder.newRecord();
    base.standardInformation(1)
        .resident(ntfs::kAttributeList, listOf({attributeListEntry(ntfs::kData, 20),
                                                attributeListEntry(ntfs::kData, 22, 1),
                                                attributeListEntry(ntfs::kData, 23, 2)}))
        .fileName(5, u"goes on")
        .nonResident(ntfs::kData, {{0, lcn, 1}}, {.dataSize = size, .allocatedSize = size});
    builder.put(20, base).put(22, extent(1, 20)).put(23, extent(2, 20));
    EXPECT_EQ(Opened(builder).content(20), text(bytes, 0, builder.bytesPerCluster()))
        << "classic: ends with the base record's extent";
    EXPECT_EQ(Opened(builder, ScanOptions::today()).content(20), text(bytes));

    // An extension record that now belongs to another file is not mixed in.
    builder.put(23, extent(2, 40));
    EXPECT_EQ(Opened(builder, ScanOptions::today()).content(20), std::nullopt);
}

TEST_F(Extents, UnnamedStreamBehindANamedOne) {
    builder
        .put(20, builder.newRecord()
                     .standardInformation(1)
                     .resident(ntfs::kAttributeList, listOf({attributeListEntry(ntfs::kData, 21)}))
                     .fileName(5, u"download.iso")
                     .resident(ntfs::kData, {'z', 'o', 'n', 'e'}, u"Zone.Identifier"))
        .put(21, extent(0, 20, 3));
    EXPECT_EQ(Opened(builder).content(20), "zone");
    Opened today(builder, ScanOptions::today());
    EXPECT_EQ(today.content(20), text(bytes));
    EXPECT_EQ(today.scan().find(20)->size, size);
}

TEST_F(Extents, ListEntriesAreJudged) {
    const auto found = [&](std::vector<uint8> entry) {
        builder.put(20, builder.newFile().resident(ntfs::kAttributeList, entry));
        builder.put(21, extent(0, 20, 3));
        return Opened(builder).content(20).has_value();
    };
    EXPECT_TRUE(found(attributeListEntry(ntfs::kData, 21)));
    EXPECT_TRUE(found(attributeListEntry(ntfs::kData, 21, 0, 0x100)));
    EXPECT_FALSE(found(attributeListEntry(ntfs::kData, 21, 0, 0x101)));
    EXPECT_FALSE(found(attributeListEntry(ntfs::kData, 65))) << "beyond the last record";
    EXPECT_FALSE(
        found(listOf({attributeListEntry(0x85, 30), attributeListEntry(ntfs::kData, 21)})));
    EXPECT_FALSE(found(listOf(
        {attributeListEntry(ntfs::kFileName, 30, -1), attributeListEntry(ntfs::kData, 21)})));
}

TEST(NtfsRecords, FragmentedMft) {
    // Records 0 to 15 from the boot sector's LCN on, the others through the run list.
    NtfsBuilder builder({.recordCount = 64, .mftExtents = {{10, 4}, {200, 4}, {100, 8}}});
    builder.deletedFile(16, 5, u"second extent", "2").deletedFile(60, 5, u"third extent", "3");
    Opened opened(builder);
    EXPECT_THAT(names(opened.scan(), 5), ElementsAre(L"second extent", L"third extent"));
    EXPECT_EQ(opened.content(60), "3");
}

TEST(NtfsRecords, MftThatGoesOnInExtensionRecords) {
    NtfsBuilder builder({.recordCount = 64, .mftExtents = {{4, 8}, {100, 8}}});
    builder.deletedFile(20, 5, u"near", "1").deletedFile(50, 5, u"far", "2");
    const int64 size = 64 * 1024;
    builder.put(
        0, builder.newRecord()
               .flags(1)
               .standardInformation(1)
               .resident(ntfs::kAttributeList, listOf({attributeListEntry(ntfs::kData, 0),
                                                       attributeListEntry(ntfs::kData, 17, 8)}))
               .nonResident(ntfs::kData, {{0, 4, 8}}, {.dataSize = size, .allocatedSize = size * 1})
               .resident(ntfs::kBitmap, {0xFF, 0xFF, 0x02, 0, 0, 0, 0, 0}));
    builder.put(
        17,
        builder.newRecord().flags(1).base(0).nonResident(
            ntfs::kData, {{8, 100, 8}}, {.firstVcn = 8, .dataSize = size, .allocatedSize = size}),
        true);
    EXPECT_THAT(names(Opened(builder).scan(), 5), ElementsAre(L"near"));
    EXPECT_THAT(names(Opened(builder, ScanOptions::today()).scan(), 5),
                ElementsAre(L"near", L"far"));
    builder.put(17, std::vector<uint8>(1024, 0x55)); // It costs what it describes.
    EXPECT_THAT(names(Opened(builder, ScanOptions::today()).scan(), 5), ElementsAre(L"near"));
}

TEST(NtfsRecords, FixupsAreForgiving) {
    NtfsBuilder builder;
    const int64 lcn = builder.firstFreeLcn();
    const auto file = [&] {
        return builder.newFile().data({{0, lcn, 1}}, 10, builder.bytesPerCluster());
    };
    auto torn = file().bytes();
    torn[511] = 0x77; // Not the sequence number.
    auto uncounted = file().bytes();
    storeLe<uint16>(&uncounted[6], 0);
    builder.put(20, torn).put(21, uncounted);
    EXPECT_THAT(Opened(builder).scan().childIds(5), ElementsAre(20, 21));
}

TEST(NtfsRecords, DamageCostsOneRecord) {
    NtfsBuilder builder;
    const auto file = [&] {
        return RecordBuilder(builder.newFile().resident(ntfs::kData, {1, 2, 3}));
    };
    const auto damaged = [&](auto damage) {
        RecordBuilder record = file();
        damage(record.raw(), record.lastOffset());
        return record;
    };
    using Raw = std::vector<uint8>;
    Raw fixupsOutside = file().bytes();
    storeLe<uint16>(&fixupsOutside[4], 1023);
    builder.put(20, damaged([](Raw& raw, std::size_t at) { storeLe<uint32>(&raw[at + 4], 0); }))
        .put(21,
             damaged([](Raw& raw, std::size_t at) { storeLe<uint32>(&raw[at + 4], 0xFFFFFFF0); }))
        .put(22, damaged([](Raw& raw, std::size_t) { storeLe<uint32>(&raw[0x18], 2000); }))
        .put(23, damaged([](Raw& raw, std::size_t) { storeLe<uint16>(&raw[0x14], 1020); }))
        .put(24, damaged([](Raw& raw, std::size_t) { raw[0] = 'B'; }))
        .put(25, damaged([](Raw& raw, std::size_t at) { storeLe<uint16>(&raw[at + 0x14], 900); }))
        .put(26, fixupsOutside)
        .put(30, file());
    Opened opened(builder);
    EXPECT_THAT(opened.scan().childIds(5), ElementsAre(30));
    for (int64 id = 20; id < 27; ++id)
        EXPECT_EQ(opened.content(id), std::nullopt) << id;
    // A value beyond the bytes in use is found, but not read.
    builder.put(20, damaged([](Raw& raw, std::size_t at) {
                    storeLe<uint32>(&raw[0x18], static_cast<uint32>(at + 8));
                }));
    EXPECT_EQ(Opened(builder).content(20), std::nullopt);
}

TEST(NtfsVolume, RefusesWhatIsNoVolume) {
    const auto refuses = [](auto damage) {
        NtfsBuilder builder;
        auto image = builder.build();
        damage(image);
        TestMedia media(image);
        ZNtfsVolume volume(&media);
        try {
            volume.init();
            return false;
        } catch (int failure) {
            return failure == 0;
        }
    };
    using Image = std::vector<uint8>;
    EXPECT_FALSE(refuses([](Image&) {}));
    EXPECT_TRUE(refuses([](Image& image) { image[510] = 0; }));
    EXPECT_TRUE(refuses([](Image& image) { image[3] = 'n'; }));
    EXPECT_TRUE(refuses([](Image& image) { image[0x0D] = 0; })) << "no sectors in a cluster";
    EXPECT_TRUE(refuses([](Image& image) { image[0x0C] = 0, image[0x0B] = 0; }));
    EXPECT_TRUE(refuses([](Image& image) { image[0x0D] = 1; })) << "record larger than a cluster";
    EXPECT_TRUE(refuses([](Image& image) { image[0x40] = 0x80; })) << "2^128 bytes a record";
    EXPECT_TRUE(refuses([](Image& image) { image[0x34] = 0xFF; })) << "the MFT is elsewhere";
    EXPECT_TRUE(refuses([](Image& image) { image.resize(512); }));
}

TEST(NtfsVolume, OpensByACopyOfItsBootSector) {
    NtfsBuilder builder;
    builder.deletedFile(30, 5, u"a", "1");
    auto image = builder.build();
    const std::vector<uint8> boot(image.begin(), image.begin() + 512);
    std::fill_n(image.begin(), 8192, uint8{0});
    image.insert(image.end(), boot.begin(), boot.end());
    image.resize(image.size() + 4096 - 512);
    for (const uint32 mediaSector : {512U, 4096U}) {
        TestMedia media(image, mediaSector);
        ZNtfsVolume volume(&media);
        volume.setScanOptions(ScanOptions::today());
        volume.setBootSectorAt(image.size() - 4096);
        ASSERT_TRUE(volume.init());
        EXPECT_THAT(volume.notes(), testing::Contains(VolumeNote::BackupBootSector));
        ZFileTree tree;
        volume.scan(&tree);
        EXPECT_THAT(tree.childIds(5), ElementsAre(30));
    }
}

/// Takes any number of bytes.
class Sink : public ZStream {
public:
    int64 seek(int64, int) override { return size_; }

    uint64 read(void*, uint32) override { return 0; }

    uint64 write(const void*, uint32 count) override { return fill(0, count); }

    uint64 fill(uint8, uint32 count) override {
        size_ += count;
        ++operations;
        return count;
    }

    void fillZeros(int64 count) override {
        size_ += count;
        ++operations;
    }

    int64 size() override { return size_; }

    void resize(int64 newSize) override { size_ = newSize; }

    int operations = 0;

private:
    int64 size_ = 0;
};

TEST(NtfsVolume, CraftedSizesStayBounded) {
    // An MFT said to hold 2^52 records, all free, on a volume of 1 MiB; files of 2^60 and 2^32
    // bytes whose runs name the same clusters over and over; a hole of 2^50 clusters.
    NtfsBuilder builder;
    const int64 lcn = builder.firstFreeLcn();
    const int64 huge = int64{1} << 60;
    builder.put(
        0, builder.newRecord()
               .flags(1)
               .standardInformation(1)
               .nonResident(ntfs::kData, {{0, 4, 16}}, {.dataSize = huge, .allocatedSize = huge})
               .nonResident(ntfs::kBitmap, {{0, ZDatarun::Hole, huge >> 12}},
                            {.dataSize = huge, .allocatedSize = huge}));
    const std::vector<ZDatarun> same(50, {0, lcn, int64{1} << 40});
    builder.put(20, builder.newFile().nonResident(ntfs::kData, same,
                                                  {.dataSize = huge, .allocatedSize = huge * 4}));
    const std::vector<ZDatarun> often(200, {0, lcn, 127});
    builder.put(21, builder.newFile().nonResident(
                        ntfs::kData, often,
                        {.dataSize = 200 * 127 * 4096, .allocatedSize = 200 * 127 * 4096}));
    Opened opened(builder, ScanOptions::today());
    opened.scan();
    EXPECT_LE(opened.volume.recordCount(), 1024U);
    EXPECT_EQ(opened.content(20), std::nullopt);
    Sink sink;
    EXPECT_FALSE(opened.volume.extract(*opened.tree.find(21), &sink));
    EXPECT_EQ(opened.volume.extractReport().reason, ExtractReport::Reason::Damaged);
    EXPECT_LE(sink.size(), (2 << 20) + (64 << 20)) << "twice what the volume holds, and some";
    EXPECT_EQ(Opened(builder).content(21), std::nullopt);
    // So many holes cost too much, and so many pieces are none, though none lies beyond the end.
    NtfsBuilder large({.recordSize = 65536, .recordCount = 96, .clusters = 1600});
    const std::vector<ZDatarun> holes(25'000, {0, ZDatarun::Hole, 1});
    large.put(20, large.newFile().data(holes, 25'000 * 4096, 4096));
    constexpr int64 kPieces = 16'000;
    std::vector<ZDatarun> pieces;
    for (int64 i = 0; i < kPieces; ++i)
        pieces.push_back({0, 1 + i % 2 * 2, 1});
    std::vector<uint8> list;
    int64 vcn = 0;
    for (uint32 number = 24; number < 92; ++number, vcn += kPieces) {
        for (const uint8 byte : attributeListEntry(ntfs::kData, number, vcn))
            list.push_back(byte);
        large.put(number, large.newRecord()
                              .base(uint64{1} << 48 | 21)
                              .nonResident(ntfs::kData, pieces,
                                           {.firstVcn = vcn, .dataSize = 68 * kPieces * 4096}));
    }
    large.put(21, large.newFile(u"b").resident(ntfs::kAttributeList, list));
    Opened costly(large, ScanOptions::today());
    costly.scan();
    EXPECT_FALSE(costly.volume.extract(*costly.tree.find(20), &sink));
    EXPECT_TRUE(costly.volume.placeOf(*costly.tree.find(21)).empty());
}

TEST(NtfsExtract, RunsLongerThanARequestAndHolesAtOnce) {
    NtfsBuilder builder({.clusters = 1024});
    const uint32 cluster = builder.bytesPerCluster();
    const int64 lcn = builder.firstFreeLcn();
    std::vector<uint8> bytes(std::size_t{700} * cluster);
    for (std::size_t i = 0; i < 700; ++i)
        storeLe<uint32>(&bytes[i * cluster], static_cast<uint32>(i));
    constexpr int64 kHole = int64{20} << 20; // Clusters: 80 GiB.
    builder.putClusters(lcn, bytes)
        .put(20, builder.newFile().data({{0, lcn, 700}}, 700 * int64{cluster}, cluster))
        .put(21, builder.newFile(u"b").data({{0, lcn, 1}, {1, ZDatarun::Hole, kHole}},
                                            kHole * cluster, cluster))
        .put(22, builder.newFile(u"c").data({{0, lcn, 1}, {1, ZDatarun::Hole, 2}}, 5000, cluster));
    EXPECT_EQ(Opened(builder).content(20), text(bytes));
    EXPECT_EQ(Opened(builder).content(22), text(bytes, 0, cluster) + std::string(904, '\0'));
    Opened today(builder, ScanOptions::today());
    EXPECT_EQ(today.content(20), text(bytes));
    Sink sink;
    EXPECT_TRUE(today.volume.extract(*today.scan().find(21), &sink));
    EXPECT_EQ(sink.size(), kHole * cluster);
    EXPECT_EQ(sink.operations, 2) << "what is there, and all of the hole";
}

TEST(NtfsVolume, AttributeListsThatLeadNowhereStayBounded) {
    // Every record has the largest list there is, in the same clusters, full of entries that each
    // ask for an extension record.
    NtfsBuilder builder({.recordCount = 256, .clusters = 512});
    const int64 lcn = builder.firstFreeLcn();
    std::vector<uint8> list;
    while (list.size() < 0x40000)
        for (const uint8 byte : attributeListEntry(ntfs::kFileName, 30, 1))
            list.push_back(byte);
    builder.putClusters(lcn, list);
    for (uint32 number = 31; number < 256; ++number)
        builder.put(number, builder.newRecord().standardInformation(1).nonResident(
                                ntfs::kAttributeList, {{0, lcn, 64}},
                                {.dataSize = 0x40000, .allocatedSize = 0x40000}));
    builder.put(30, builder.newRecord().base(31).resident(ntfs::kData, {1}));
    Opened opened(builder);
    EXPECT_THAT(opened.scan().allNodes(), IsEmpty());
}

} // namespace
} // namespace kova::test
