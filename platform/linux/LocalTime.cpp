#include "platform/LocalTime.h"

#include "format/FileTime.h"

#include <cerrno>
#include <ctime>

namespace platform {

std::optional<std::int64_t> utcFromLocal(std::int64_t local) {
    const std::int64_t ticks = local % format::kFileTimeTicksPerSecond;
    const std::time_t clock =
        local / format::kFileTimeTicksPerSecond - format::kSecondsFrom1601To1970;
    std::tm fields{};
    if (gmtime_r(&clock, &fields) == nullptr)
        return std::nullopt;
    fields.tm_isdst = -1;
    errno = 0;
    const std::time_t utc = std::mktime(&fields);
    if (utc == -1 && errno != 0)
        return std::nullopt;
    return (std::int64_t{utc} + format::kSecondsFrom1601To1970) * format::kFileTimeTicksPerSecond +
           ticks;
}

} // namespace platform
