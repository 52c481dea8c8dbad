#include "platform/ChildProcess.h"

#include <algorithm>

namespace platform {

bool ChildProcess::write(std::span<const std::uint8_t> bytes, Deadline deadline) {
    return exchange(bytes, 0, deadline);
}

std::size_t ChildProcess::read(std::span<std::uint8_t> bytes, Deadline deadline) {
    if (ahead_.size() < bytes.size())
        exchange({}, bytes.size(), deadline);
    const std::size_t count = std::min(bytes.size(), ahead_.size());
    const auto last = ahead_.begin() + static_cast<std::ptrdiff_t>(count);
    std::copy(ahead_.begin(), last, bytes.begin());
    ahead_.erase(ahead_.begin(), last);
    return count;
}

} // namespace platform
