// Drives and mounts of this machine. What needs loop devices or FUSE is skipped without them.

#include "platform/Drives.h"

#include "platform/Device.h"
#include "platform/linux/Mounts.h"
#include "tests/platform/Tools.h"
#include "tests/support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

namespace platform::test {
namespace {

constexpr std::uint64_t kMiB = 1024ULL * 1024;

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

    void TearDown() override {
        for (; !cleanUp_.empty(); cleanUp_.pop_back())
            succeeds(cleanUp_.back());
    }

    /// The name of a loop device on a file; empty when the machine has none to give.
    std::string attachLoop(const std::filesystem::path& image) {
        if (!succeeds("losetup --find --show '" + image.string() + "' > '" +
                      (dir_ / "loop").string() + "'"))
            return {};
        std::string name = contentOf(dir_ / "loop");
        name.resize(name.find('\n'));
        cleanUp_.push_back("losetup -d " + name);
        return name;
    }

    /// Mounts an NTFS volume, in an image file or on a device, through FUSE; whether that works.
    bool mount(const std::string& volume, const std::string& folder) {
        const std::string quoted = " '" + (dir_ / folder).string() + "'";
        if (!succeeds("mkdir" + quoted + " && ntfs-3g '" + volume + "'" + quoted))
            return false;
        cleanUp_.push_back("umount" + quoted);
        return true;
    }

    kova::test::TempDir dir_;
    std::filesystem::path image_ = dir_ / "ntfs";
    std::vector<std::string> cleanUp_; ///< Commands, the last one first.
};

TEST_F(DrivesTest, ALoopDeviceIsListedUntilItIsGone) {
    const std::string node = attachLoop(image_);
    if (node.empty())
        GTEST_SKIP() << "no loop devices here";
    const std::optional<Drive> drive = listedAs(node);
    ASSERT_TRUE(drive);
    EXPECT_EQ(drive->volumeName, L"before");
    EXPECT_EQ(drive->fileSystem, "NTFS");
    EXPECT_EQ(drive->kind, DriveKind::Fixed);
    EXPECT_EQ(drive->sizeBytes, 16 * kMiB);
    EXPECT_EQ(letterOfDevice(wide(node)), drive->letter);

    // A change of the label is seen although the device is not looked at each time.
    run("ntfslabel " + node + " after");
    EXPECT_EQ(listedAs(node)->volumeName, L"after");
    EXPECT_EQ(listedAs(node)->letter, drive->letter);

    const std::wstring path =
        L"\\\\.\\" + std::wstring(1, static_cast<wchar_t>(drive->letter)) + L":";
    Device device;
    ASSERT_TRUE(device.open(path));
    EXPECT_TRUE(device.isPresent());
    EXPECT_EQ(device.size(), 16 * kMiB);
    std::array<char, 8> id{};
    ASSERT_EQ(device.readAt(3, id.data(), id.size()), 8);
    EXPECT_EQ(std::string(id.data(), id.size()), "NTFS    ");
    device.close();

    TearDown();
    EXPECT_FALSE(listedAs(node));
    EXPECT_FALSE(findDrive(drive->letter));
    EXPECT_FALSE(device.open(path));

    // The same volume gets its letter back; another one under the same name does not.
    makeFat(dir_ / "fat", 8 * kMiB);
    for (const bool same : {true, false}) {
        const std::string again = attachLoop(same ? image_ : dir_ / "fat");
        const std::optional<Drive> found = listedAs(again);
        ASSERT_TRUE(found);
        EXPECT_EQ(found->letter == drive->letter, same);
        EXPECT_EQ(found->volumeName, same ? L"after" : wide(again.substr(5)));
        TearDown();
    }
}

TEST_F(DrivesTest, WhatIsNoBlockDeviceHasNoLetter) {
    EXPECT_FALSE(letterOfDevice(wide(image_)));
    EXPECT_FALSE(letterOfDevice(L"/dev/null"));
    EXPECT_FALSE(findDrive('1'));
    EXPECT_FALSE(Device().open(L"\\\\.\\1:"));
}

TEST_F(DrivesTest, AnImageIsWrittenToThroughItsMounts) {
    const char letter = attachImage(wide(image_)).drives.at(0).letter;
    makeNtfs(dir_ / "other", 16 * kMiB);
    const char other = attachImage(wide(dir_ / "other")).drives.at(0).letter;
    EXPECT_FALSE(liesOnDrive(wide(dir_ / "new/folder"), letter)); // beside the image is not in it
    if (!mount(image_.string(), "a mount"))
        GTEST_SKIP() << "no FUSE here";
    std::filesystem::create_directory_symlink(dir_ / "a mount", dir_ / "link");
    for (const char* const inside :
         {"a mount", "a mount/new/folder", "no/../a mount/new", "link/new"})
        EXPECT_TRUE(liesOnDrive(wide(dir_ / inside), letter)) << inside;
    EXPECT_FALSE(liesOnDrive(wide(dir_ / "a mount/../new"), letter));
    EXPECT_FALSE(liesOnDrive(wide(dir_ / "a mount"), other));
    // An image inside the mounted volume is written to the outer one.
    makeNtfs(dir_ / "a mount/inner", 4 * kMiB);
    ASSERT_TRUE(mount((dir_ / "a mount/inner").string(), "inner"));
    EXPECT_TRUE(liesOnDrive(wide(dir_ / "inner"), letter));
}

/// A view of folders passes what is written on to them.
TEST_F(DrivesTest, AViewOfAFolderIsTheDriveThatTheFolderLiesOn) {
    const char letter = attachImage(wide(image_)).drives.at(0).letter;
    if (!mount(image_.string(), "mnt"))
        GTEST_SKIP() << "no FUSE here";
    const std::string view = (dir_ / "view").string();
    const std::string gone = (dir_ / "gone").string();
    std::filesystem::create_directory(dir_ / "mnt/folder");
    std::filesystem::create_directories(view);
    std::filesystem::create_directories(gone);
    std::filesystem::create_directory(dir_ / "plain");
    if (!succeeds("bindfs '" + (dir_ / "mnt/folder").string() + "' '" + view + "'"))
        GTEST_SKIP() << "no bindfs here";
    cleanUp_.push_back("umount '" + view + "'");
    EXPECT_TRUE(liesOnDrive(wide(dir_ / "view/new"), letter));
    EXPECT_EQ(unknownPlace(wide(dir_ / "view/new")), L"");
    ASSERT_TRUE(succeeds("bindfs '" + (dir_ / "plain").string() + "' '" + gone + "'"));
    cleanUp_.push_back("umount '" + gone + "'");
    EXPECT_EQ(unknownPlace(wide(dir_ / "gone/new")), L"");
    std::filesystem::rename(dir_ / "plain", dir_ / "moved");
    EXPECT_NE(unknownPlace(wide(dir_ / "gone/new")).find(L"gone\" (fuse"), std::wstring::npos);

    // The table has no whole paths of these.
    std::filesystem::create_directory(dir_ / "merged");
    const std::string merged = (dir_ / "merged").string();
    if (!succeeds("mergerfs '" + (dir_ / "moved").string() + ":" + (dir_ / "mnt").string() + "' '" +
                  merged + "'"))
        GTEST_SKIP() << "no mergerfs here";
    cleanUp_.push_back("umount '" + merged + "'");
    EXPECT_TRUE(liesOnDrive(wide(dir_ / "merged/new"), letter));
    EXPECT_EQ(unknownPlace(wide(dir_ / "merged/new")), L"");
}

TEST_F(DrivesTest, AFileThatALoopDeviceHasKeptLiesNowhereKnown) {
    makeFile(dir_ / "deleted", 16 * kMiB);
    run("mkfs.ext2 -q -F " + forShell(dir_ / "deleted"));
    const std::string loop = attachLoop(dir_ / "deleted");
    const std::string folder = (dir_ / "ext").string();
    if (loop.empty() || !succeeds("mkdir '" + folder + "' && mount " + loop + " '" + folder + "'"))
        GTEST_SKIP() << "no loop devices here";
    cleanUp_.push_back("umount '" + folder + "'");
    EXPECT_EQ(unknownPlace(wide(dir_ / "ext")), L"");
    std::filesystem::remove(dir_ / "deleted");
    EXPECT_NE(unknownPlace(wide(dir_ / "ext")), L"");
}

TEST_F(DrivesTest, ALoopDeviceAndItsFileAreOneVolume) {
    const std::string loop = attachLoop(image_);
    const std::string second = attachLoop(image_);
    const std::string above = attachLoop(loop);
    if (loop.empty() || second.empty())
        GTEST_SKIP() << "no loop devices here";
    const std::optional<char> letter = letterOfDevice(wide(loop));
    const std::optional<char> secondLetter = letterOfDevice(wide(second));
    const std::optional<char> letterAbove = letterOfDevice(wide(above));
    ASSERT_TRUE(letter && secondLetter && letterAbove);
    EXPECT_NE(letter, secondLetter);
    const char imageLetter = attachImage(wide(image_)).drives.at(0).letter;
    EXPECT_FALSE(liesOnDrive(wide(dir_.path()), *letter)); // the folder that the image lies in
    if (!mount(loop, "mnt"))
        GTEST_SKIP() << "no FUSE here";
    for (const char reached : {*letter, *secondLetter, *letterAbove, imageLetter})
        EXPECT_TRUE(liesOnDrive(wide(dir_ / "mnt/new"), reached));
    const NameRules rules = nameRules(wide(dir_ / "mnt/new"));
    EXPECT_TRUE(rules.windowsNames);
    EXPECT_TRUE(rules.unitsAreUtf16);
}

TEST(Mounts, LinesAreReadWithTheirEscapes) {
    const std::vector<Mount> mounts = parseMounts(
        "42 27 0:39 / /media/a\\040b ro a:1 b:2 - fuse /images/my\\040disk\\134.img ro,id=0\n"
        "nonsense\n"
        "43 27 0:40 / /merged rw - overlay overlay rw,lowerdir=/l,upperdir=/u\n");
    ASSERT_EQ(mounts.size(), 2U);
    EXPECT_EQ(mounts[0].id, 42);
    EXPECT_EQ(mounts[0].source, "/images/my disk\\.img");
    EXPECT_EQ(mounts[1].type, "overlay");
    EXPECT_EQ(mounts[1].folder, "/merged");
}

/// As the tables of such systems show them.
TEST(Mounts, WhatAMountWritesToIsReadFromItsLine) {
    const struct {
        const char* line;
        std::vector<std::string> paths;
        bool isComplete;
    } cases[] = {
        {"fuse.gocryptfs /mnt/stick/vault rw,user_id=0", {"/mnt/stick/vault"}, true},
        {"fuse /nowhere/at/all rw,user_id=0", {"/nowhere/at/all"}, true}, // bindfs
        {"fuse.mergerfs /mnt/a:/mnt/b\\040c rw,user_id=0", {"/mnt/a", "/mnt/b c"}, true},
        {"fuse.unionfs /up=RW:/low=RO rw", {"/up", "/low"}, true},
        {"fuse.mergerfs a:b rw,user_id=0", {}, false}, // it shortens the paths to what differs
        {"fuse.sshfs me@host:/home rw,user_id=0", {"/home"}, false},
        {"overlay overlay rw,lowerdir=/l,upperdir=/u\\040p,workdir=/w", {"/u p"}, true},
        {"overlay overlay ro,lowerdir=/l:/m", {}, true},
        {"overlay overlay rw,lowerdir=l,upperdir=u", {}, false},
        {"ext4 /dev/sda1 rw", {"/dev/sda1"}, true},
        {"tmpfs tmpfs rw,size=1m", {}, true},
    };

    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        const std::vector<Mount> mounts =
            parseMounts("42 27 0:39 / /mnt rw - " + std::string(c.line) + "\n");
        ASSERT_EQ(mounts.size(), 1U);
        const MountSources sources = sourcesOf(mounts[0]);
        EXPECT_EQ(sources.paths, c.paths);
        EXPECT_EQ(sources.isComplete, c.isComplete);
    }
}

TEST(Mounts, TheNearestExistingFolderIsWhereAPathWouldBeMade) {
    const kova::test::TempDir dir;
    const std::filesystem::path root = std::filesystem::canonical(dir.path());
    std::filesystem::create_directories(root / "a/b");
    std::filesystem::create_directory_symlink(root / "a/b", root / "link");
    EXPECT_EQ(nearestExisting(root / "a/x/y/"), root / "a");
    EXPECT_EQ(nearestExisting(root / "x/../link/y"), root / "a/b");
    EXPECT_EQ(nearestExisting(root / "link/../y"), root / "a");
    EXPECT_EQ(nearestExisting("/nowhere/at/all"), "/");
}

} // namespace
} // namespace platform::test
