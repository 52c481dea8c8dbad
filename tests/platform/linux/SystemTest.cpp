// What only this system has: pipes, permissions, signals, file systems that limit names.

#include "platform/Device.h"
#include "platform/Drives.h"
#include "platform/File.h"
#include "platform/Terminal.h"
#include "platform/linux/BlockDevices.h"
#include "platform/linux/Probe.h"
#include "tests/platform/Tools.h"
#include "tests/platform/linux/Unprivileged.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <csignal>

#include <sys/mount.h>
#include <sys/stat.h>

namespace platform::test {
namespace {

constexpr auto kOpenExisting = static_cast<std::uint32_t>(Disposition::OpenExisting);

TEST(LinuxFile, APipeDoesNotMakeAnyoneWait) {
    const kova::test::TempDir dir;
    ASSERT_EQ(::mkfifo((dir / "pipe").c_str(), 0600), 0);
    File file;
    for (const std::uint32_t access : {kGenericRead, kGenericWrite, kGenericRead | kGenericWrite})
        EXPECT_FALSE(file.open(wide(dir / "pipe"), kOpenExisting, access));
    EXPECT_FALSE(Device().open(wide(dir / "pipe")));
    EXPECT_FALSE(Device().open(L"/dev/zero"));
    EXPECT_EQ(attachImage(wide(dir / "pipe")).error, L"This is a device, not a disk image.");
}

TEST(LinuxFile, NothingInAFolderIsReachedThroughALink) {
    const kova::test::TempDir dir;
    std::filesystem::create_directory(dir / "d");
    std::filesystem::create_directory_symlink(dir / "d", dir / "link");
    std::ofstream(dir / "f") << "kept";
    std::filesystem::create_symlink(dir / "f", dir / "file link");
    EXPECT_FALSE(makePath(wide(dir / "link/below")));
    EXPECT_TRUE(std::filesystem::is_directory(dir / "d/below"));

    Folder top;
    Folder folder;
    ASSERT_TRUE(top.open(wide(dir.path())));
    EXPECT_EQ(folder.enter(top, L"link"), Folder::Entered::Occupied);
    EXPECT_EQ(folder.enter(top, L"link", Links::Follow), Folder::Entered::Existed);
    File file;
    for (const auto disposition : {Disposition::CreateAlways, Disposition::OpenAlways,
                                   Disposition::OpenExisting, Disposition::CreateNew})
        EXPECT_FALSE(file.open(top, L"file link", static_cast<std::uint32_t>(disposition),
                               kGenericRead | kGenericWrite));
    EXPECT_EQ(contentOf(dir / "f"), "kept");
    std::filesystem::create_hard_link(dir / "f", dir / "second name");
    EXPECT_FALSE(top.find(L"f")->isPlainFile);

    std::filesystem::create_directory(dir / "mounted");
    if (::mount((dir / "d").c_str(), (dir / "mounted").c_str(), nullptr, MS_BIND, nullptr) != 0)
        GTEST_SKIP() << "no right to mount";
    EXPECT_EQ(folder.enter(top, L"mounted"), Folder::Entered::Occupied);
    ::umount((dir / "mounted").c_str());
}

TEST(LinuxFile, NothingIsEmptiedWithoutTheRightToWrite) {
    const kova::test::TempDir dir;
    std::ofstream(dir / "f") << "content";
    constexpr auto kTruncate = static_cast<std::uint32_t>(Disposition::TruncateExisting);
    EXPECT_FALSE(File().open(wide(dir / "f"), kTruncate, kGenericRead));
    EXPECT_EQ(contentOf(dir / "f"), "content");
}

TEST(LinuxFile, MissingRightsAreSaid) {
    const kova::test::TempDir dir;
    makeFile(dir / "secret", 512);
    std::filesystem::permissions(dir / "secret", std::filesystem::perms::none);
    const Unprivileged unprivileged;
    Device device;
    EXPECT_FALSE(device.open(wide(dir / "secret")));
    EXPECT_EQ(device.failure().kind, Error::AccessDenied);
    EXPECT_FALSE(device.failure().words.empty());
    const AttachResult result = attachImage(wide(dir / "secret"));
    EXPECT_TRUE(result.accessDenied);
    EXPECT_FALSE(result.error.empty());
}

TEST(LinuxFile, UdevIsAskedAboutADeviceThatMayNotBeRead) {
    const kova::test::TempDir dir;
    makeFile(dir / "node", 512);
    std::ofstream(dir / "b8:17") << "E:ID_FS_TYPE=vfat\nE:ID_FS_VERSION=FAT32\n"
                                    "E:ID_FS_LABEL=other\nE:ID_FS_LABEL_ENC=By\\x20udev\\x\n"
                                    "E:ID_FS_UUID_ENC=1234-ABCD\nE:ID_MODEL_ENC=Ultra\\x20\\x20\n"
                                    "E:ID_VENDOR_ENC=San\\x20Disk\n";
    BlockDevice device;
    device.number = (8 << 8) | 17;
    device.node = (dir / "node").string();
    const BlockDevices devices("/sys", dir.path());
    std::filesystem::permissions(dir / "node", std::filesystem::perms::none);
    const Unprivileged unprivileged;
    const ProbedVolume volume = probeDevice(device, devices);
    EXPECT_EQ(volume.fileSystem, "FAT32");
    EXPECT_EQ(volume.label, "By udev\\x");
    EXPECT_EQ(volume.uuid, "1234-ABCD");
    EXPECT_EQ(devices.udevRecord(device.number)->model, "San Disk Ultra");
}

TEST(LinuxTerminal, TheFirstInterruptIsReportedAndTheSecondEnds) {
    static std::atomic<bool> flag{false};
    const auto interruptTwice = [] {
        onInterrupt(flag);
        std::raise(SIGINT);
        if (!flag.load())
            std::_Exit(EXIT_FAILURE);
        std::raise(SIGTERM);
        std::_Exit(EXIT_SUCCESS);
    };
    EXPECT_EXIT(interruptTwice(), testing::KilledBySignal(SIGTERM), "");
}

} // namespace
} // namespace platform::test
