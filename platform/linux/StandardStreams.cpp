#include "platform/StandardStreams.h"

#include <cerrno>

#include <unistd.h>

namespace platform {

std::size_t readInput(std::span<std::uint8_t> bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t got = ::read(STDIN_FILENO, &bytes[done], bytes.size() - done);
        if (got == 0 || (got < 0 && errno != EINTR))
            break;
        if (got > 0)
            done += static_cast<std::size_t>(got);
    }
    return done;
}

bool writeOutput(std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR)
            return false;
        if (written > 0)
            bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

} // namespace platform
