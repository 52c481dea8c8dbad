// What today's rules add: compression, sparse files, states, damage that costs itself, streams.
#include "engine/ZMemoryStream.h"
#include "engine/ZTreeListing.h"
#include "engine/ntfs/Lznt1.h"
#include "engine/ntfs/ZNtfsVolume.h"
#include "format/WideText.h"
#include "tests/support/NtfsBuilder.h"
#include "tests/support/TestMedia.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>

namespace kova::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using Reason = ExtractReport::Reason;
using Kind = FileState::Kind;

ZFileTreeNode nodeOf(int64 id) {
    ZFileTreeNode node;
    node.id = id;
    return node;
}

/// A volume by today's rules, scanned.
class Today {
public:
    explicit Today(std::vector<uint8> image, bool streams = false, bool recycleBin = false)
        : media(std::move(image)), volume(&media) {
        ScanOptions options = ScanOptions::today();
        options.streams = streams;
        options.liveRecycleBin = recycleBin;
        volume.setScanOptions(options);
        volume.init();
        volume.scan(&tree);
    }

    explicit Today(NtfsBuilder& builder, bool streams = false) : Today(builder.build(), streams) {}

    std::string content(int64 id) {
        ZMemoryStream out;
        isWhole = volume.extract(nodeOf(id), &out);
        return {out.bytes().begin(), out.bytes().end()};
    }

    [[nodiscard]] FileState state(int64 id) { return volume.assess(nodeOf(id)); }

    [[nodiscard]] Reason reason() const { return volume.extractReport().reason; }

    TestMedia media;
    ZNtfsVolume volume;
    ZFileTree tree;
    bool isWhole = false;
};

std::vector<uint8> pattern(std::size_t size) {
    std::vector<uint8> bytes(size);
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<uint8>((i * 7) ^ (i >> 8));
    return bytes;
}

/// Files over the clusters of one pattern.
class NtfsToday : public testing::Test {
protected:
    NtfsToday() : lcn(builder.firstFreeLcn()), bytes(pattern(16 * kCluster)) {
        builder.putClusters(lcn, bytes);
    }

    [[nodiscard]] std::string text(std::size_t from, std::size_t count) const {
        return std::string(bytes.begin(), bytes.end()).substr(from * kCluster, count * kCluster);
    }

    RecordBuilder file(const std::vector<ZDatarun>& runs,
                       const RecordBuilder::Extent& extent) const {
        RecordBuilder record = builder.newFile();
        record.nonResident(ntfs::kData, runs, extent);
        return record;
    }

    RecordBuilder extension(uint64 base, int64 vcn, int64 clusters) const {
        RecordBuilder record = builder.newRecord();
        record.base(base).nonResident(ntfs::kData, {{vcn, lcn + vcn, clusters}}, {.firstVcn = vcn});
        return record;
    }

    static constexpr std::size_t kCluster = 4096;
    static constexpr std::size_t kNameValue = 0x18; ///< In the attribute of a name.
    NtfsBuilder builder;
    int64 lcn;
    std::vector<uint8> bytes;
    const std::string zeros = std::string(kCluster, '\0');
};

TEST_F(NtfsToday, SparseFilesAndWhatWasNeverWritten) {
    const auto size = static_cast<int64>(4 * kCluster);
    builder
        .put(20,
             file({{0, lcn, 1}, {1, ZDatarun::Hole, 2}, {3, lcn + 1, 1}}, {.dataSize = size - 5,
                                                                           .allocatedSize = size,
                                                                           .flags = 0x8000,
                                                                           .compressionUnit = 4}))
        .put(21, file({{0, lcn, 4}},
                      {.dataSize = size, .allocatedSize = size, .initializedSize = 5000}))
        .put(22, file({{0, lcn, 1}, {1, ZDatarun::Hole, 3}},
                      {.dataSize = size - 7, .allocatedSize = size, .flags = 0x8000}))
        .put(23, file({{0, lcn, 4}}, {.dataSize = size, .allocatedSize = size, .flags = 0x4000}));
    Today today(builder);
    EXPECT_EQ(today.content(20), text(0, 1) + zeros + zeros + text(1, 1).substr(0, kCluster - 5));
    EXPECT_TRUE(today.isWhole);
    EXPECT_EQ(today.content(21), text(0, 2).substr(0, 5000) +
                                     std::string(static_cast<std::size_t>(size) - 5000, '\0'));
    EXPECT_TRUE(today.isWhole);
    EXPECT_EQ(today.content(22), text(0, 1) + zeros + zeros + zeros.substr(7));
    EXPECT_FALSE(today.volume.extractReport().encrypted);
    EXPECT_EQ(today.content(23), text(0, 4));
    EXPECT_TRUE(today.volume.extractReport().encrypted);
}

/// What `packed/make` has packed.
std::vector<uint8> programLike() {
    constexpr std::size_t kBytes = 40'000;
    std::vector<uint8> out;
    for (uint32 state = 1; out.size() < kBytes;) {
        state = state * 1664525 + 1013904223;
        if (state >> 30 == 0) {
            const auto target = static_cast<uint32>((state >> 8) % 5000 - out.size() % 3000);
            out.resize(out.size() + 5, 0xE8);
            storeLe<uint32>(&out[out.size() - 4], target);
        } else {
            out.resize(out.size() + 1 + (state >> 20) % 60, state >> 24 & 0x1F);
        }
    }
    out.resize(kBytes);
    return out;
}

TEST_F(NtfsToday, PackedSystemFilesAreExpanded) {
    const auto sample = [](const std::string& name) {
        std::ifstream in(std::string(ORVANE_SOURCE_DIR) + "/tests/ntfs/packed/" + name,
                         std::ios::binary);
        return std::vector<uint8>{std::istreambuf_iterator<char>(in), {}};
    };
    const std::vector<uint8> content = programLike();
    const std::string whole(content.begin(), content.end());
    const auto put = [&](uint32 number, uint32 packing, const std::vector<uint8>& packed) {
        const auto size = static_cast<int64>(content.size());
        const int64 clusters = size / int64{kCluster} + 1;
        const int64 first = lcn + 12 * number - 12 * 20;
        RecordBuilder record = file({{0, ZDatarun::Hole, clusters}},
                                    {.dataSize = size, .initializedSize = 0, .flags = 0x8000});
        std::vector<uint8> clustersOf = packed;
        clustersOf.resize(12 * kCluster);
        builder.putClusters(first, clustersOf);
        record.nonResident(
            ntfs::kData, {{0, first, 12}},
            {.dataSize = static_cast<int64>(packed.size()), .name = u"WofCompressedData"});
        std::vector<uint8> value(24);
        storeLe<uint32>(&value[0], 0x80000017);
        storeLe<uint32>(&value[8], 1);
        storeLe<uint32>(&value[12], 2);
        storeLe<uint32>(&value[16], 1);
        storeLe<uint32>(&value[20], packing);
        builder.put(number, record.resident(ntfs::kReparsePoint, value));
    };
    const char* const names[] = {"xpress4k", "lzx", "xpress8k", "xpress16k"};
    for (uint32 packing = 0; packing < std::size(names); ++packing)
        put(20 + packing, packing, sample(names[packing]));
    // Damage to a chunk, and to where one ends, costs these.
    std::vector<uint8> damaged = sample("xpress4k");
    const std::size_t table = (content.size() - 1) / 4096 * 4;
    std::fill_n(damaged.begin() + static_cast<std::ptrdiff_t>(table), 256, uint8{0x11});
    storeLe<uint32>(&damaged[8], 0x7FFFFFFF);
    put(24, 0, damaged);
    Today today(builder);
    for (uint32 packing = 0; packing < std::size(names); ++packing) {
        SCOPED_TRACE(names[packing]);
        EXPECT_EQ(today.state(20 + packing).kind, Kind::Whole);
        EXPECT_TRUE(today.content(20 + packing) == whole);
        EXPECT_TRUE(today.isWhole);
    }
    std::string left = whole;
    for (const std::size_t chunk : {0U, 2U, 3U})
        std::fill_n(left.begin() + static_cast<std::ptrdiff_t>(chunk * 4096), 4096, '\0');
    EXPECT_TRUE(today.content(24) == left);
    EXPECT_EQ(today.reason(), Reason::SystemPacked);
}

TEST_F(NtfsToday, ContentThatIsElsewhereFailsWithItsReason) {
    const auto size = static_cast<int64>(2 * kCluster);
    const auto behind = [&](uint32 tag, std::vector<ZDatarun> runs) {
        std::vector<uint8> value(24);
        storeLe<uint32>(value.data(), tag);
        RecordBuilder record =
            file(runs, {.dataSize = size, .allocatedSize = size, .flags = 0x8000});
        record.resident(ntfs::kReparsePoint, value);
        return record;
    };
    const std::vector<ZDatarun> hole = {{0, ZDatarun::Hole, 2}};
    builder.put(20, behind(0x80000017, hole))
        .put(21, behind(0x9000701A, hole))
        .put(22, behind(0x9000701A, {{0, lcn, 2}}))
        .put(23, behind(0xA000000C, hole))
        .put(24, behind(0x9000001A, hole))
        .put(25, behind(0x9000F01A, hole));
    Today today(builder);
    const std::tuple<int64, std::string, Reason> expected[] = {
        {20, "", Reason::SystemPacked},    {21, "", Reason::InCloud},
        {22, text(0, 2), Reason::None}, // A file of the cloud that is on the drive, too.
        {23, zeros + zeros, Reason::None}, {24, "", Reason::InCloud},
        {25, "", Reason::InCloud},
    };
    for (const auto& [id, content, reason] : expected) {
        EXPECT_EQ(today.content(id), content) << id;
        EXPECT_EQ(today.reason(), reason) << id;
        EXPECT_EQ(today.isWhole, reason == Reason::None) << id;
    }
    EXPECT_EQ(today.volume.assess(nodeOf(20)).kind, Kind::Unreadable);
    EXPECT_EQ(today.volume.assess(nodeOf(22)).kind, Kind::Whole);
}

TEST_F(NtfsToday, AnImageCutShort) {
    const auto size = static_cast<int64>(4 * kCluster);
    builder.put(20, file({{0, lcn, 4}}, {.dataSize = size, .allocatedSize = size}))
        .put(21,
             file({{0, lcn + 3, 1}, {1, lcn + 8, 3}}, {.dataSize = size, .allocatedSize = size}));
    auto image = builder.build();
    image.resize((static_cast<std::size_t>(lcn) + 2) * kCluster + 512);
    Today today(std::move(image));
    EXPECT_THAT(today.volume.notes(), Contains(VolumeNote::EndsEarly));
    EXPECT_EQ(today.content(20),
              text(0, 2) + text(2, 1).substr(0, 512) + zeros.substr(512) + zeros);
    EXPECT_EQ(today.reason(), Reason::BeyondDevice);
    EXPECT_EQ(today.volume.extractReport().unreadableBytes, 2 * kCluster - 512);
    EXPECT_FALSE(today.isWhole);
    EXPECT_EQ(today.content(21), "") << "nothing of it is there";
    EXPECT_EQ(today.reason(), Reason::BeyondDevice);
    EXPECT_EQ(today.volume.extractReport().unreadableBytes, 4 * kCluster);
}

TEST_F(NtfsToday, ExtentsByTheirPlaceAndOnlyTheFilesOwn) {
    const auto size = static_cast<int64>(6 * kCluster);
    std::vector<uint8> list;
    for (const auto& [record, vcn] : {std::pair{23U, 4}, {22U, 2}, {24U, 3}, {25U, 5}})
        for (const uint8 byte : attributeListEntry(ntfs::kData, record, vcn))
            list.push_back(byte);
    RecordBuilder base = builder.newFile();
    base.resident(ntfs::kAttributeList, list)
        .nonResident(ntfs::kData, {{0, lcn, 2}}, {.dataSize = size, .allocatedSize = size});
    const uint64 reference = 20 | (uint64{1} << 48);
    builder.put(20, base)
        .put(22, extension(reference, 2, 2))
        .put(23, extension(reference, 4, 1))
        .put(24, extension(reference, 3, 2))               // Overlaps.
        .put(25, extension(20 | (uint64{3} << 48), 5, 1)); // Of who had the record before.
    Today today(builder);
    EXPECT_EQ(today.content(20), text(0, 5) + zeros);
    EXPECT_EQ(today.reason(), Reason::ExtentMissing);
    EXPECT_EQ(today.volume.assess(nodeOf(20)).kind, Kind::Unreadable);
    // Damage costs the extent, not the file.
    std::vector<uint8> damaged(1024, 0x55);
    builder.put(22, damaged).put(25, extension(reference, 5, 1));
    Today less(builder);
    EXPECT_THAT(less.tree.childIds(5), ElementsAre(20));
    EXPECT_EQ(less.content(20), text(0, 2) + zeros + text(3, 3)) << "what overlapped steps in";
    EXPECT_EQ(less.reason(), Reason::ExtentMissing);
    // So it does where that is the first one: the file is as long as its name says.
    RecordBuilder named = builder.newFile();
    storeLe<int64>(&named.raw()[named.lastOffset() + kNameValue + 0x38], size);
    builder.put(20, named.resident(ntfs::kAttributeList, list)).put(22, extension(reference, 2, 2));
    Today nothing(builder);
    EXPECT_EQ(nothing.content(20), zeros + zeros + text(2, 4));
    EXPECT_EQ(nothing.reason(), Reason::ExtentMissing);
}

TEST_F(NtfsToday, OnlyTheUnnamedStreamIsTheFile) {
    builder
        .put(20, builder.newFile(u"film.mkv")
                     .resident(ntfs::kAttributeList, attributeListEntry(ntfs::kData, 30))
                     .resident(ntfs::kData, {'z'}, u"Zone.Identifier"))
        .put(30, extension(40, 0, 1))
        .put(21, builder.newFile(u"a.txt")
                     .resident(ntfs::kData, {'a'})
                     .resident(ntfs::kData, {'s', 's'}, u"more"));
    // Of these two nothing tells of the content any more, only that there was some.
    RecordBuilder sized = builder.newFile(u"sized");
    storeLe<int64>(&sized.raw()[sized.lastOffset() + kNameValue + 0x38], 5);
    builder.put(22, sized)
        .put(23, builder.newFile(u"streams").resident(ntfs::kData, {'z'}, u"Zone.Identifier"))
        .put(24, builder.newFile(u"never had any"));
    Today today(builder, true);
    const int64 first = int64{1} << 48;
    EXPECT_THAT(today.tree.childIds(5),
                ElementsAre(20 | first, 20, 21 | first, 21, 22, 23 | first, 23));
    for (const int64 id : {22, 23}) {
        EXPECT_EQ(today.content(id), "");
        EXPECT_EQ(today.reason(), Reason::NoData);
    }
    EXPECT_EQ(today.content(20), "");
    EXPECT_EQ(today.reason(), Reason::NoData);
    const int64 stream = today.tree.childIds(5)[2];
    EXPECT_EQ(today.tree.find(stream)->name, L"a.txt_more");
    EXPECT_EQ(today.tree.find(stream)->size, 2);
    EXPECT_EQ(today.content(stream), "ss");
    EXPECT_EQ(today.content(21), "a");
    EXPECT_EQ(today.volume.assess(nodeOf(20)).kind, Kind::Unreadable);
    EXPECT_EQ(today.volume.assess(nodeOf(21)).kind, Kind::Resident);
}

TEST_F(NtfsToday, StatesByTheBitmap) {
    const auto size = static_cast<int64>(4 * kCluster);
    const auto at = [&](int64 first) {
        return file({{0, lcn + first, 3}, {3, ZDatarun::Hole, 1}},
                    {.dataSize = size, .allocatedSize = size, .flags = 0x8000});
    };
    builder.takeClusters(lcn + 2, 6)
        .put(20, at(8))
        .put(21, at(0))
        .put(22, at(4))
        .put(23, at(4).flags(1));
    Today today(builder);
    const auto is = [&](int64 id, Kind kind, uint64 taken) {
        const FileState state = today.volume.assess(nodeOf(id));
        EXPECT_EQ(state.kind, kind) << id;
        EXPECT_EQ(state.clusters, kind == Kind::Unknown ? 0U : 3U) << id;
        EXPECT_EQ(state.taken, taken) << id;
    };
    is(20, Kind::Whole, 0);
    is(21, Kind::Partly, 1);
    is(22, Kind::Overwritten, 3);
    is(23, Kind::Unknown, 0); // By its header it is live, and these are its own.
    EXPECT_EQ(today.content(21), text(0, 3) + zeros);
    EXPECT_TRUE(today.isWhole);
    EXPECT_EQ(today.content(22), "");
    EXPECT_EQ(today.reason(), Reason::Overwritten);
    EXPECT_EQ(today.content(23), text(4, 3) + zeros);
}

TEST_F(NtfsToday, DamageToTheVolumesOwnFiles) {
    builder.deletedFile(30, 5, u"a", "1");
    RecordBuilder shortName = builder.newRecord();
    shortName.standardInformation(1)
        .resident(ntfs::kFileName, std::vector<uint8>(0x20))
        .fileName(5, u"b")
        .resident(ntfs::kData, {'2'});
    builder.put(31, shortName);
    const std::vector<uint8> damaged(1024, 0x55);
    builder.put(6, damaged);
    auto image = builder.build();
    {
        Today today(image);
        EXPECT_THAT(today.volume.notes(), ElementsAre(VolumeNote::NoVolumeBitmap));
        EXPECT_THAT(today.tree.childIds(5), ElementsAre(30, 31));
        EXPECT_EQ(today.tree.find(31)->name, L"b");
    }
    // $MFT by its mirror.
    const std::size_t mft = 4 * kCluster;
    const auto mirror = static_cast<std::size_t>(lcn + 20);
    std::copy_n(image.begin() + mft, 4096,
                image.begin() + static_cast<std::ptrdiff_t>(mirror * kCluster));
    storeLe<uint64>(&image[0x38], mirror);
    std::fill_n(image.begin() + mft, 1024, uint8{0});
    Today today(image);
    EXPECT_THAT(today.volume.notes(),
                ElementsAre(VolumeNote::MftMirror, VolumeNote::NoVolumeBitmap));
    EXPECT_THAT(today.tree.childIds(5), ElementsAre(30, 31));
}

TEST_F(NtfsToday, TheRecycleBinGivesNamesAndFoldersBack) {
    const auto description = [](uint64 version, const std::u16string& path) {
        std::string made(version == 1 ? 544 : 28 + 2 * (path.size() + 1), '\0');
        auto* const start = reinterpret_cast<uint8*>(made.data());
        storeLe<uint64>(start, version);
        if (version == 2)
            storeLe<uint32>(start + 24, static_cast<uint32>(path.size() + 1));
        for (std::size_t i = 0; i < path.size(); ++i)
            storeLe<char16_t>(start + (version == 1 ? 24 : 28) + 2 * i, path[i]);
        return made;
    };
    builder.directory(30, 5, u"$Recycle.Bin", true)
        .directory(31, 30, u"S-1-5-21", true)
        .deletedFile(32, 31, u"$RABCDEF.jpg", "beach")
        .deletedFile(33, 31, u"$IABCDEF.jpg", description(2, u"C:\\Users\\me\\On the beach.jpg"))
        .directory(34, 31, u"$RGHIJKL", false)
        .deletedFile(35, 34, u"letter.txt", "dear")
        .deletedFile(36, 31, u"$IGHIJKL", description(1, u"C:\\Users\\me\\Letters"))
        .deletedFile(37, 31, u"$RALONE.txt", "alone")
        .deletedFile(38, 31, u"$RABSURD", "kept")
        .deletedFile(39, 31, u"$IABSURD", description(2, u"C:\\..\\up"))
        .deletedFile(40, 31, u"$RSHORT", "kept")
        .deletedFile(41, 31, u"$ISHORT", description(2, u"C:\\cut").substr(0, 40));
    const auto live = [this](uint32 number, int64 parent, const std::u16string& name,
                             const std::string& content) {
        builder.put(number,
                    builder.newRecord()
                        .flags(1)
                        .standardInformation(1000)
                        .fileName(parent, name)
                        .resident(ntfs::kData, {content.begin(), content.end()}),
                    true);
    };
    builder.directory(44, 31, u"$RLIVEDR", true).directory(45, 44, u"sub", true);
    live(42, 31, u"$RLIVING.png", "living");
    live(43, 31, u"$ILIVING.png", description(2, u"D:\\live.png"));
    live(46, 45, u"inside", "below");
    live(47, 31, u"$ILIVEDR", description(2, u"D:\\Folder"));
    live(48, 5, u"$RNOBIN", "not in the bin");
    live(49, 5, u"$INOBIN", description(2, u"D:\\nobin"));
    for (const bool takesLive : {false, true}) {
        Today today(builder.build(), false, takesLive);
        const ZTreeListing listing(today.tree);
        const auto pathOf = [&](int64 id) {
            const std::size_t index = listing.indexOf(id);
            return index == ZTreeListing::kNone ? "" : format::utf8FromWide(listing.path(index));
        };
        EXPECT_EQ(pathOf(32), "Recycle bin/Users/me/On the beach.jpg");
        EXPECT_EQ(today.content(32), "beach");
        EXPECT_EQ(pathOf(35), "Recycle bin/Users/me/Letters/letter.txt");
        for (const auto& [id, name] : std::map<int64, std::string>{
                 {37, "$RALONE.txt"}, {38, "$RABSURD"}, {40, "$RSHORT"}, {33, "$IABCDEF.jpg"}})
            EXPECT_EQ(pathOf(id), "$Recycle.Bin/S-1-5-21/" + name);
        EXPECT_EQ(pathOf(42), takesLive ? "Recycle bin/live.png" : "");
        EXPECT_EQ(pathOf(46), takesLive ? "Recycle bin/Folder/sub/inside" : "");
        for (const int64 id : {43, 47, 48, 49})
            EXPECT_EQ(pathOf(id), "");
        if (takesLive) {
            EXPECT_EQ(today.content(46), "below");
        }
    }
}

TEST_F(NtfsToday, AFolderWhoseRecordIsAnotherOnesNow) {
    RecordBuilder reused = builder.newRecord();
    reused.flags(3).standardInformation(1).fileName(5, u"new");
    storeLe<uint16>(&reused.raw()[0x10], 2);
    RecordBuilder freed = builder.newRecord();
    freed.flags(2).standardInformation(1).fileName(5, u"gone");
    storeLe<uint16>(&freed.raw()[0x10], 2); // One more than its files know: by its own deletion.
    builder.put(24, reused, true)
        .put(25, freed)
        .deletedFile(26, 24, u"stranger", "1")
        .deletedFile(27, 25, u"own", "2")
        .deletedFile(28, 29, u"orphan", "3"); // Nothing tells of its folder.
    // An index of another folder still has the entry of what had the record before.
    std::vector<uint8> block(kCluster);
    std::copy_n("INDX\x28\0\x09", 7, block.begin());
    const std::u16string name = u"old folder";
    uint8* const entry = &block[2000];
    storeLe<uint64>(entry, 24 | uint64{1} << 48);
    storeLe<uint16>(entry + 8, static_cast<uint16>((0x52 + 2 * name.size() + 7) / 8 * 8));
    storeLe<uint16>(entry + 10, static_cast<uint16>(0x42 + 2 * name.size()));
    storeLe<uint64>(entry + 0x10, 30 | uint64{1} << 48);
    entry[0x18] = 7; // When it was created, and modified.
    entry[0x20] = 8;
    storeLe<uint32>(entry + 0x48, 0x10000000);
    entry[0x50] = static_cast<uint8>(name.size());
    entry[0x51] = 1;
    for (std::size_t i = 0; i < name.size(); ++i)
        storeLe<char16_t>(entry + 0x52 + 2 * i, name[i]);
    RecordBuilder above = builder.newRecord();
    above.flags(3)
        .standardInformation(1)
        .fileName(5, u"above")
        .nonResident(ntfs::kIndexAllocation, {{0, lcn + 20, 1}},
                     {.dataSize = kCluster, .name = u"$I30"});
    builder.putClusters(lcn + 20, block).put(30, above, true);
    Today today(builder);
    EXPECT_THAT(today.tree.childIds(kLostFolder), ElementsAre(28));
    const ZTreeListing listing(today.tree);
    EXPECT_EQ(listing.path(listing.indexOf(26)), L"above/old folder/stranger");
    const ZFileTreeNode* folder = today.tree.find(today.tree.find(26)->parentId);
    EXPECT_EQ(folder->creationTime, 7);
    EXPECT_EQ(folder->modificationTime, 8);
    EXPECT_EQ(today.content(26), "1");
    EXPECT_THAT(today.tree.childIds(25), ElementsAre(27));
    EXPECT_EQ(today.tree.find(24), nullptr);
}

TEST_F(NtfsToday, RecordsAcrossClusters) {
    NtfsBuilder small({.sectorsPerCluster = 1,
                       .recordSize = 1024,
                       .recordCount = 64,
                       .clusters = 1024,
                       .mftExtents = {{10, 33}, {300, 1}, {200, 94}}});
    for (const uint32 number : {16U, 17U, 40U})
        small.deletedFile(number, 5, std::u16string(1, static_cast<char16_t>('a' + number)),
                          std::string(600, static_cast<char>(number)));
    Today today(small);
    EXPECT_THAT(today.tree.childIds(5), ElementsAre(16, 17, 40));
    EXPECT_EQ(today.content(16), std::string(600, 16)) << "its two clusters lie apart";
    NtfsBuilder tooLarge({.recordSize = 128 * 1024, .recordCount = 32, .clusters = 1100});
    EXPECT_THROW(Today{tooLarge}, int);
}

TEST_F(NtfsToday, ABitmapThatGoesOnInAnExtensionRecord) {
    // 512 bytes of it tell of 4096 records.
    NtfsBuilder large({.sectorsPerCluster = 1, .recordCount = 4112, .clusters = 8300});
    const int64 free = large.firstFreeLcn();
    std::vector<uint8> map(1024, 0xFF);
    map[512] = 0xFE; // Record 4096 is free.
    const int64 size = 4112 * 1024;
    large.putClusters(free, map)
        .put(0, large.newRecord()
                    .flags(1)
                    .standardInformation(1)
                    .resident(ntfs::kAttributeList, attributeListEntry(ntfs::kBitmap, 30, 1))
                    .nonResident(ntfs::kData, {{0, 4, 8224}},
                                 {.dataSize = size, .allocatedSize = size})
                    .nonResident(ntfs::kBitmap, {{0, free, 1}},
                                 {.dataSize = 1024, .allocatedSize = 1024}))
        .deletedFile(4096, 5, u"free", "1")
        .deletedFile(4097, 5, u"allocated", "2")
        .put(4098, large.newFile(u"in use").flags(1).resident(ntfs::kData, {'3'}));
    RecordBuilder further = large.newRecord();
    further.base(uint64{1} << 48).nonResident(ntfs::kBitmap, {{1, free + 1, 1}}, {.firstVcn = 1});
    large.put(30, further);
    EXPECT_THAT(Today(large).tree.childIds(5), ElementsAre(4096));
    // Without the record, what it would tell is taken from the records themselves.
    large.put(30, std::vector<uint8>(1024, 0x55));
    EXPECT_THAT(Today(large).tree.childIds(5), ElementsAre(4096, 4097));
}

/// Literals and one reference: "abc" and then as many of it as a reference of this length gives.
std::vector<uint8> packedChunk(uint16 length) {
    std::vector<uint8> chunk = {0x05, 0xB0, 0x08, 'a', 'b', 'c', 0, 0};
    storeLe<uint16>(&chunk[6], static_cast<uint16>((2U << 12) | (length - 3U)));
    return chunk;
}

TEST_F(NtfsToday, CompressedUnits) {
    // Units of 4 clusters: packed, a hole, plain, packed with its last part never written, damaged.
    const auto unit = static_cast<int64>(4 * kCluster);
    std::vector<uint8> packed;
    for (int i = 0; i < 4; ++i)
        for (const uint8 byte : packedChunk(4093))
            packed.push_back(byte);
    packed.resize(kCluster);
    std::vector<uint8> damaged = packed;
    damaged[8 + 7] = 0xFF; // The second chunk refers to before its begin.
    builder.putClusters(lcn + 8, packed).putClusters(lcn + 9, damaged);
    const std::vector<ZDatarun> runs = {{0, lcn + 8, 1},        {1, ZDatarun::Hole, 3},
                                        {4, ZDatarun::Hole, 4}, {8, lcn, 4},
                                        {12, lcn + 8, 1},       {13, ZDatarun::Hole, 3}};
    std::vector<ZDatarun> last = runs;
    last[4].lcn = lcn + 9;
    const RecordBuilder::Extent extent{.dataSize = 4 * unit - 100,
                                       .allocatedSize = 4 * unit,
                                       .initializedSize = 3 * unit + 10,
                                       .flags = 1,
                                       .compressionUnit = 2};
    RecordBuilder::Extent whole = extent;
    whole.initializedSize = whole.dataSize;
    builder.put(20, file(runs, extent)).put(21, file(last, whole));
    std::string chunk;
    while (chunk.size() < 4096)
        chunk += "abc";
    chunk.resize(4096);
    const std::string expanded = chunk + chunk + chunk + chunk;
    const auto unitSize = static_cast<std::size_t>(unit);
    const std::string begin = expanded + std::string(unitSize, '\0') + text(0, 4);
    Today today(builder);
    EXPECT_EQ(today.content(20),
              begin + expanded.substr(0, 10) + std::string(unitSize - 110, '\0'));
    EXPECT_TRUE(today.isWhole);
    EXPECT_EQ(today.volume.assess(nodeOf(20)).clusters, 6U);
    EXPECT_EQ(today.content(21), (begin + chunk + "abc" + std::string(4093, '\0') + chunk + chunk)
                                     .substr(0, 4 * unitSize - 100));
    EXPECT_EQ(today.reason(), Reason::Compressed);
}

} // namespace
} // namespace kova::test
