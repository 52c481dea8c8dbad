// What only this system has: drives of its own, long paths, times to the tick. Under Wine drive D
// is the NTFS sample and E the FAT sample.

#include "platform/ChildProcess.h"
#include "platform/Device.h"
#include "platform/Drives.h"
#include "platform/Sandbox.h"
#include "platform/windows/TokenInformation.h"
#include "platform/windows/Volume.h"
#include "platform/windows/Win32.h"
#include "tests/platform/Tools.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <iostream>
#include <utility>

#include <windows.h>

namespace platform::test {
namespace {

constexpr std::size_t kSectorBytes = 512;

struct SampleDrive {
    char letter;
    const char* fileSystem;
    std::wstring label;
    const char* image;
};

const SampleDrive kSampleDrives[] = {{'D', "NTFS", L"", "D:\\ntfs.img"},
                                     {'E', "FAT", L"SAMPLE", "E:\\fat.img"}};

bool hasSampleDrives() {
    return std::filesystem::exists(kSampleDrives[0].image);
}

TEST(WindowsDrives, AreListedAsTheSystemKnowsThem) {
    if (!hasSampleDrives())
        GTEST_SKIP() << "the sample drives are not set up";
    const std::vector<Drive> drives = listDrives();
    for (const SampleDrive& sample : kSampleDrives) {
        SCOPED_TRACE(sample.letter);
        const auto found = std::find_if(drives.begin(), drives.end(), [&](const Drive& drive) {
            return drive.letter == sample.letter;
        });
        ASSERT_NE(found, drives.end());
        EXPECT_EQ(found->kind, DriveKind::Fixed);
        EXPECT_EQ(found->fileSystem, sample.fileSystem);
        EXPECT_EQ(found->volumeName, sample.label);
        EXPECT_EQ(found->sectorSize, kSectorBytes);
        EXPECT_FALSE(found->isImage);
        EXPECT_EQ(fileSystemName(sample.letter), sample.fileSystem);
    }
    EXPECT_EQ(letterOfDevice(L"d:"), 'D');
    EXPECT_EQ(letterOfDevice(L"\\\\?\\E:\\"), 'E');
    wchar_t volume[MAX_PATH] = {};
    ASSERT_NE(GetVolumeNameForVolumeMountPointW(L"E:\\", volume, MAX_PATH), 0);
    EXPECT_EQ(letterOfDevice(volume), 'E');
    EXPECT_EQ(findDrive('e')->letter, 'E');
    EXPECT_FALSE(letterOfDevice(L"Q:"));
    EXPECT_FALSE(findDrive('Q'));
    EXPECT_TRUE(liesOnDrive(L"D:\\not yet\\there", 'D'));
    EXPECT_TRUE(liesOnDrive(L"d:\\not yet\\there", 'd'));
    EXPECT_FALSE(liesOnDrive(L"D:\\not yet\\there", 'E'));
    EXPECT_FALSE(liesOnDrive(L"C:\\windows", 'D'));
}

TEST(WindowsDrives, AreReadRawToTheirEndAndNoFurther) {
    if (!hasSampleDrives())
        GTEST_SKIP() << "the sample drives are not set up";
    for (const SampleDrive& sample : kSampleDrives) {
        SCOPED_TRACE(sample.letter);
        const std::string content = contentOf(sample.image);
        const std::wstring name = {wchar_t(sample.letter), L':'};
        for (const std::wstring& path :
             {L"\\\\.\\" + name, L"\\\\?\\" + name, L"\\\\.\\" + name + L"\\"}) {
            Device device;
            ASSERT_TRUE(device.open(path));
            EXPECT_TRUE(device.isPresent());
            std::string bytes(content.size(), '\0');
            EXPECT_EQ(device.readAt(0, bytes.data(), bytes.size()),
                      static_cast<std::int64_t>(bytes.size()));
            EXPECT_TRUE(bytes == content);
            EXPECT_EQ(device.readAt(content.size() - kSectorBytes, bytes.data(), 2 * kSectorBytes),
                      static_cast<std::int64_t>(kSectorBytes));
            EXPECT_EQ(device.readAt(content.size(), bytes.data(), kSectorBytes), 0);
        }
    }
    Device device;
    EXPECT_FALSE(device.open(L"\\\\.\\Q:"));
    EXPECT_EQ(device.failure().kind, Error::NotFound);
}

TEST(WindowsChildProcess, TalksWithinItsJob) {
    ChildProcess child;
    ASSERT_TRUE(child.start(L"C:\\windows\\system32\\hostname.exe", {},
                            {.memory = std::uint64_t{512} << 20, .cpuSeconds = 5}));
    std::array<std::uint8_t, 1> said{};
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    EXPECT_EQ(child.read(said, deadline), said.size());
}

constexpr const wchar_t* kIsChild = L"ORVANE_TEST_IS_CHILD";

/// What this process still is and may do, once it is in the sandbox; empty when that is little.
std::string whatIsLeft() {
    HANDLE opened = nullptr;
    if (OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &opened) == 0)
        return "the thread has no rights to start with; ";
    CloseHandle(opened);
    // The system lets no restricted process open its own token, once it is nobody.
    OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened);
    const Handle token(opened);
    if (!enterSandbox())
        return "cannot enter; ";
    std::string left;
    if (OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &opened) != 0)
        left += "the thread's own rights; ";
    const TokenInformation<TOKEN_PRIVILEGES> privileges(token.get(), TokenPrivileges);
    for (DWORD i = 0; i < privileges->PrivilegeCount; ++i) {
        if ((privileges->Privileges[i].Attributes & SE_PRIVILEGE_ENABLED) != 0)
            left += "a privilege; ";
    }
    const TokenInformation<TOKEN_GROUPS> groups(token.get(), TokenGroups);
    for (DWORD i = 0; i < groups->GroupCount; ++i) {
        const auto& [sid, attributes] = groups->Groups[i];
        if (IsWellKnownSid(sid, WinBuiltinAdministratorsSid) != 0 &&
            (attributes & SE_GROUP_USE_FOR_DENY_ONLY) == 0)
            left += "Administrators; ";
    }
    return left;
}

TEST(WindowsSandbox, LeavesMemoryOnly) {
    if (GetEnvironmentVariableW(kIsChild, nullptr, 0) != 0) {
        std::cout << "left: " << whatIsLeft() << '.' << std::flush;
        std::_Exit(0);
    }
    std::array<wchar_t, MAX_PATH> program{};
    GetModuleFileNameW(nullptr, program.data(), program.size());
    SetEnvironmentVariableW(kIsChild, L"1");
    ChildProcess child;
    ASSERT_TRUE(child.start(program.data(), {L"--gtest_filter=WindowsSandbox.*"}, {}));
    SetEnvironmentVariableW(kIsChild, nullptr);
    std::vector<std::uint8_t> said(4096);
    said.resize(child.read(said, std::chrono::steady_clock::now() + std::chrono::seconds(60)));
    const std::string text(said.begin(), said.end());
    EXPECT_NE(text.find("left: ."), std::string::npos) << text;
}

TEST(WindowsDevice, NamesOfWholeDevicesAreToldFromFiles) {
    const std::pair<const wchar_t*, const wchar_t*> names[] = {
        {L"\\\\?\\Volume{12345678-0000-0000-0000-100000000000}\\",
         L"\\\\?\\Volume{12345678-0000-0000-0000-100000000000}"},
        {L"\\\\.\\PhysicalDrive0", L"\\\\.\\PhysicalDrive0"},
        {L"\\\\?\\GlobalRoot\\Device\\HarddiskVolumeShadowCopy1",
         L"\\\\?\\GlobalRoot\\Device\\HarddiskVolumeShadowCopy1"},
        {L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolume1\\file", nullptr},
        {L"\\\\?\\Volume{12345678-0000-0000-0000-100000000000}\\file", nullptr},
        {L"\\\\.\\D:\\file", nullptr},
        {L"\\\\?\\UNC\\server\\share", nullptr},
        {L"D:\\", nullptr},
        {L"\\\\?\\", nullptr},
    };
    for (const auto& [path, device] : names)
        EXPECT_EQ(deviceName(path),
                  device == nullptr ? std::nullopt : std::optional<std::wstring>(device));
}

TEST(WindowsDevice, ThatWasPulledOutMayAnswerAsOneThatFails) {
    for (const long code : {ERROR_GEN_FAILURE, ERROR_IO_DEVICE, ERROR_NOT_READY})
        EXPECT_TRUE(mayMeanRemoved(DWORD(code))) << code;
    for (const long code : {ERROR_CRC, ERROR_SECTOR_NOT_FOUND, ERROR_NOT_SUPPORTED})
        EXPECT_FALSE(mayMeanRemoved(DWORD(code))) << code;
}

TEST(WindowsVolume, IsTheSameAlsoByAShareAndWhenThatCannotBeRuledOut) {
    const std::wstring name = L"\\\\?\\Volume{a}\\";
    const std::wstring other = L"\\\\?\\Volume{b}\\";
    const Volume drive{.name = name, .serial = 0x1234};
    const Volume nameless{.serial = 0x1234}; // of a driver like those of containers
    const Volume share{.serial = 0x1234, .isShare = true};

    const struct {
        Volume folder;
        Volume drive;
        SameVolume isSame;
    } cases[] = {
        {{.name = L"\\\\?\\VOLUME{A}\\", .serial = 1}, drive, SameVolume::Yes},
        {{.name = other, .serial = 0x1234}, drive, SameVolume::No},
        {{.name = other, .hosts = {other, name}}, drive, SameVolume::Yes},
        {{.name = other, .hosts = {L"\\\\?\\Volume{c}\\"}}, drive, SameVolume::No},
        {{.name = other, .hosts = {L""}}, drive, SameVolume::Unknown},
        {drive, nameless, SameVolume::No},
        {share, drive, SameVolume::Yes},
        {{.serial = 0x1235, .isShare = true}, drive, SameVolume::No},
        {{.serial = 0, .isShare = true}, drive, SameVolume::Unknown},
        {{.serial = 0x1235}, drive, SameVolume::Unknown},
        {share, {.name = name, .isRaw = true}, SameVolume::No},
    };

    for (std::size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(isSameVolume(cases[i].folder, cases[i].drive), cases[i].isSame) << "case " << i;
}

TEST(WindowsFile, PathsMayBeAsLongAsTheyLike) {
    const kova::test::TempDir dir;
    std::wstring path = wide(dir.path());
    while (path.size() < 1000)
        path += L"\\" + std::wstring(100, L'x');
    ASSERT_FALSE(makePath(path)) << testing::PrintToString(makePath(path).words);
    Folder folder;
    Folder inner;
    ASSERT_TRUE(folder.open(path));
    EXPECT_EQ(inner.enter(folder, L"d"), Folder::Entered::Created);
    EXPECT_EQ(inner.enter(folder, L"D"), Folder::Entered::Existed);
    EXPECT_EQ(nameRules(path).longestName, 255U);
    EXPECT_TRUE(liesOnDrive(path, 'C'));
    File file;
    ASSERT_TRUE(file.open(path + L"\\f", static_cast<std::uint32_t>(Disposition::CreateNew),
                          kGenericWrite));
    EXPECT_TRUE(file.writeAt(0, "x", 1));
    EXPECT_EQ(inner.enter(folder, L"f"), Folder::Entered::Occupied);
    file.close();
    EXPECT_TRUE(removeFile(path + L"\\f"));
    kova::test::runInShell("rm -r " + kova::test::forShell(dir / std::string(100, 'x')));

    // Also where there is nothing but the drive.
    const std::wstring fresh = L"C:\\" + dir.path().filename().wstring();
    EXPECT_FALSE(makePath(fresh + L"\\" + std::wstring(250, L'x')));
    kova::test::runInShell("rm -r " + kova::test::forShell(fresh));
}

TEST(WindowsFile, SetsTheTimeOfTheLastChange) {
    const kova::test::TempDir dir;
    constexpr std::int64_t kTime = 128'790'414'901'234'567; // 2009-02-13, with a fraction
    File file;
    ASSERT_TRUE(file.open(wide(dir / "f"), static_cast<std::uint32_t>(Disposition::CreateNew),
                          kGenericWrite));
    ASSERT_TRUE(file.writeAt(0, "x", 1));
    ASSERT_TRUE(file.setModificationTime(kTime));
    file.close();
    WIN32_FILE_ATTRIBUTE_DATA found{};
    ASSERT_NE(GetFileAttributesExW(wide(dir / "f").c_str(), GetFileExInfoStandard, &found), 0);
    EXPECT_EQ(found.ftLastWriteTime.dwHighDateTime, DWORD(kTime >> 32));
    EXPECT_EQ(found.ftLastWriteTime.dwLowDateTime, DWORD(kTime));
}

} // namespace
} // namespace platform::test
