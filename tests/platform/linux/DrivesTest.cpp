// Drives and mounts of this machine. What needs loop devices or FUSE is skipped without them.

#include "platform/Drives.h"

#include "platform/Device.h"
#include "platform/linux/Mounts.h"
#include "tests/platform/Tools.h"
#include "tests/support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>

namespace platform::test {
namespace {

constexpr std::uint64_t kMiB = 1024ULL * 1024;

/// A loop device on a file; without a name when the machine has none to give.
class LoopDevice {
public:
    explicit LoopDevice(const std::filesystem::path& image) {
        const std::string command =
            "PATH=$PATH:/usr/sbin:/sbin losetup --find --show '" + image.string() + "' 2>/dev/null";
        if (FILE* const pipe = ::popen(command.c_str(), "r")) { // NOLINT(cert-env33-c)
            std::array<char, 64> line{};
            if (std::fgets(line.data(), line.size(), pipe) != nullptr)
                name_ = std::string(line.data()).substr(0, std::string(line.data()).find('\n'));
            ::pclose(pipe);
        }
    }

    LoopDevice(const LoopDevice&) = delete;
    LoopDevice& operator=(const LoopDevice&) = delete;

    ~LoopDevice() { detach(); }

    void detach() {
        if (!name_.empty())
            succeeds("losetup -d " + name_);
        name_.clear();
    }

    [[nodiscard]] const std::string& name() const { return name_; }

private:
    std::string name_;
};

/// An NTFS volume, in an image file or on a device, mounted through FUSE.
class FuseMount {
public:
    FuseMount(const std::string& volume, const std::filesystem::path& folder) : folder_(folder) {
        std::filesystem::create_directory(folder);
        isMounted_ = succeeds("ntfs-3g '" + volume + "' '" + folder.string() + "'");
    }

    FuseMount(const FuseMount&) = delete;
    FuseMount& operator=(const FuseMount&) = delete;

    ~FuseMount() {
        if (isMounted_)
            succeeds("umount '" + folder_.string() + "'");
    }

    [[nodiscard]] bool isMounted() const { return isMounted_; }

private:
    std::filesystem::path folder_;
    bool isMounted_ = false;
};

std::optional<Drive> listedAs(const std::string& device) {
    for (Drive& drive : listDrives()) {
        if (drive.device == wide(device))
            return std::move(drive);
    }
    return std::nullopt;
}

class DrivesTest : public testing::Test {
protected:
    void SetUp() override { makeNtfs(image_, 16 * kMiB, "-L before"); }

    kova::test::TempDir dir_;
    std::filesystem::path image_ = dir_ / "ntfs";
};

TEST_F(DrivesTest, ALoopDeviceIsListedUntilItIsGone) {
    LoopDevice loop(image_);
    if (loop.name().empty())
        GTEST_SKIP() << "no loop devices here";
    const std::string node = loop.name();
    const std::optional<Drive> drive = listedAs(node);
    ASSERT_TRUE(drive);
    EXPECT_EQ(drive->volumeName, L"before");
    EXPECT_EQ(drive->fileSystem, "NTFS");
    EXPECT_EQ(drive->kind, DriveKind::Fixed);
    EXPECT_EQ(drive->sizeBytes, 16 * kMiB);
    EXPECT_EQ(drive->sectorSize, 512U);
    EXPECT_FALSE(drive->isImage);
    EXPECT_EQ(letterOfDevice(wide(node)), drive->letter);
    EXPECT_EQ(fileSystemName(drive->letter), "NTFS");

    // A change of the label is seen although the device is not looked at each time.
    EXPECT_EQ(listedAs(node)->volumeName, L"before");
    run("ntfslabel " + node + " after");
    EXPECT_EQ(listedAs(node)->volumeName, L"after");
    EXPECT_EQ(listedAs(node)->letter, drive->letter);

    const std::wstring path = L"\\\\.\\" + std::wstring(1, static_cast<wchar_t>(drive->letter));
    Device device;
    ASSERT_TRUE(device.open(path + L":"));
    EXPECT_TRUE(device.isPresent());
    EXPECT_EQ(device.size(), 16 * kMiB);
    std::array<char, 8> id{};
    ASSERT_EQ(device.readAt(3, id.data(), id.size()), 8);
    EXPECT_EQ(std::string(id.data(), id.size()), "NTFS    ");
    device.close();

    loop.detach();
    EXPECT_FALSE(listedAs(node));
    EXPECT_FALSE(findDrive(drive->letter));
    EXPECT_FALSE(device.open(path + L":"));
    EXPECT_NE(device.error(), Error::None);

    // The same volume gets its letter back; another one under the same name does not.
    {
        const LoopDevice again(image_);
        ASSERT_FALSE(again.name().empty());
        ASSERT_TRUE(listedAs(again.name()));
        EXPECT_EQ(listedAs(again.name())->letter, drive->letter);
    }
    makeFat(dir_ / "fat", 8 * kMiB);
    const LoopDevice other(dir_ / "fat");
    ASSERT_FALSE(other.name().empty());
    ASSERT_TRUE(listedAs(other.name()));
    EXPECT_NE(listedAs(other.name())->letter, drive->letter);
    EXPECT_EQ(listedAs(other.name())->volumeName, wide(other.name().substr(5)));
}

TEST_F(DrivesTest, WhatIsNoBlockDeviceHasNoLetter) {
    EXPECT_FALSE(letterOfDevice(wide(image_)));
    EXPECT_FALSE(letterOfDevice(L"/dev/null"));
    EXPECT_FALSE(letterOfDevice(wide(dir_ / "missing")));
    EXPECT_FALSE(findDrive('1'));
    EXPECT_EQ(fileSystemName('?'), "");
    Device device;
    EXPECT_FALSE(device.open(L"\\\\.\\1:"));
}

TEST_F(DrivesTest, AnImageIsWrittenToThroughItsMounts) {
    const char letter = attachImage(wide(image_)).drives.at(0).letter;
    makeNtfs(dir_ / "other", 16 * kMiB);
    const char other = attachImage(wide(dir_ / "other")).drives.at(0).letter;
    EXPECT_FALSE(liesOnDrive(wide(dir_.path()), letter)); // beside the image is not in it
    EXPECT_FALSE(liesOnDrive(wide(dir_ / "new/folder"), letter));
    {
        const FuseMount mount(image_.string(), dir_ / "mnt");
        if (!mount.isMounted())
            GTEST_SKIP() << "no FUSE here";
        EXPECT_TRUE(liesOnDrive(wide(dir_ / "mnt"), letter));
        EXPECT_TRUE(liesOnDrive(wide(dir_ / "mnt/new/folder"), letter));
        EXPECT_TRUE(liesOnDrive(wide(dir_ / "no/../mnt/new"), letter));
        EXPECT_FALSE(liesOnDrive(wide(dir_ / "mnt/../new"), letter));
        EXPECT_FALSE(liesOnDrive(wide(dir_ / "mnt"), other));
        std::filesystem::create_directory_symlink(dir_ / "mnt", dir_ / "link");
        EXPECT_TRUE(liesOnDrive(wide(dir_ / "link/new"), letter));
        // An image inside the mounted volume is written to the outer one.
        makeNtfs(dir_ / "mnt/inner", 4 * kMiB);
        const FuseMount inner((dir_ / "mnt/inner").string(), dir_ / "inner");
        ASSERT_TRUE(inner.isMounted());
        EXPECT_TRUE(liesOnDrive(wide(dir_ / "inner"), letter));
        EXPECT_FALSE(liesOnDrive(wide(dir_ / "inner"), other));
    }
    EXPECT_FALSE(liesOnDrive(wide(dir_ / "mnt"), letter));
}

TEST_F(DrivesTest, ALoopDeviceAndItsFileAreOneVolume) {
    const LoopDevice loop(image_);
    const LoopDevice second(image_);
    if (loop.name().empty() || second.name().empty())
        GTEST_SKIP() << "no loop devices here";
    const std::optional<char> letter = letterOfDevice(wide(loop.name()));
    const std::optional<char> secondLetter = letterOfDevice(wide(second.name()));
    ASSERT_TRUE(letter && secondLetter);
    EXPECT_NE(letter, secondLetter);
    const char imageLetter = attachImage(wide(image_)).drives.at(0).letter;
    EXPECT_FALSE(liesOnDrive(wide(dir_.path()), *letter)); // the folder that the image lies in
    const FuseMount mount(loop.name(), dir_ / "mnt");
    if (!mount.isMounted())
        GTEST_SKIP() << "no FUSE here";
    EXPECT_TRUE(liesOnDrive(wide(dir_ / "mnt/new"), *letter));
    EXPECT_TRUE(liesOnDrive(wide(dir_ / "mnt/new"), *secondLetter));
    EXPECT_TRUE(liesOnDrive(wide(dir_ / "mnt/new"), imageLetter));
    const NameRules rules = nameRules(wide(dir_ / "mnt/new"));
    EXPECT_TRUE(rules.windowsNames);
    EXPECT_TRUE(rules.unitsAreUtf16);
    EXPECT_EQ(rules.longestName, 255U);
}

TEST(Mounts, LinesAreReadWithTheirEscapes) {
    const std::vector<Mount> mounts = parseMounts(
        "36 35 98:0 /mnt1 /mnt2 rw,noatime master:1 shared:2 - ext3 /dev/root rw,errors=continue\n"
        "nonsense\n"
        "42 27 0:39 / /media/a\\040b ro - fuse /images/my\\040disk\\134.img ro,user_id=0\n"
        "43 27 0:40 / /merged rw - overlay overlay rw,lowerdir=/l,upperdir=/u\n");
    ASSERT_EQ(mounts.size(), 3U);
    EXPECT_EQ(mounts[0].id, 36);
    EXPECT_EQ(mounts[0].type, "ext3");
    EXPECT_EQ(mounts[0].source, "/dev/root");
    EXPECT_EQ(mounts[1].source, "/images/my disk\\.img");
    EXPECT_EQ(mounts[2].options, "rw,lowerdir=/l,upperdir=/u");
}

TEST(Mounts, TheNearestExistingFolderIsWhereAPathWouldBeMade) {
    const kova::test::TempDir dir;
    const std::filesystem::path root = std::filesystem::canonical(dir.path());
    std::filesystem::create_directories(root / "a/b");
    std::filesystem::create_directory_symlink(root / "a/b", root / "link");
    EXPECT_EQ(nearestExisting(root / "a"), root / "a");
    EXPECT_EQ(nearestExisting(root / "a/x/y/"), root / "a");
    EXPECT_EQ(nearestExisting(root / "x/../a/b/y"), root / "a/b");
    EXPECT_EQ(nearestExisting(root / "x/../link/y"), root / "a/b");
    EXPECT_EQ(nearestExisting(root / "link/../y"), root / "a");
    EXPECT_EQ(nearestExisting("/nowhere/at/all"), "/");
    EXPECT_FALSE(nearestExisting("relative/path").empty());
}

} // namespace
} // namespace platform::test
