#include "platform/linux/BlockDevices.h"

#include "platform/linux/Mounts.h"
#include "tests/support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <map>

#include <sys/sysmacros.h>

namespace platform::test {
namespace {

namespace fs = std::filesystem;

/// A copy of what sysfs shows on a machine.
class BlockDevicesTest : public testing::Test {
protected:
    using Files = std::map<std::string, std::string>;

    /// Adds a device whose folder is `path` below devices/; its kernel name is the last component.
    void add(const std::string& path, const std::string& number, Files files = {}) {
        const fs::path folder = root_ / "devices" / path;
        const std::string name = folder.filename().string();
        files.emplace("dev", number);
        files.emplace("size", "2048");
        files.emplace("uevent", "MAJOR=1\nDEVNAME=" + name + "\nDEVTYPE=disk");
        for (const auto& [file, content] : files) {
            fs::create_directories((folder / file).parent_path());
            std::ofstream(folder / file) << content << '\n';
        }
        fs::create_directories(root_ / "class/block");
        fs::create_directories(root_ / "dev/block");
        fs::create_directory_symlink(folder, root_ / "class/block" / name);
        fs::create_directory_symlink(folder, root_ / "dev/block" / number);
    }

    void addSlave(const std::string& path, const std::string& slavePath) {
        const fs::path slaves = root_ / "devices" / path / "slaves";
        fs::create_directories(slaves);
        fs::create_directory_symlink(root_ / "devices" / slavePath,
                                     slaves / fs::path(slavePath).filename());
    }

    [[nodiscard]] BlockDevices devices() const { return BlockDevices(root_, root_ / "udev"); }

    [[nodiscard]] std::vector<std::string> listed() const {
        std::vector<std::string> names;
        for (const BlockDevice& device : devices().volumes())
            names.push_back(device.name);
        return names;
    }

    kova::test::TempDir dir_;
    fs::path root_ = dir_.path();
};

constexpr const char* kDisk = "pci0000:00/0000:00:17.0/ata1/host0/target0:0:0/0:0:0:0/block/sda";
constexpr const char* kStick = "pci0000:00/0000:00:14.0/usb2/2-1/2-1:1.0/host6/block/sdb";

TEST_F(BlockDevicesTest, ListsWhatCouldHoldAFileSystemInTheOrderPeopleExpect) {
    add(kDisk, "8:0");
    for (const int number : {1, 2, 10})
        add(std::string(kDisk) + "/sda" + std::to_string(number), "8:" + std::to_string(number),
            {{"partition", std::to_string(number)}});
    add(kStick, "8:16");                                // formatted as a whole
    add("virtual/block/loop0", "7:0", {{"size", "0"}}); // nothing attached
    add("virtual/block/loop1", "7:1");
    add("virtual/block/dm-0", "254:0", {{"dm/name", "luks-1234"}, {"dm/suspended", "0"}});
    add("virtual/block/dm-1", "254:1", {{"dm/name", "waiting"}, {"dm/suspended", "1"}});
    add("virtual/nvme-fabrics/block/nvme0c0n1", "259:7", {{"hidden", "1"}});
    add("pci0000:00/ccis/block/cciss!c0d0", "104:0", {{"uevent", "DEVNAME=cciss/c0d0"}});
    EXPECT_THAT(listed(), testing::ElementsAre("cciss/c0d0", "loop1", "luks-1234", "sda1", "sda2",
                                               "sda10", "sdb"));
    EXPECT_TRUE(BlockDevices("/nowhere", "/nowhere").volumes().empty());
}

TEST_F(BlockDevicesTest, TellsSizeSectorsMediumAndWrites) {
    add(kStick, "8:16",
        {{"queue/logical_block_size", "4096"},
         {"diskseq", "42"},
         {"stat", "     12        1      600       20        7        1      333  4  0  24  24"}});
    add(std::string(kStick) + "/sdb1", "8:17", {{"partition", "1"}, {"size", "204800"}});
    const std::optional<BlockDevice> found = devices().find(makedev(8, 17));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->node, "/dev/sdb1");
    EXPECT_EQ(found->sizeBytes, 204800U * 512);
    EXPECT_EQ(found->sectorSize, 4096U);
    EXPECT_EQ(found->diskSequence, 42U);
    EXPECT_EQ(found->writes, 7U);
    EXPECT_EQ(devices().diskOf(makedev(8, 17)), makedev(8, 16));
    EXPECT_FALSE(devices().diskOf(makedev(8, 16)));
    EXPECT_FALSE(devices().find(makedev(8, 99)));
    EXPECT_FALSE(devices().udevRecord(makedev(8, 17)));
}

TEST_F(BlockDevicesTest, UsbSticksAndCardsAreRemovable) {
    add(kDisk, "8:0", {{"removable", "0"}});
    add(std::string(kDisk) + "/sda1", "8:1", {{"partition", "1"}});
    add(kStick, "8:16", {{"removable", "0"}}); // as USB disks say
    add(std::string(kStick) + "/sdb1", "8:17", {{"partition", "1"}});
    add("pci0000:00/reader/block/sdc", "8:32", {{"removable", "1"}});
    add("platform/mmc0/mmc_host/mmc0/mmc0:0001/block/mmcblk0", "179:0", {{"device/type", "MMC"}});
    add("platform/mmc1/mmc_host/mmc1/mmc1:b368/block/mmcblk1", "179:8", {{"device/type", "SD"}});
    add("pci0000:00/ata2/block/sr0", "11:0", {{"removable", "1"}});
    add("platform/floppy.0/block/fd0", "2:0", {{"removable", "1"}});
    add("virtual/block/dm-0", "254:0");
    addSlave("virtual/block/dm-0", std::string(kStick) + "/sdb1");
    add("virtual/block/dm-1", "254:1");
    addSlave("virtual/block/dm-1", std::string(kDisk) + "/sda1");
    const std::map<dev_t, DriveKind> expected = {
        {makedev(8, 1), DriveKind::Fixed},       {makedev(8, 17), DriveKind::Removable},
        {makedev(8, 32), DriveKind::Removable},  {makedev(179, 0), DriveKind::Fixed},
        {makedev(179, 8), DriveKind::Removable}, {makedev(11, 0), DriveKind::Other},
        {makedev(2, 0), DriveKind::Other},       {makedev(254, 0), DriveKind::Removable},
        {makedev(254, 1), DriveKind::Fixed},
    };
    for (const auto& [number, kind] : expected) {
        const std::optional<BlockDevice> device = devices().find(number);
        ASSERT_TRUE(device);
        EXPECT_EQ(device->kind, kind) << device->name;
    }
    EXPECT_THAT(devices().slaves(makedev(254, 0)), testing::ElementsAre(makedev(8, 17)));
}

TEST_F(BlockDevicesTest, PartitionsOfALoopDeviceReadFromItsFile) {
    add("virtual/block/loop0", "7:0", {{"loop/backing_file", "/images/a disk.img"}});
    add("virtual/block/loop0/loop0p1", "259:0", {{"partition", "1"}});
    EXPECT_EQ(devices().backingFile(makedev(7, 0)), "/images/a disk.img");
    EXPECT_EQ(devices().backingFile(makedev(259, 0)), "/images/a disk.img");
    EXPECT_EQ(devices().backingFile(makedev(8, 0)), "");
}

TEST_F(BlockDevicesTest, WritingReachesWhatSharesSectorsAndNothingElse) {
    add(kDisk, "8:0");
    for (const int number : {1, 2, 3})
        add(std::string(kDisk) + "/sda" + std::to_string(number), "8:" + std::to_string(number),
            {{"partition", std::to_string(number)}});
    // An encrypted volume on one partition, two logical volumes on another.
    for (const int number : {0, 1, 2}) {
        const std::string path = "virtual/block/dm-" + std::to_string(number);
        add(path, "254:" + std::to_string(number));
        addSlave(path, std::string(kDisk) + (number == 0 ? "/sda2" : "/sda3"));
    }
    // Two loop devices on one file, partitions on the first.
    const std::string image = (root_ / "image").string();
    std::ofstream(image) << "image";
    add("virtual/block/loop0", "7:0", {{"loop/backing_file", image}});
    add("virtual/block/loop0/loop0p1", "259:0", {{"partition", "1"}});
    add("virtual/block/loop0/loop0p2", "259:1", {{"partition", "2"}});
    add("virtual/block/loop1", "7:1", {{"loop/backing_file", image}});

    const dev_t disk = makedev(8, 0);
    const dev_t first = makedev(8, 1);
    const dev_t encrypted = makedev(254, 0);
    const auto reaches = [this](dev_t written, dev_t drive) {
        return reachesDevice(writeTargets(written, devices()), drive, devices());
    };
    EXPECT_TRUE(reaches(first, first));
    EXPECT_TRUE(reaches(first, disk));
    EXPECT_TRUE(reaches(disk, first));
    EXPECT_FALSE(reaches(first, makedev(8, 2)));
    EXPECT_TRUE(reaches(encrypted, makedev(8, 2)));
    EXPECT_TRUE(reaches(encrypted, disk));
    EXPECT_TRUE(reaches(makedev(8, 2), encrypted));
    EXPECT_TRUE(reaches(disk, encrypted));
    EXPECT_FALSE(reaches(encrypted, first));
    EXPECT_FALSE(reaches(makedev(254, 1), makedev(254, 2)));
    EXPECT_FALSE(reaches(makedev(259, 0), makedev(259, 1)));
    EXPECT_TRUE(reaches(makedev(259, 0), makedev(7, 0)));
    EXPECT_TRUE(reaches(makedev(259, 0), makedev(7, 1)));
    EXPECT_FALSE(reaches(makedev(7, 0), first));
}

} // namespace
} // namespace platform::test
