#include "engine/ntfs/ZDatarun.h"
#include "tests/support/NtfsBuilder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kova::test {
namespace {

using testing::ElementsAre;
using RunList = std::vector<ZDatarun>;

constexpr uint32 kCluster = 4096;
constexpr int64 kHole = ZDatarun::Hole;
constexpr int64 kNotMapped = ZDatarun::NotMapped;
constexpr int64 kEnd = ZDatarun::EndOfList;

/// One attribute in a record, with the mapping pairs given as bytes.
class Extent {
public:
    Extent(const std::vector<uint8>& pairs, RecordBuilder::Extent extent) : record_(4096) {
        record_.nonResident(ntfs::kData, {{0, 1, 1}}, extent);
        std::vector<uint8>& raw = record_.raw();
        const std::size_t at = record_.lastOffset();
        const std::size_t pairsAt = loadLe<uint16>(&raw[at + 0x20]);
        storeLe<uint32>(&raw[at + 0x04], static_cast<uint32>(pairsAt + pairs.size()));
        storeLe<int64>(&raw[at + 0x18], extent.lastVcn);
        std::copy(pairs.begin(), pairs.end(),
                  raw.begin() + static_cast<std::ptrdiff_t>(at + pairsAt));
    }

    [[nodiscard]] ntfs::AttributeHeader header() { return {record_.raw(), record_.lastOffset()}; }

    RunList decode() {
        RunList runs;
        EXPECT_TRUE(ZDatarun::decode(kCluster, header(), runs));
        return runs;
    }

    RecordBuilder record_;
};

RecordBuilder::Extent first(int64 lastVcn, int64 clusters) {
    return {.firstVcn = 0,
            .lastVcn = lastVcn,
            .dataSize = clusters * kCluster,
            .allocatedSize = clusters * kCluster};
}

TEST(Decode, FirstExtent) {
    EXPECT_THAT(Extent({0x21, 0x18, 0x34, 0x56, 0x00}, first(0x17, 0x18)).decode(),
                ElementsAre(ZDatarun{0, 0x5634, 0x18}, ZDatarun{0x18, kEnd, 0}));
    // A hole leaves the running LCN as it is; offsets may go back; a run of length 0 counts
    // nothing.
    EXPECT_THAT(Extent({0x11, 0x04, 0x40, 0x01, 0x02, 0x11, 0x00, 0x01, 0x11, 0x01, 0xF0, 0x00},
                       first(6, 7))
                    .decode(),
                ElementsAre(ZDatarun{0, 0x40, 4}, ZDatarun{4, kHole, 2}, ZDatarun{6, 0x41, 0},
                            ZDatarun{6, 0x31, 1}, ZDatarun{7, kEnd, 0}));
    // An LCN of -1 is a hole, too.
    EXPECT_THAT(Extent({0x11, 0x02, 0xFF, 0x00}, first(1, 2)).decode(),
                ElementsAre(ZDatarun{0, kHole, 2}, ZDatarun{2, kEnd, 0}));
    // What the allocation has beyond the last VCN is in another extent.
    EXPECT_THAT(
        Extent({0x11, 0x02, 0x10, 0x00}, first(1, 10)).decode(),
        ElementsAre(ZDatarun{0, 0x10, 2}, ZDatarun{2, kNotMapped, 8}, ZDatarun{10, kEnd, 0}));
}

TEST(Decode, LaterExtentAndWideNumbers) {
    const RecordBuilder::Extent later{.firstVcn = 1000, .lastVcn = 1003};
    EXPECT_THAT(Extent({0x11, 0x04, 0x20, 0x00}, later).decode(),
                ElementsAre(ZDatarun{0, kNotMapped, 1000}, ZDatarun{1000, 0x20, 4},
                            ZDatarun{1004, kNotMapped, 0}));
    // 9-byte numbers are taken when they are sign extensions of what fits.
    EXPECT_THAT(Extent({0x19, 0x03, 0, 0, 0, 0, 0, 0, 0, 0, 0x10, 0x00}, first(2, 3)).decode(),
                ElementsAre(ZDatarun{0, 0x10, 3}, ZDatarun{3, kEnd, 0}));
}

TEST(Decode, RefusesNonsense) {
    const struct {
        const char* what;
        std::vector<uint8> pairs;
        RecordBuilder::Extent extent = first(0, 2);
    } corrupt[] = {
        {"no terminator", {0x11, 0x02, 0x10}},
        {"nothing at all", {}},
        {"no length bytes", {0x10, 0x02, 0x00}},
        {"negative length", {0x11, 0xFE, 0x10, 0x00}},
        {"numbers beyond the attribute", {0x11, 0x02}},
        {"LCN below -1", {0x11, 0x02, 0xFE, 0x00}},
        {"length beyond 64 bits", {0x19, 1, 0, 0, 0, 0, 0, 0, 0, 1, 0x10, 0x00}},
        {"VCN overflow",
         {0x18, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F, 0x01, 0x11, 0x02, 0x01, 0x00}},
        {"last VCN does not match", {0x11, 0x02, 0x10, 0x00}, first(2, 10)},
        {"last VCN beyond the allocation", {0x11, 0x02, 0x10, 0x00}, first(1, 1)},
    };

    for (const auto& c : corrupt)
        EXPECT_THROW(Extent(c.pairs, c.extent).decode(), ZDatarun::ECorruptAttribute) << c.what;

    RunList runs;
    EXPECT_FALSE(ZDatarun::decode(kCluster, {}, runs));
    EXPECT_FALSE(
        ZDatarun::decode(kCluster, Extent({0x00}, {.firstVcn = -1, .lastVcn = 0}).header(), runs));

    Extent leaving({0x11, 0x02, 0x10, 0x00}, first(1, 2));
    storeLe<uint32>(&leaving.record_.raw()[leaving.record_.lastOffset() + 4], 0x10000);
    EXPECT_THROW(ZDatarun::decode(kCluster, leaving.header(), runs), int);
}

TEST(Merge, ExtentsInOrder) {
    RunList runs;
    ZDatarun::merge(runs, {{0, 100, 4}, {4, kNotMapped, 6}, {10, kEnd, 0}});
    ZDatarun::merge(runs, {{0, kNotMapped, 4}, {4, 200, 3}, {7, kNotMapped, 0}});
    ZDatarun::merge(runs, {{0, kNotMapped, 7}, {7, 203, 3}, {10, kNotMapped, 0}});
    // Runs that continue each other become one.
    EXPECT_THAT(runs, ElementsAre(ZDatarun{0, 100, 4}, ZDatarun{4, 200, 6}, ZDatarun{10, kEnd, 0}));
}

TEST(Merge, ExtentsOutOfOrder) {
    RunList runs;
    ZDatarun::merge(runs, {{8, 300, 2}, {10, kNotMapped, 0}});
    EXPECT_THAT(runs, ElementsAre(ZDatarun{0, kNotMapped, 8}, ZDatarun{8, 300, 2},
                                  ZDatarun{10, kNotMapped, 0}));
    // Into the middle of what is not mapped.
    ZDatarun::merge(runs, {{0, kNotMapped, 4}, {4, 200, 2}, {6, kNotMapped, 0}});
    EXPECT_THAT(runs, ElementsAre(ZDatarun{0, kNotMapped, 4}, ZDatarun{4, 200, 2},
                                  ZDatarun{6, kNotMapped, 2}, ZDatarun{8, 300, 2},
                                  ZDatarun{10, kNotMapped, 0}));
    // The first extent knows where the attribute ends.
    ZDatarun::merge(runs, {{0, 100, 4}, {4, kNotMapped, 16}, {20, kEnd, 0}});
    EXPECT_EQ(runs.back(), (ZDatarun{20, kEnd, 0}));
    const std::vector<std::pair<int64, int64>> places = {
        {0, 100}, {3, 103}, {5, 201}, {6, kNotMapped}, {9, 301}, {10, kNotMapped}, {20, -5}};
    for (const auto& [vcn, lcn] : places)
        EXPECT_EQ(ZDatarun::vcnToLcn(runs, vcn), lcn) << "VCN " << vcn;
}

TEST(Merge, RefusesWhatMapsNothingOrTwiceAndAppendsTheRest) {
    RunList runs = {{0, 100, 4}, {4, kEnd, 0}};
    EXPECT_THROW(ZDatarun::merge(runs, {{0, kNotMapped, 4}, {4, kNotMapped, 0}}),
                 ZDatarun::EInvalidArgument);
    EXPECT_THROW(ZDatarun::merge(runs, {{0, 500, 4}, {4, kEnd, 0}}), ZDatarun::EInvalidArgument);
    EXPECT_THAT(runs, ElementsAre(ZDatarun{0, 100, 4}, ZDatarun{4, kEnd, 0}));
    EXPECT_EQ(ZDatarun::vcnToLcn({}, 0), ZDatarun::NotFound);
    // What lies behind a gap is added.
    ZDatarun::merge(runs, {{0, kNotMapped, 6}, {6, 200, 2}, {8, kNotMapped, 0}});
    EXPECT_EQ(ZDatarun::vcnToLcn(runs, 5), kNotMapped);
    EXPECT_EQ(ZDatarun::vcnToLcn(runs, 7), 201);
}

} // namespace
} // namespace kova::test
