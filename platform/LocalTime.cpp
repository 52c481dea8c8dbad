#include "platform/LocalTime.h"

#include "format/FileTime.h"

namespace platform {

namespace {

constexpr std::int64_t kSecondsPerDay = std::int64_t{24} * 60 * 60;
constexpr std::int64_t kTicksPerDay = kSecondsPerDay * format::kFileTimeTicksPerSecond;

std::optional<std::int64_t> offsetAt(std::int64_t local) {
    const std::optional<std::int64_t> utc = utcFromLocal(local);
    return utc ? std::optional(*utc - local) : std::nullopt;
}

} // namespace

std::int64_t LocalTimes::toUtc(std::int64_t local) {
    if (local == 0)
        return 0;
    const std::int64_t day = local / kTicksPerDay;
    if (day != lastDay_) {
        const auto [known, isNew] = days_.try_emplace(day);
        if (isNew) {
            const Offset atStart = offsetAt(day * kTicksPerDay);
            if (atStart == offsetAt((day + 1) * kTicksPerDay))
                known->second = atStart;
        }
        lastDay_ = day;
        lastOffset_ = known->second;
    }
    const Offset offset = lastOffset_ ? lastOffset_ : offsetAt(local);
    return local + offset.value_or(0);
}

} // namespace platform
