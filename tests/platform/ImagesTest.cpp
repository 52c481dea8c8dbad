#include "platform/Device.h"
#include "platform/Drives.h"
#include "tests/platform/Tools.h"
#include "tests/support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace platform::test {
namespace {

constexpr std::uint64_t kMiB = 1024ULL * 1024;

std::wstring devicePath(char letter) {
    return L"\\\\.\\" + std::wstring(1, static_cast<wchar_t>(letter)) + L":";
}

std::string readThrough(Device& device, std::uint64_t position, std::size_t count) {
    std::string bytes(count, '\0');
    const std::int64_t got = device.readAt(position, bytes.data(), count);
    bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    std::string inMemory(count, '\0');
    if (device.readAtOnce(position, inMemory.data(), count)) {
        EXPECT_EQ(inMemory, bytes);
    }
    return bytes;
}

class ImagesTest : public testing::Test {
protected:
    AttachResult attach(const std::string& name) const { return attachImage(wide(dir_ / name)); }

    /// The only drive of an image that is changed afterwards; what is attached need not take that.
    Drive attachAsIs(const std::string& name) {
        const std::string copy = name + " " + std::to_string(++copies_);
        std::filesystem::copy_file(dir_ / name, dir_ / copy);
        const AttachResult result = attach(copy);
        EXPECT_EQ(result.drives.size(), 1U);
        return result.drives.at(0);
    }

    /// A disk of 64 MiB partitioned by sfdisk's `script`.
    void partition(const std::string& name, const std::string& script) const {
        makeFile(dir_ / name, 64 * kMiB);
        run("printf '" + script + "' | sfdisk -q " + forShell(dir_ / name));
    }

    kova::test::TempDir dir_;
    int copies_ = 0;
};

TEST_F(ImagesTest, VolumesWithoutATableAreTheirOwnDrive) {
    const struct {
        const char* name;
        const char* command; // formats the file whose path is put behind it
        std::uint64_t mebibytes;
        const char* fileSystem;
        std::uint32_t sectorSize;
        const wchar_t* label;
    } cases[] = {
        {"ntfs4k", "mkntfs -q -F -Q -s 4096 -L '\xE6\x96\x87'", 8, "NTFS", 4096, L"\u6587"},
        {"fat16", "mkfs.fat -F 16 -n CARD", 16, "FAT", 512, L"CARD"},
        {"fat32", "mkfs.fat -F 32 -n 'MY STICK'", 40, "FAT32", 512, L"MY STICK"},
        {"fat32-4k", "mkfs.fat -F 32 -S 4096", 300, "FAT32", 4096, L"fat32-4k"},
        {"exfat", "mkfs.exfat -L Photos", 8, "exFAT", 512, L"Photos"},
        {"ext4", "mkfs.ext4 -q -F", 8, "", 512, L"ext4"},
    };

    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        makeFile(dir_ / c.name, c.mebibytes * kMiB);
        run(std::string(c.command) + " " + forShell(dir_ / c.name));
        const AttachResult result = attach(c.name);
        EXPECT_EQ(result.error, L"");
        ASSERT_EQ(result.drives.size(), 1U);
        const Drive& drive = result.drives[0];
        EXPECT_EQ(drive.fileSystem, c.fileSystem);
        EXPECT_EQ(drive.sectorSize, c.sectorSize);
        EXPECT_EQ(drive.volumeName, kImagesHaveLabels ? c.label : wide(c.name));
        EXPECT_EQ(drive.sizeBytes, c.mebibytes * kMiB);
        EXPECT_EQ(drive.partition, 0);
    }
}

TEST_F(ImagesTest, EveryPartitionWithAKnownVolumeIsADriveWhateverItsTypeSays) {
    makeNtfs(dir_ / "ntfs", 8 * kMiB, "-L first");
    makeFat(dir_ / "fat", 6 * kMiB, "-n LAST");
    makeFile(dir_ / "exfat", 8 * kMiB);
    run("mkfs.exfat " + forShell(dir_ / "exfat"));
    makeNtfs(dir_ / "damaged", 8 * kMiB, "-s 1024");
    overwrite(dir_ / "damaged", 0, std::vector<std::uint8_t>(8192, 0xEE));
    partition("disk", "label: dos\\n1:start=1M,size=8M,type=83\\n2:start=10M,size=4M,type=7\\n"
                      "3:start=20M,size=30M,type=5\\n5:start=21M,size=6M,type=7\\n"
                      "6:start=28M,size=8M,type=7\\n7:start=37M,size=8M,type=7\\n");
    copyInto(dir_ / "disk", 1 * kMiB, dir_ / "ntfs");
    copyInto(dir_ / "disk", 21 * kMiB, dir_ / "fat");
    copyInto(dir_ / "disk", 28 * kMiB, dir_ / "exfat");
    copyInto(dir_ / "disk", 37 * kMiB, dir_ / "damaged");
    const AttachResult result = attach("disk");
    ASSERT_EQ(result.drives.size(), 4U) << testing::PrintToString(result.error);
    EXPECT_EQ(result.drives[0].partition, 1);
    EXPECT_EQ(result.drives[0].volumeName, kImagesHaveLabels ? L"first" : L"disk 1");
    EXPECT_EQ(result.drives[1].partition, 5);
    EXPECT_EQ(result.drives[1].volumeName, kImagesHaveLabels ? L"LAST" : L"disk 5");
    EXPECT_EQ(result.drives[2].fileSystem, "exFAT");
    // Its boot sector is lost, but for the copy at its end.
    EXPECT_EQ(result.drives[3].partition, 7);
    EXPECT_EQ(result.drives[3].fileSystem, "");
    EXPECT_EQ(result.drives[3].sectorSize, 1024U);

    // The same without the table: they are found by what describes them.
    std::filesystem::copy_file(dir_ / "disk", dir_ / "lost");
    overwrite(dir_ / "lost", 0, std::vector<std::uint8_t>(512));
    const AttachResult lost = attach("lost");
    EXPECT_TRUE(lost.tableIsLost);
    ASSERT_EQ(lost.drives.size(), 4U);
    for (std::size_t i = 0; i < lost.drives.size(); ++i) {
        EXPECT_EQ(lost.drives[i].partition, static_cast<int>(i) + 1);
        EXPECT_EQ(lost.drives[i].fileSystem, result.drives[i].fileSystem);
        EXPECT_EQ(lost.drives[i].sizeBytes, result.drives[i].sizeBytes);
    }

    // A partition is read from its start to its end and no further.
    Device device;
    ASSERT_TRUE(device.open(devicePath(result.drives[1].letter)));
    EXPECT_EQ(device.size(), 6 * kMiB);
    EXPECT_EQ(readThrough(device, 0, 4096), contentOf(dir_ / "fat").substr(0, 4096));
    EXPECT_EQ(readThrough(device, 6 * kMiB - 10, 4096).size(), 10U);
    EXPECT_EQ(readThrough(device, 6 * kMiB, 1).size(), 0U);
    EXPECT_EQ(device.readAt(~std::uint64_t{0}, nullptr, 1), 0);
    device.close();
    EXPECT_EQ(device.readAt(0, nullptr, 1), -1);
}

TEST_F(ImagesTest, DisksWithSectorsOf4096BytesAreUnderstood) {
    makeNtfs(dir_ / "ntfs", 8 * kMiB, "-s 4096");
    for (const std::string label : {"o", "g"}) { // fdisk's commands for a new MBR and a new GPT
        SCOPED_TRACE(label);
        makeFile(dir_ / label, 64 * kMiB);
        run("printf '" + label + "\\nn\\n" + (label == "o" ? "p\\n" : "") +
            "1\\n512\\n+2047\\nw\\n' | fdisk -b 4096 " + forShell(dir_ / label));
        copyInto(dir_ / label, 2 * kMiB, dir_ / "ntfs");
        const AttachResult result = attach(label);
        ASSERT_EQ(result.drives.size(), 1U);
        EXPECT_EQ(result.drives[0].sectorSize, 4096U);
        EXPECT_EQ(result.drives[0].sizeBytes, 8 * kMiB);
        EXPECT_EQ(result.drives[0].volumeName, wide(label + " 1"));
    }
}

TEST_F(ImagesTest, ABootSectorIsNotTakenForATableNorATableForABootSector) {
    // A disk that was formatted as one volume and then partitioned, by a tool that leaves the
    // first bytes alone.
    makeFat(dir_ / "fat", 8 * kMiB, "-n INSIDE");
    makeFat(dir_ / "disk", 64 * kMiB, "-F 32 -n OUTSIDE");
    EXPECT_EQ(attachAsIs("disk").fileSystem, "FAT32");
    overwrite(dir_ / "disk", 446, {0x80, 0, 0, 0, 0x0C, 0, 0, 0, 0x00, 0x80, 0, 0, 0, 0x40, 0, 0});
    EXPECT_EQ(attachAsIs("disk").fileSystem, "FAT32"); // nothing where it points
    copyInto(dir_ / "disk", 16 * kMiB, dir_ / "fat");
    EXPECT_EQ(attachAsIs("disk").fileSystem, "FAT");
}

TEST_F(ImagesTest, ADamagedVolumeIsStillRecognised) {
    makeNtfs(dir_ / "ntfs", 8 * kMiB);
    makeFat(dir_ / "fat", 8 * kMiB);
    for (const char* const name : {"ntfs", "fat"}) {
        overwrite(dir_ / name, 510, {0, 0});
        overwrite(dir_ / name, 512, std::vector<std::uint8_t>(20480, 0xEE)); // tables and MFT
    }
    overwrite(dir_ / "ntfs", 11, {0xFF, 0xFF}); // bytes per sector
    EXPECT_EQ(attach("ntfs").drives.at(0).fileSystem, "NTFS");
    EXPECT_EQ(attach("ntfs").drives.at(0).sectorSize, 512U);
    EXPECT_EQ(attachAsIs("fat").fileSystem, "FAT");
    overwrite(dir_ / "fat", 13, {3}); // sectors per cluster
    EXPECT_EQ(attachAsIs("fat").fileSystem, "");
}

TEST_F(ImagesTest, TheSameFileHasTheSameLetterByAnyPath) {
    makeNtfs(dir_ / "ntfs", 8 * kMiB);
    run("ln -s ntfs " + forShell(dir_ / "link"));
    const char letter = attach("ntfs").drives.at(0).letter;
    const auto small = static_cast<char>(letter - 'A' + 'a');
    EXPECT_EQ(fileSystemName(small), "NTFS");
    EXPECT_TRUE(isImageFile(wide(dir_ / "ntfs"), small));
    EXPECT_EQ(attach("link").drives.at(0).letter, letter);
    EXPECT_TRUE(isImageFile(wide(dir_ / "link"), letter));
    makeFile(dir_ / "other", kMiB);
    EXPECT_NE(attach("other").drives.at(0).letter, letter);
    EXPECT_FALSE(isImageFile(wide(dir_ / "other"), letter));
    EXPECT_FALSE(isImageFile(wide(dir_ / "missing"), letter));
    // Another file in the place of an attached one is not read for it.
    std::error_code refused;
    std::filesystem::rename(dir_ / "other", dir_ / "ntfs", refused);
    if (refused)
        return; // Windows leaves what is attached in its place.
    EXPECT_FALSE(findDrive(letter));
    Device device;
    EXPECT_FALSE(device.open(devicePath(letter)));
    EXPECT_EQ(device.failure().kind, Error::DeviceGone);
}

TEST_F(ImagesTest, WhatHoldsNoVolumeIsNotAttached) {
    makeFile(dir_ / "empty", 0);
    EXPECT_EQ(attach("empty").error, L"The image is empty.");
    partition("ext4 only", "label: dos\\n1M,8M,83\\n");
    const AttachResult result = attach("ext4 only");
    EXPECT_EQ(result.error, L"None of the partitions in this image holds NTFS, FAT or exFAT.");
    EXPECT_TRUE(result.drives.empty());
    EXPECT_FALSE(result.accessDenied);
}

} // namespace
} // namespace platform::test
