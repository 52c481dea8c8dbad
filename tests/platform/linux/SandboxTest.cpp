#include "platform/Sandbox.h"

#include <gtest/gtest.h>

#include <numeric>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

/// Runs in a process of its own; 0 when all is as it should be, otherwise what is not.
int tryEverything() {
    if (!platform::enterSandbox())
        return 1;
    if (::geteuid() == 0 || ::setuid(0) == 0)
        return 2;
    for (const char* path : {"/", "/etc/passwd", "/proc/self/mem", "/dev/null"}) {
        if (::open(path, O_RDONLY) >= 0 || ::openat(AT_FDCWD, path, O_RDONLY) >= 0)
            return 3;
    }
    if (::open("/tmp/orvane-sandbox", O_CREAT | O_WRONLY, 0600) >= 0)
        return 4;
    if (::socket(AF_UNIX, SOCK_STREAM, 0) >= 0 || ::kill(::getppid(), 0) == 0)
        return 5;
    if (::fork() >= 0 || ::execl("/bin/true", "true", nullptr) == 0)
        return 6;
    constexpr int kFlags = MAP_PRIVATE | MAP_ANONYMOUS;
    // cppcheck-suppress invalidFunctionArg
    if (::mmap(nullptr, 4096, PROT_READ | PROT_EXEC, kFlags, -1, 0) != MAP_FAILED)
        return 7;
    // What decoders need.
    std::vector<int> numbers(10'000'000, 1);
    int sum = 0;
    std::thread([&] { sum = std::accumulate(numbers.begin(), numbers.end(), 0); }).join();
    return sum == 10'000'000 ? 0 : 8;
}

TEST(SandboxTest, LeavesMemoryAndThreadsOnly) {
    EXPECT_EXIT(::_exit(tryEverything()), testing::ExitedWithCode(0), "");
}

} // namespace
