#pragma once

#include "engine/ByteRange.h"
#include "engine/content/ContentKind.h"

#include <string>
#include <vector>

namespace kova {

/// A file that was found by its content alone.
struct ContentFind {
    std::vector<ByteRange> place; ///< Where it lies, in its order.
    MeasuredContent content;      ///< Its length is that of the place.
    bool mayBeRest = false;       ///< Of a file whose beginning lies elsewhere.
    /// What a folder says of it, if any does: its name, the folders from the outermost on, and its
    /// times as FILETIMEs.
    std::wstring name;
    std::vector<std::wstring> folders;
    int64 creationTime = 0;
    int64 modificationTime = 0;
};

} // namespace kova
