#pragma once

#include "engine/ZVolume.h"

#include <chrono>

namespace kova {

/// What a search of a whole drive will take, told before it begins.
struct SearchForecast {
    uint64 bytes = 0;                ///< About as many will be looked at; 0: not known.
    std::chrono::seconds duration{}; ///< Not known when it is 0.
};

/// Reads here and there on `media` for a fraction of a second to learn how fast it is. `today`, the
/// volume on it, tells what live files hold; it may be null. Exceptions of the media's read hook
/// pass out.
[[nodiscard]] SearchForecast forecastSearch(ZCustomMedia& media, const ZVolume* today);

} // namespace kova
