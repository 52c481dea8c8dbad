#include "platform/ChildProcess.h"

#include "platform/linux/Descriptor.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include <fcntl.h>

namespace {

using namespace std::chrono_literals;
using platform::ChildProcess;

ChildProcess::Deadline in(std::chrono::milliseconds time) {
    return std::chrono::steady_clock::now() + time;
}

bool startShell(ChildProcess& child, const std::wstring& script,
                const platform::ChildLimits& limits = {}) {
    return child.start(L"/bin/sh", {L"-c", script}, limits);
}

std::string outputOf(ChildProcess& child) {
    std::vector<std::uint8_t> bytes(4096);
    bytes.resize(child.read(bytes, in(30s)));
    return {bytes.begin(), bytes.end()};
}

TEST(ChildProcessTest, GetsNothingButItsOwnStreamsAndLimits) {
    const platform::Descriptor inheritable(::open("/dev/zero", O_RDONLY));
    ChildProcess child;
    ASSERT_TRUE(startShell(child, L"read go; echo /proc/self/fd/*; ulimit -t", {.cpuSeconds = 7}));
    // The limits hold by the time of the first byte.
    const std::vector<std::uint8_t> go{'\n'};
    EXPECT_TRUE(child.write(go, in(30s)));
    // The last is the folder itself, while it is read.
    EXPECT_EQ(outputOf(child),
              "/proc/self/fd/0 /proc/self/fd/1 /proc/self/fd/2 /proc/self/fd/3\n7\n");
    EXPECT_FALSE(child.start(L"/bin/missing", {}, {}));
    EXPECT_FALSE(child.write({}, in(0s)));
    EXPECT_EQ(outputOf(child), "");
}

TEST(ChildProcessTest, MovesBytesBothWaysAtOnce) {
    ChildProcess child;
    ASSERT_TRUE(startShell(child, L"exec cat"));
    std::vector<std::uint8_t> sent(700'000);
    for (std::size_t i = 0; i < sent.size(); ++i)
        sent[i] = static_cast<std::uint8_t>(i * 7 / 5);
    std::vector<std::uint8_t> received(sent.size());
    for (int times = 0; times < 3; ++times) {
        // Far more than fits between the two.
        ASSERT_TRUE(child.write(sent, in(30s)));
        ASSERT_EQ(child.read(received, in(30s)), received.size());
        EXPECT_EQ(received, sent);
    }
}

TEST(ChildProcessTest, NeverWaitsForAChildThatDoesNot) {
    const std::vector<std::uint8_t> bytes(8'000'000);
    std::vector<std::uint8_t> room(8);
    ChildProcess child;
    ASSERT_TRUE(startShell(child, L"printf abc; exec sleep 1000"));
    EXPECT_FALSE(child.write(bytes, in(20ms)));
    EXPECT_EQ(child.read(room, in(20ms)), 3U);
    {
        const std::jthread other([&] { child.kill(); });
        EXPECT_EQ(child.read(room, in(1h)), 0U);
    }
    EXPECT_FALSE(child.write(bytes, in(1h))); // and no SIGPIPE

    ASSERT_TRUE(startShell(child, L"exec yes"));
    EXPECT_FALSE(child.write(bytes, in(20ms)));
}

} // namespace
