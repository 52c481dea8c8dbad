#include "format/PartitionTable.h"

#include "tests/platform/Tools.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

namespace format::test {
namespace {

using platform::test::contentOf;
using platform::test::forShell;
using platform::test::makeFat;
using platform::test::makeFile;
using platform::test::run;

constexpr std::uint64_t kMiB = 1024ULL * 1024;

/// A disk image in memory that is made by the system's own partitioning tools.
class PartitionTableTest : public testing::Test {
protected:
    void partition(const std::string& script) {
        makeFile(path_, 64 * kMiB);
        run("printf '" + script + "' | sfdisk -q " + forShell(path_));
        bytes_ = contentOf(path_);
    }

    PartitionTable read() const {
        const ReadDisk reader = [this](std::uint64_t offset, std::span<std::uint8_t> out) {
            if (offset > bytes_.size() || out.size() > bytes_.size() - offset)
                return false;
            bytes_.copy(reinterpret_cast<char*>(out.data()), out.size(), offset);
            return true;
        };
        return readPartitionTable(reader, bytes_.size(), 512);
    }

    void put(std::size_t offset, const std::string& bytes) {
        bytes_.replace(offset, bytes.size(), bytes);
    }

    kova::test::TempDir dir_;
    std::filesystem::path path_ = dir_ / "disk";
    std::string bytes_;
};

/// "number:first MiB+MiB" of every partition.
std::string shown(const PartitionTable& table) {
    std::string text;
    for (const Partition& partition : table.partitions)
        text += std::to_string(partition.number) + ':' + std::to_string(partition.offset / kMiB) +
                '+' + std::to_string(partition.length / kMiB) + ' ';
    return text;
}

TEST_F(PartitionTableTest, PrimaryAndLogicalPartitionsAreNumberedAsTheSystemDoes) {
    partition("label: dos\\n1:start=1M,size=4M,type=7\\n2:start=5M,size=20M,type=5\\n"
              "3:start=40M,size=8M,type=b\\n5:start=6M,size=4M,type=7\\n"
              "6:start=11M,size=4M,type=7\\n7:start=16M,size=9M,type=7\\n");
    const PartitionTable table = read();
    EXPECT_EQ(table.kind, TableKind::Mbr);
    EXPECT_EQ(shown(table), "1:1+4 3:40+8 5:6+4 6:11+4 7:16+9 ");

    // Of a disk that ends earlier, what is there.
    bytes_.resize(static_cast<std::size_t>(20 * kMiB + 100));
    EXPECT_EQ(shown(read()), "1:1+4 5:6+4 6:11+4 7:16+4 ");
    EXPECT_EQ(read().partitions.back().length, 4 * kMiB + 100);
}

TEST_F(PartitionTableTest, AChainThatBitesItsTailEnds) {
    partition("label: dos\\n1:start=1M,size=20M,type=5\\n5:start=2M,size=4M,type=7\\n"
              "6:start=7M,size=4M,type=7\\n");
    ASSERT_EQ(read().partitions.size(), 2U);
    constexpr std::size_t kLink = 446 + 16;
    const std::size_t second =
        static_cast<std::size_t>(read().partitions[1].offset / kMiB) * kMiB - kMiB;
    ASSERT_EQ(bytes_.substr(second + 510, 2), "\x55\xAA");
    const std::string toItself = bytes_.substr(static_cast<std::size_t>(kMiB) + kLink, 16);
    put(second + kLink, toItself);
    EXPECT_EQ(shown(read()), "5:2+4 6:7+4 ");
    put(static_cast<std::size_t>(kMiB) + kLink + 8, std::string("\xFF\xFF\xFF\xFF", 4));
    EXPECT_EQ(shown(read()), "5:2+4 "); // leads out of the disk
}

TEST_F(PartitionTableTest, AGptIsReadFromEitherEnd) {
    partition("label: gpt\\n1:start=1M,size=4M\\n2:start=8M,size=16M\\n7:start=40M,size=8M\\n");
    const std::string expected = "1:1+4 2:8+16 7:40+8 ";
    EXPECT_EQ(read().kind, TableKind::Gpt);
    const std::string whole = bytes_;
    const std::pair<std::size_t, std::string> damages[] = {
        {512 + 80, "\x7F"},  // the header's checksum now is wrong, and its count too small
        {1024 + 32, "\x11"}, // an entry of the first copy
        {512, std::string(512, '\0')},
        {0, std::string(1024, '\0')}, // and no MBR at all
    };
    for (const auto& [offset, bytes] : damages) {
        SCOPED_TRACE(offset);
        bytes_ = whole;
        put(offset, bytes);
        EXPECT_EQ(shown(read()), expected);
    }
    // Cut at the end and damaged at the start: the best that is left.
    bytes_ = whole.substr(0, static_cast<std::size_t>(50 * kMiB));
    put(512 + 56, "damaged GUID");
    EXPECT_EQ(shown(read()), expected);
}

TEST_F(PartitionTableTest, AGptWithNonsenseInItIsNoGpt) {
    partition("label: gpt\\n1M,4M\\n");
    bytes_.resize(static_cast<std::size_t>(32 * kMiB)); // without the copy
    const std::string whole = bytes_;
    const std::pair<std::size_t, std::string> damages[] = {
        {512 + 80, "\xFF\xFF\xFF\xFF"},                     // entries without end
        {512 + 84, std::string(4, '\0')},                   // entries of no size
        {512 + 84, "\xFF\xFF\xFF\xFF"},                     // or of all
        {512 + 72, "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"},     // far away
        {512 + 72, std::string("\xFF\xFF\0\0\0\0\0\0", 8)}, // at the very end
        {512, "EFI party"},
    };
    for (const auto& [offset, bytes] : damages) {
        SCOPED_TRACE(offset);
        bytes_ = whole;
        put(offset, bytes);
        EXPECT_EQ(shown(read()), "");
    }
}

TEST_F(PartitionTableTest, WhatIsNoTableIsNone) {
    bytes_.resize(static_cast<std::size_t>(kMiB));
    put(510, "\x55\xAA");
    EXPECT_EQ(read().kind, TableKind::None); // no entries
    put(446, std::string("\x41\x00\x00\x00\x07\x00\x00\x00\x01\x00\x00\x00\x01\x00\x00\x00", 16));
    EXPECT_EQ(read().kind, TableKind::None); // neither bootable nor not
    bytes_.resize(100);
    EXPECT_EQ(read().kind, TableKind::None);

    // A volume over a former GPT disk.
    partition("label: gpt\\n1M,4M\\n");
    const std::string gpt = bytes_;
    makeFat(path_, 64 * kMiB, "-F 32");
    bytes_ = contentOf(path_);
    put(512, gpt.substr(512, 33UL * 512));
    EXPECT_EQ(read().kind, TableKind::None);
}

} // namespace
} // namespace format::test
