#pragma once

#include "engine/types.h"
#include "format/LittleEndian.h"

#include <cstddef>
#include <span>

namespace kova {

using format::loadLe;
using format::storeLe;

/// Reads a little-endian integer `offset` bytes into `bytes`. A field that leaves the buffer is
/// the generic failure.
template <typename T>
[[nodiscard]] inline T readLe(std::span<const uint8> bytes, std::size_t offset) {
    if (offset > bytes.size() || bytes.size() - offset < sizeof(T))
        fail();
    return loadLe<T>(bytes.data() + offset);
}

} // namespace kova
