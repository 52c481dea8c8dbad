#include "engine/search/SearchForecast.h"

#include "engine/search/FreeSpace.h"

#include <algorithm>
#include <vector>

namespace kova {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr uint32 kRequestBytes = 4U << 20;
/// Places that are read, each with a few requests in a row, as a search reads.
constexpr uint64 kPlaces = 4;
constexpr uint32 kRequestsInARow = 3;
constexpr std::chrono::milliseconds kMostTime{500};
/// The finders look at no more in a second, however fast the drive.
constexpr double kMostBytesPerSecond = 500e6;
/// Bytes asked about to learn what share of a volume is free.
constexpr uint64 kSamples = 4096;

double freeShare(const FreeSpace& space) {
    const uint64 step = std::max<uint64>(1, space.mediaBytes() / kSamples);
    uint64 asked = 0;
    uint64 free = 0;
    for (uint64 byte = 0; byte < space.mediaBytes(); byte += step) {
        ++asked;
        free += space.isFree(byte) ? 1U : 0U;
    }
    return asked == 0 ? 0.0 : static_cast<double>(free) / static_cast<double>(asked);
}

/// Bytes that the media gives in a second; 0 when it gave none.
double measuredSpeed(ZCustomMedia& media) {
    const uint64 sectors = media.sizeBytes() / media.sectorSize();
    const uint32 atOnce = std::max(1U, kRequestBytes / media.sectorSize());
    std::vector<uint8> buffer(std::size_t{atOnce} * media.sectorSize());
    uint64 given = 0;
    const auto begun = Clock::now();
    for (uint64 place = 0; place < kPlaces; ++place) {
        media.seek(sectors * place / kPlaces);
        for (uint32 i = 0; i < kRequestsInARow && Clock::now() - begun < kMostTime; ++i)
            given += media.read(buffer.data(), atOnce);
    }
    const double seconds = Seconds(Clock::now() - begun).count();
    return static_cast<double>(given * media.sectorSize()) / std::max(seconds, 1e-6);
}

} // namespace

SearchForecast forecastSearch(ZCustomMedia& media, const ZVolume* today) {
    if (media.sectorSize() == 0 || media.sizeBytes() == 0)
        return {};
    const FreeSpace space(today, media.sizeBytes());
    const double bytes = static_cast<double>(space.mediaBytes()) * freeShare(space);
    SearchForecast forecast{static_cast<uint64>(bytes), {}};
    const double speed = std::min(measuredSpeed(media), kMostBytesPerSecond);
    if (speed > 0)
        forecast.duration = std::chrono::ceil<std::chrono::seconds>(Seconds(bytes / speed));
    return forecast;
}

} // namespace kova
