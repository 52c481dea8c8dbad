#pragma once

#include "engine/ByteRange.h"
#include "engine/content/ContentKind.h"

#include <vector>

namespace kova {

/// A file that was found by its content alone.
struct ContentFind {
    std::vector<ByteRange> place; ///< Where it lies, in its order.
    MeasuredContent content;      ///< Its length is that of the place.
};

} // namespace kova
