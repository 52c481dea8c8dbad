#include "tests/fat/FatScan.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace kova::test {
namespace {

/// Text without a pattern that a misplaced cluster would fit into.
std::string textOf(std::size_t length) {
    std::string text;
    for (std::size_t i = 0; text.size() < length; ++i)
        text += std::to_string(i) + " ";
    text.resize(length);
    return text;
}

TEST(FatExtract, ReadsConsecutiveClustersWhateverTheChain) {
    for (const std::size_t length : {1U, 511U, 512U, 513U, 100000U, 3000000U}) {
        FatBuilder volume({.clusters = 8000});
        const std::string text = textOf(length);
        const uint32 cluster = volume.addFile(0, named("FILE"), text);
        volume.setFat(cluster, volume.endMark());
        FatScan scan(volume);
        EXPECT_EQ(scan.extract(fileAt(cluster, static_cast<int64>(length))), text);
    }
}

TEST(FatExtract, KeepsWhatTheStreamHeld) {
    FatBuilder volume;
    const std::string text = textOf(700);
    volume.addFile(0, named("FILE", true), text);
    FatScan scan(volume);
    const ZFileTreeNode& node = scan.named(L"FILE");

    ZMemoryStream out;
    out.write("before", 6);
    ASSERT_TRUE(scan.volume.extract(node, &out));
    EXPECT_EQ(std::string(out.bytes().begin(), out.bytes().end()), "before" + text);

    // The data goes to the position, yet the size grows by the file's.
    out.seek(0, 0);
    ASSERT_TRUE(scan.volume.extract(node, &out));
    EXPECT_EQ(out.size(), 6 + 2 * 700);
    EXPECT_EQ(std::string(out.bytes().begin(), out.bytes().begin() + 700), text);
}

TEST(FatExtract, StopsAtTheEndOfTheVolumeAndOfTheMedia) {
    FatBuilder volume;
    const uint32 last = volume.clusterCount();
    const auto deliveredFrom = [&](FatScan& scan, uint32 cluster) {
        return scan.extract(fileAt(cluster, 100000)).size();
    };
    FatScan whole(volume);
    EXPECT_EQ(deliveredFrom(whole, last - 2), 3 * volume.clusterBytes());
    EXPECT_EQ(deliveredFrom(whole, last), volume.clusterBytes());
    EXPECT_EQ(deliveredFrom(whole, last + 1), 0U);
    EXPECT_EQ(deliveredFrom(whole, 0xFFFFFFFF), 0U);
    // The cut leaves one cluster and one byte, which is padded to a whole sector.
    std::vector<uint8> cut = volume.bytes();
    cut.resize(volume.offsetOf(last - 50) + volume.clusterBytes() + 1);
    FatScan truncated(cut);
    EXPECT_EQ(deliveredFrom(truncated, last - 50), 2 * volume.clusterBytes());
    EXPECT_EQ(deliveredFrom(truncated, last - 48), 0U);
}

TEST(FatExtract, LeavesZerosWhereTheMediaFails) {
    FatBuilder volume;
    constexpr std::size_t kSector = 512;
    std::string text = textOf(5 * kSector);
    const uint32 cluster = volume.addFile(0, named("FILE", true), text);
    FatScan scan(volume);
    scan.media.failSector(volume.offsetOf(cluster + 2) / kSector);
    text.replace(2 * kSector, kSector, kSector, '\0');
    EXPECT_EQ(scan.extract(scan.named(L"FILE")), text);
}

TEST(FatExtract, PassesOnWhatTheStreamThrows) {
    class FullStream : public ZMemoryStream {
        uint64 write(const void*, uint32) override { throw std::runtime_error("full"); }
    };

    FatBuilder volume;
    volume.addFile(0, named("FILE", true), "text");
    FatScan scan(volume);
    FullStream out;
    EXPECT_THROW(scan.volume.extract(scan.named(L"FILE"), &out), std::runtime_error);
}

} // namespace
} // namespace kova::test
