#include "engine/ZVolume.h"
#include "tests/support/TestMedia.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <stdexcept>

namespace kova::test {
namespace {

std::vector<uint8> numbered(std::size_t sectors, std::size_t size = 512) {
    std::vector<uint8> bytes(sectors * size);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<uint8>(1 + i / size % 250);
    return bytes;
}

TEST(Media, ReadsSectorsAndMoves) {
    TestMedia media(numbered(20));
    std::vector<uint8> buffer(1024, 0xEE);
    EXPECT_EQ(media.read(buffer.data(), 1), 1U);
    EXPECT_EQ(buffer[0], 1);
    EXPECT_EQ(media.position(), 1U);
    EXPECT_TRUE(media.seek(7));
    EXPECT_EQ(media.read(buffer.data(), 2), 2U);
    EXPECT_EQ(buffer[512], 9);
    EXPECT_FALSE(media.seek(0)) << "the low half of byte position 0 is 0";
    EXPECT_FALSE(media.seek(uint64{1} << 23)) << "and so is that of 2^32";
    EXPECT_FALSE(media.write(buffer.data(), 1));
    media.close();
    EXPECT_EQ(media.position(), 0U);
}

TEST(Media, ShortReadsLeaveZeros) {
    TestMedia media(numbered(4));
    std::vector<uint8> buffer(4 * 512, 0xEE);
    media.seek(3);
    EXPECT_EQ(media.read(buffer.data(), 4), 1U);
    EXPECT_EQ(buffer[0], 4);
    EXPECT_EQ(std::accumulate(buffer.begin() + 512, buffer.end(), 0), 0);
    media.seek(uint64{1} << 62);
    buffer.assign(buffer.size(), 0xEE);
    EXPECT_EQ(media.read(buffer.data(), 4), 0U);
    EXPECT_EQ(std::accumulate(buffer.begin(), buffer.end(), 0), 0);
    EXPECT_EQ(media.unreadableSectors(), 0U) << "the end is no damage";
    EXPECT_EQ(TestMedia({}, 0).read(buffer.data(), 4), 0U);
}

TEST(Media, OneBadSectorCostsOneSector) {
    for (const bool asAWhole : {false, true}) {
        TestMedia media(numbered(200));
        media.failSector(5);
        if (asAWhole)
            media.failAsAWhole();
        std::vector<uint8> buffer(200 * 512, 0xEE);
        EXPECT_EQ(media.read(buffer.data(), 200), 199U);
        for (std::size_t sector = 0; sector < 200; ++sector)
            EXPECT_EQ(buffer[sector * 512], sector == 5 ? 0 : sector + 1);
        EXPECT_EQ(media.position(), 200U);
        EXPECT_EQ(media.unreadableSectors(), 1U);
        EXPECT_LE(media.requests(), asAWhole ? 20 : 3);
        const int asked = media.presenceAsked();
        media.seek(5);
        EXPECT_EQ(media.read(buffer.data(), 1), 0U);
        EXPECT_EQ(media.presenceAsked(), asked + 1);
    }
    TestMedia hesitant(numbered(64));
    hesitant.giveAtMost(1536);
    std::vector<uint8> buffer(64 * 512, 0xEE);
    EXPECT_EQ(hesitant.read(buffer.data(), 64), 64U);
    EXPECT_EQ(buffer.back(), 64);
}

TEST(Media, ADeadZoneCostsNoMoreRequestsThanGroupsOf64KiB) {
    constexpr std::size_t kSectors = 64 * 2048;
    constexpr std::size_t kDead = 5'000;
    constexpr std::size_t kDeadEnd = kDead + 50 * 2048;
    TestMedia media(numbered(kSectors));
    for (std::size_t sector = kDead; sector < kDeadEnd; ++sector)
        media.failSector(sector);
    std::size_t lost = 0;
    std::vector<uint8> record(1024);
    const ZCustomMedia::ReadWindow window(media);
    for (std::size_t sector = 0; sector < kSectors; sector += 2) {
        media.seek(sector);
        lost += 2 - media.read(record.data(), 2);
    }
    EXPECT_EQ(lost, kDeadEnd - kDead);
    EXPECT_EQ(media.unreadableSectors(), lost);
    EXPECT_LE(media.requests(), 50 * 16);
    EXPECT_LE(media.presenceAsked(), media.requests());
    // Nothing of it is asked for again.
    const int before = media.requests();
    media.seek(kDead + 10'000);
    EXPECT_EQ(media.read(record.data(), 2), 0U);
    EXPECT_EQ(media.requests(), before);
}

TEST(Media, UnpluggedIsNotAskedSectorBySector) {
    TestMedia media(numbered(1000));
    media.unplugAfter(0);
    std::vector<uint8> buffer(1000 * 512, 0xEE);
    EXPECT_EQ(media.read(buffer.data(), 1000), 0U);
    EXPECT_EQ(std::accumulate(buffer.begin(), buffer.end(), 0), 0);
    EXPECT_EQ(media.requests(), 1);
    EXPECT_EQ(media.unreadableSectors(), 1000U);
}

TEST(Media, WindowsServeAWalk) {
    const std::size_t sectors = 16384;
    for (const bool asAWhole : {false, true}) {
        TestMedia media(numbered(sectors));
        media.failSector(3000);
        if (asAWhole)
            media.failAsAWhole();
        std::vector<uint8> two(1024);
        std::size_t bad = 0;
        {
            const ZCustomMedia::ReadWindow window(media);
            for (std::size_t sector = 0; sector + 2 <= sectors; sector += 2) {
                if (sector % 64 == 32) { // A jump elsewhere does not throw the window away.
                    media.seek(sectors - 2);
                    media.read(two.data(), 2);
                }
                media.seek(sector);
                bad += 2 - media.read(two.data(), 2);
                EXPECT_EQ(two[512], sector + 1 == 3000 ? 0 : 1 + (sector + 1) % 250);
                EXPECT_EQ(two[0], sector == 3000 ? 0 : 1 + sector % 250);
            }
        }
        EXPECT_EQ(bad, 1U);
        // 8 windows, 256 jumps, and what lies around the bad sector by groups, or, in the one
        // that fails as a whole, by records.
        EXPECT_LE(media.requests(), 8 + 256 + (asAWhole ? 256 : 0) + 32) << asAWhole;
    }
}

TEST(Media, HookSeesEveryRequest) {
    TestMedia media(numbered(8));
    int seen = 0;
    media.setReadHook([&] {
        if (++seen == 2)
            throw std::runtime_error("stop");
    });
    std::vector<uint8> buffer(512);
    media.read(buffer.data(), 1);
    EXPECT_THROW(media.read(buffer.data(), 1), std::runtime_error);
}

TEST(Volume, Progress) {
    class Plain : public ZVolume {
    public:
        using ZVolume::ZVolume;

        bool init() override { return true; }

        void scan(ZFileTree*) override {}

        bool extract(const ZFileTreeNode&, ZStream*) override { return false; }
    };

    Plain volume(nullptr);
    EXPECT_TRUE(volume.setProgress(0.5));
    volume.setProgressCallback([](double value) { return value < 0.9; });
    EXPECT_FALSE(volume.setProgress(1.0));
    EXPECT_TRUE(volume.setProgress(-3));
    EXPECT_FALSE(volume.setProgress(std::nan("")));
    EXPECT_THROW(volume.setProgress(1.0001), std::runtime_error);
}

} // namespace
} // namespace kova::test
