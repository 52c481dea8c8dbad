#pragma once

#include <cstdint>
#include <optional>
#include <unordered_map>

namespace platform {

/// A FILETIME that clocks here showed, as the UTC one, by this machine's rules for that day. One
/// that the clocks skipped or showed twice is taken either way. Nothing when the system cannot
/// tell.
[[nodiscard]] std::optional<std::int64_t> utcFromLocal(std::int64_t local);

/// The same for many times: the system is asked once or twice a day that occurs.
class LocalTimes {
public:
    /// `local` in UTC; unchanged when the system cannot tell. 0, which stands for no time, stays.
    [[nodiscard]] std::int64_t toUtc(std::int64_t local);

private:
    /// From local time to UTC on a day; nothing for a day on which that changes.
    using Offset = std::optional<std::int64_t>;

    std::unordered_map<std::int64_t, Offset> days_; ///< By days since 1601.
    std::int64_t lastDay_ = -1;
    Offset lastOffset_;
};

} // namespace platform
