#include "platform/StandardStreams.h"

#include <algorithm>

#include <windows.h>

namespace platform {

namespace {

/// One call is given no more than this.
constexpr std::size_t kMostAtOnce = std::size_t{1} << 20;

} // namespace

std::size_t readInput(std::span<std::uint8_t> bytes) {
    HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    std::size_t done = 0;
    while (done < bytes.size()) {
        const auto wanted = static_cast<DWORD>(std::min(bytes.size() - done, kMostAtOnce));
        DWORD got = 0;
        if (ReadFile(input, &bytes[done], wanted, &got, nullptr) == 0 || got == 0)
            break;
        done += got;
    }
    return done;
}

bool writeOutput(std::span<const std::uint8_t> bytes) {
    HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    while (!bytes.empty()) {
        const auto offered = static_cast<DWORD>(std::min(bytes.size(), kMostAtOnce));
        DWORD written = 0;
        if (WriteFile(output, bytes.data(), offered, &written, nullptr) == 0)
            return false;
        bytes = bytes.subspan(written);
    }
    return true;
}

} // namespace platform
