// Devices that UDisks2 opens for this process, on a message bus and with a service of the tests'
// own.

#include "platform/DriveService.h"
#include "platform/Device.h"
#include "platform/Drives.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/GrantedDevices.h"
#include "platform/linux/UDisks.h"
#include "tests/platform/Tools.h"
#include "tests/platform/linux/Unprivileged.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

namespace platform::test {
namespace {

using namespace std::chrono_literals;

constexpr auto kSystemBus = "DBUS_SYSTEM_BUS_ADDRESS";
constexpr std::uintmax_t kBytes = std::uintmax_t{8} << 20;

class DriveServiceTest : public testing::Test {
protected:
    void SetUp() override {
        std::ofstream(dir_ / "file") << "what is on the device";
        // Lets everybody in: a test may give up its rights.
        std::ofstream(dir_ / "bus.conf")
            << R"(<busconfig><listen>unix:tmpdir=/tmp</listen><policy context="default">
                  <allow user="*"/><allow own="*"/><allow eavesdrop="true"/>
                  <allow send_destination="*" eavesdrop="true"/></policy></busconfig>)";
        run("dbus-daemon --config-file=" + forShell(dir_ / "bus.conf") +
            " --fork --print-address=1 --print-pid=1 > " + forShell(dir_ / "bus"));
        std::istringstream told(contentOf(dir_ / "bus"));
        std::string address;
        told >> address >> daemon_;
        ::setenv(kSystemBus, address.c_str(), 1);
    }

    void TearDown() override {
        end();
        succeeds("kill -KILL " + daemon_);
        succeeds("losetup --detach" + loops_);
        ::unsetenv(kSystemBus);
    }

    /// Puts a service on the bus; see udisks2.py for its parameters, as JSON.
    void serve(const std::string& parameters) {
        end();
        run("/usr/bin/python3 -m dbusmock --template " ORVANE_SOURCE_DIR
            "/tests/platform/linux/udisks2.py --parameters '{\"daemon\": " +
            daemon_ + ", " + parameters + "}' > /dev/null 2>&1 & echo $! > " +
            forShell(dir_ / "service"));
        const auto end = std::chrono::steady_clock::now() + 10s;
        while (!hasDriveService() && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(20ms);
        ASSERT_TRUE(hasDriveService());
    }

    void serveFile(const std::string& answer) {
        serve(R"("answer": ")" + answer + R"(", "file": ")" + (dir_ / "file").string() + '"');
    }

    void serveDevice(const std::string& node, const std::string& more = "") {
        serve(R"("answer": "grant", "file": ")" + node + '"' + more);
    }

    void end() const {
        if (std::filesystem::exists(dir_ / "service"))
            succeeds("kill -KILL $(cat " + forShell(dir_ / "service") + ") ; rm " +
                     forShell(dir_ / "service"));
    }

    static UDisks::Opened open(bool mayAskPerson = true) {
        return UDisks({500ms, 500ms}).openForReading("/dev/mock", mayAskPerson);
    }

    static std::string contentOfOpen(const Descriptor& file) {
        std::string content(100, '\0');
        int failure = 0;
        const auto got = readFully(file.get(), 0, content.data(), content.size(), failure);
        return got < 0 ? std::string() : content.substr(0, static_cast<std::size_t>(got));
    }

    /// A loop device on a file, for those who may.
    std::optional<std::string> attachLoop(const std::filesystem::path& image) {
        const std::string told = forShell(dir_ / "loop");
        if (!succeeds("losetup --read-only --find --show " + forShell(image) + " > " + told))
            return std::nullopt;
        std::string node = contentOf(dir_ / "loop");
        node.pop_back();
        loops_ += ' ' + node;
        return node;
    }

    kova::test::TempDir dir_;
    std::string daemon_;
    std::string loops_; ///< To be detached.
};

TEST_F(DriveServiceTest, OpensWithoutAQuestionOrWithOneWhereThePersonMayBeAsked) {
    EXPECT_FALSE(hasDriveService());
    serveFile("grant");
    EXPECT_EQ(contentOfOpen(open(false).file), "what is on the device");
    serveFile("ask");
    EXPECT_FALSE(open(false).file);
    const UDisks::Opened opened = open();
    end(); // What has been handed over stays.
    EXPECT_EQ(contentOfOpen(opened.file), "what is on the device");
}

TEST_F(DriveServiceTest, WithoutAnAnswerTheRightsAreMissingAndNobodyWaits) {
    for (const char* const answer : {"refuse", "silence", "die"}) {
        SCOPED_TRACE(answer);
        serveFile(answer);
        const auto begin = std::chrono::steady_clock::now();
        const UDisks::Opened opened = open();
        EXPECT_FALSE(opened.file);
        EXPECT_EQ(opened.failure.kind, Error::AccessDenied);
        EXPECT_NE(opened.failure.words, L"");
        EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
    }
    EXPECT_FALSE(hasDriveService());
    EXPECT_EQ(open().failure.kind, Error::AccessDenied) << "no bus";
}

TEST_F(DriveServiceTest, NothingIsTakenButTheDeviceItselfForReading) {
    const std::filesystem::path image = dir_ / "image";
    makeNtfs(image, kBytes);
    const std::string node = attachLoop(image).value_or("/dev/loop0");
    const std::string other = attachLoop(image).value_or("/dev/null");

    struct stat status {};

    ASSERT_EQ(::stat(node.c_str(), &status), 0);
    const auto isOpened = [&](GrantedDevices& devices) {
        return static_cast<bool>(devices.open(node, status.st_rdev).file);
    };
    GrantedDevices devices;
    serveDevice(node);
    EXPECT_FALSE(isOpened(devices)) << "before anybody may be asked";
    devices.enable();
    for (const std::string& wrong : {other, (dir_ / "file").string()}) {
        serveDevice(wrong);
        EXPECT_FALSE(isOpened(devices)) << wrong;
    }
    serveDevice(node, R"(, "write": true)");
    EXPECT_FALSE(isOpened(devices));
    if (loops_.empty()) // An ordinary user has no device to be given.
        return;
    serveDevice(node);
    EXPECT_TRUE(isOpened(devices));
    end();
    EXPECT_TRUE(isOpened(devices)) << "asked for once";
}

TEST_F(DriveServiceTest, AGivenDeviceIsReadByItsLetterUntilItIsGone) {
    const std::filesystem::path image = dir_ / "image";
    makeNtfs(image, kBytes);
    const std::optional<std::string> node = attachLoop(image);
    std::optional<Unprivileged> user(std::in_place);
    Device device;
    askDriveService();
    if (!node) { // An ordinary user has no device to be given: nobody opens what is not there.
        EXPECT_FALSE(device.open(L"/dev/loop0"));
        return;
    }
    const std::optional<char> letter = letterOfDevice(wide(*node));
    ASSERT_TRUE(letter);
    const std::wstring path = L"\\\\.\\" + std::wstring(1, static_cast<wchar_t>(*letter)) + L":";
    serveFile("refuse");
    EXPECT_FALSE(device.open(path));
    EXPECT_EQ(device.failure().kind, Error::AccessDenied);

    serveDevice(*node);
    ASSERT_TRUE(device.open(path));
    EXPECT_EQ(device.size(), kBytes);
    EXPECT_TRUE(device.isPresent());
    std::string bytes(4096, '\0');
    EXPECT_EQ(device.readAt(0, bytes.data(), bytes.size()), 4096);
    EXPECT_EQ(bytes, contentOf(image).substr(0, bytes.size()));
    user.reset();
    // What a bad sector and a stick that was pulled out answer is the same.
    std::filesystem::copy_file(image, dir_ / "other");
    std::filesystem::resize_file(image, 0);
    EXPECT_EQ(device.readAt(kBytes / 2, bytes.data(), bytes.size()), -1);
    EXPECT_EQ(device.failure().kind, Error::Other);
    std::filesystem::resize_file(image, kBytes);
    const Descriptor other = openPath((dir_ / "other").string(), O_RDONLY);
    ASSERT_EQ(::ioctl(openPath(*node, O_RDONLY).get(), LOOP_CHANGE_FD, other.get()), 0);
    std::filesystem::resize_file(dir_ / "other", 0);
    EXPECT_EQ(device.readAt(kBytes / 2, bytes.data(), bytes.size()), -1);
    EXPECT_EQ(device.failure().kind, Error::DeviceGone);
}

} // namespace
} // namespace platform::test
