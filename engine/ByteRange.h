#pragma once

#include "engine/types.h"

namespace kova {

/// A stretch of bytes of a media.
struct ByteRange {
    uint64 start = 0;  ///< Byte on the media.
    uint64 length = 0; ///< Bytes.

    [[nodiscard]] uint64 end() const { return start + length; }

    friend bool operator==(const ByteRange&, const ByteRange&) = default;
};

} // namespace kova
