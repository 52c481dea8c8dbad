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

#include <sys/stat.h>

namespace platform::test {
namespace {

constexpr auto kOpenExisting = static_cast<std::uint32_t>(Disposition::OpenExisting);

TEST(LinuxFile, APipeDoesNotMakeAnyoneWait) {
    const kova::test::TempDir dir;
    ASSERT_EQ(::mkfifo((dir / "pipe").c_str(), 0600), 0);
    File file;
    EXPECT_FALSE(file.open(wide(dir / "pipe"), kOpenExisting, kGenericRead));
    EXPECT_FALSE(file.open(wide(dir / "pipe"), kOpenExisting, kGenericWrite));
    EXPECT_FALSE(file.open(wide(dir / "pipe"), kOpenExisting, kGenericRead | kGenericWrite));
    Device device;
    EXPECT_FALSE(device.open(wide(dir / "pipe")));
    EXPECT_FALSE(device.open(L"/dev/zero"));
    EXPECT_EQ(attachImage(wide(dir / "pipe")).error, L"This is a device, not a disk image.");
}

TEST(LinuxFile, AFullDriveIsToldFromOtherFailures) {
    File file;
    ASSERT_TRUE(file.open(L"/dev/full", kOpenExisting, kGenericWrite));
    EXPECT_FALSE(file.writeAt(0, "x", 1));
    EXPECT_EQ(file.error(), Error::NoSpace);
}

TEST(LinuxFile, MissingRightsAreSaid) {
    const kova::test::TempDir dir;
    makeFile(dir / "secret", 512);
    std::filesystem::permissions(dir / "secret", std::filesystem::perms::none);
    const Unprivileged unprivileged;
    File file;
    EXPECT_FALSE(file.open(wide(dir / "secret"), kOpenExisting, kGenericRead));
    EXPECT_EQ(file.error(), Error::AccessDenied);
    Device device;
    EXPECT_FALSE(device.open(wide(dir / "secret")));
    EXPECT_EQ(device.error(), Error::AccessDenied);
    EXPECT_FALSE(device.errorText().empty());
    const AttachResult result = attachImage(wide(dir / "secret"));
    EXPECT_TRUE(result.accessDenied);
    EXPECT_TRUE(result.drives.empty());
    EXPECT_FALSE(result.error.empty());
}

TEST(LinuxFile, UdevIsAskedAboutADeviceThatMayNotBeRead) {
    const kova::test::TempDir dir;
    makeFat(dir / "node", 2ULL * 1024 * 1024, "-n OWN");
    std::ofstream(dir / "b8:17") << "E:ID_FS_TYPE=vfat\nE:ID_FS_VERSION=FAT32\n"
                                    "E:ID_FS_LABEL=other\nE:ID_FS_LABEL_ENC=By\\x20udev\\x\n"
                                    "E:ID_FS_UUID_ENC=1234-ABCD\n";
    BlockDevice device;
    device.number = (8 << 8) | 17;
    device.node = (dir / "node").string();
    const BlockDevices devices("/sys", dir.path());
    EXPECT_EQ(probeDevice(device, devices).label, "OWN");
    std::filesystem::permissions(dir / "node", std::filesystem::perms::none);
    const Unprivileged unprivileged;
    const ProbedVolume volume = probeDevice(device, devices);
    EXPECT_EQ(volume.fileSystem, "FAT32");
    EXPECT_EQ(volume.label, "By udev\\x");
    EXPECT_EQ(volume.uuid, "1234-ABCD");
    device.number = (8 << 8) | 18;
    EXPECT_EQ(probeDevice(device, devices).fileSystem, "");
}

TEST(LinuxFile, NamesFollowTheFileSystemTheyAreWrittenTo) {
    const kova::test::TempDir dir;
    const NameRules rules = nameRules(wide(dir / "not/yet/there"));
    EXPECT_FALSE(rules.windowsNames);
    EXPECT_FALSE(rules.unitsAreUtf16);
    EXPECT_GT(rules.longestName, 100U);
    EXPECT_LE(rules.longestName, 255U);
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
