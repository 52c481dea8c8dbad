#include "platform/linux/BlockDevices.h"

#include "platform/linux/Mounts.h"
#include "tests/support/TempDir.h"

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
    /// It is made of the devices in the folders `slaves`.
    void add(const std::string& path, const std::string& number, Files files = {},
             const std::vector<std::string>& slaves = {}) {
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
        fs::create_directories(folder / "slaves");
        for (const std::string& slave : slaves)
            fs::create_directory_symlink(root_ / "devices" / slave,
                                         folder / "slaves" / fs::path(slave).filename());
    }

    /// Adds partitions of the disk at `path`; their numbers follow the disk's.
    void addPartitions(const std::string& path, const std::vector<int>& numbers) {
        for (const int number : numbers)
            add(path + '/' + fs::path(path).filename().string() + std::to_string(number),
                "8:" + std::to_string(number), {{"partition", std::to_string(number)}});
    }

    kova::test::TempDir dir_;
    fs::path root_ = dir_.path();
    BlockDevices devices_{root_, root_ / "udev"};
};

constexpr const char* kDisk = "pci0000:00/0000:00:17.0/ata1/host0/target0:0:0/0:0:0:0/block/sda";
constexpr const char* kStick = "pci0000:00/0000:00:14.0/usb2/2-1/2-1:1.0/host6/block/sdb";

TEST_F(BlockDevicesTest, ListsWhatCouldHoldAFileSystemInTheOrderPeopleExpect) {
    add(kDisk, "8:0", {{"removable", "0"}});
    addPartitions(kDisk, {1, 2, 10});
    add(kStick, "8:16", // formatted as a whole
        {{"removable", "0"},
         {"size", "204800"},
         {"queue/logical_block_size", "4096"},
         {"diskseq", "42"},
         {"stat", "     12        1      600       20        7        1      333  4  0  24  24"}});
    add("pci0000:00/reader/block/sdc", "8:32", {{"removable", "1"}});
    add("platform/mmc0/mmc_host/mmc0/mmc0:0001/block/mmcblk0", "179:0", {{"device/type", "MMC"}});
    add("platform/mmc1/mmc_host/mmc1/mmc1:b368/block/mmcblk1", "179:8", {{"device/type", "SD"}});
    add("pci0000:00/ata2/block/sr0", "11:0", {{"removable", "1"}});
    add("virtual/block/loop0", "7:0", {{"size", "0"}}); // nothing attached
    add("virtual/block/dm-0", "254:0", {{"dm/name", "luks-1234"}, {"dm/suspended", "0"}}, {kStick});
    add("virtual/block/dm-1", "254:1", {{"dm/name", "waiting"}, {"dm/suspended", "1"}});
    add("virtual/nvme-fabrics/block/nvme0c0n1", "259:7", {{"hidden", "1"}});
    std::string listed;
    for (const BlockDevice& device : devices_.volumes())
        listed += device.name + (device.kind == DriveKind::Removable ? "* " : " ");
    EXPECT_EQ(listed, "luks-1234* mmcblk0 mmcblk1* sda1 sda2 sda10 sdb* sdc* sr0 ");
    EXPECT_EQ(devices_.find(makedev(11, 0)).value().kind, DriveKind::Other); // the CD in sr0
    const BlockDevice stick = devices_.find(makedev(8, 16)).value();
    EXPECT_EQ(stick.sizeBytes, 204800U * 512);
    EXPECT_EQ(stick.sectorSize, 4096U);
    EXPECT_EQ(stick.diskSequence, 42U);
    EXPECT_EQ(stick.writes, 7U);
}

TEST_F(BlockDevicesTest, WritingReachesWhatSharesSectorsAndNothingElse) {
    add(kDisk, "8:0");
    addPartitions(kDisk, {1, 2, 3});
    // An encrypted volume on one partition, two logical volumes on another.
    add("virtual/block/dm-0", "254:0", {}, {std::string(kDisk) + "/sda2"});
    add("virtual/block/dm-1", "254:1", {}, {std::string(kDisk) + "/sda3"});
    add("virtual/block/dm-2", "254:2", {}, {std::string(kDisk) + "/sda3"});
    // Two loop devices on one file, partitions on the first.
    const std::string image = (root_ / "an image").string();
    std::ofstream(image) << "image";
    add("virtual/block/loop0", "7:0", {{"loop/backing_file", image}});
    add("virtual/block/loop0/loop0p1", "259:0", {{"partition", "1"}});
    add("virtual/block/loop0/loop0p2", "259:1", {{"partition", "2"}});
    add("virtual/block/loop1", "7:1", {{"loop/backing_file", image}});
    // A file system on two disks.
    add(kStick, "8:16");
    add("virtual/block/sdc", "8:32");
    const fs::path members = root_ / "fs/btrfs/8f5c/devices";
    fs::create_directories(members);
    fs::create_directory_symlink(root_ / "devices" / kStick, members / "sdb");
    fs::create_directory_symlink(root_ / "devices/virtual/block/sdc", members / "sdc");

    const dev_t disk = makedev(8, 0);
    const dev_t first = makedev(8, 1);
    const dev_t second = makedev(8, 2);
    const dev_t encrypted = makedev(254, 0);

    using Pair = std::pair<dev_t, dev_t>; // what is written to and what is read
    const auto reaches = [this](const Pair& pair) {
        return reachesDevice(writeTargets(pair.first, devices_), pair.second, devices_);
    };
    for (const Pair& pair :
         {Pair{first, first}, Pair{first, disk}, Pair{disk, first}, Pair{encrypted, second},
          Pair{encrypted, disk}, Pair{second, encrypted}, Pair{disk, encrypted},
          Pair{makedev(259, 0), makedev(7, 0)}, Pair{makedev(259, 0), makedev(7, 1)},
          Pair{makedev(8, 16), makedev(8, 32)}, Pair{makedev(8, 32), makedev(8, 16)}})
        EXPECT_TRUE(reaches(pair)) << std::hex << pair.first << " to " << pair.second;
    for (const Pair& pair :
         {Pair{first, second}, Pair{encrypted, first}, Pair{makedev(254, 1), makedev(254, 2)},
          Pair{makedev(259, 0), makedev(259, 1)}, Pair{makedev(7, 0), first}})
        EXPECT_FALSE(reaches(pair)) << std::hex << pair.first << " to " << pair.second;
}

} // namespace
} // namespace platform::test
