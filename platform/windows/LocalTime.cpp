#include "platform/LocalTime.h"

#include <windows.h>

namespace platform {

std::optional<std::int64_t> utcFromLocal(std::int64_t local) {
    constexpr unsigned kHalf = 32;
    const auto bits = static_cast<std::uint64_t>(local);
    FILETIME time{static_cast<DWORD>(bits), static_cast<DWORD>(bits >> kHalf)};
    SYSTEMTIME fields{};
    SYSTEMTIME utc{};
    TIME_ZONE_INFORMATION zone{};
    // What goes below a millisecond does not come through.
    if (FileTimeToSystemTime(&time, &fields) == 0 ||
        GetTimeZoneInformationForYear(fields.wYear, nullptr, &zone) == 0 ||
        TzSpecificLocalTimeToSystemTime(&zone, &fields, &utc) == 0 ||
        SystemTimeToFileTime(&utc, &time) == 0)
        return std::nullopt;
    return static_cast<std::int64_t>(std::uint64_t{time.dwHighDateTime} << kHalf |
                                     time.dwLowDateTime);
}

} // namespace platform
