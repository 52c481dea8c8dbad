#pragma once

#include "engine/ZCustomMedia.h"

#include <span>
#include <vector>

namespace kova {

/// Reads bytes of a media that need not begin or end with a sector.
class ByteReader {
public:
    /// `media`, whose sector size is known, is not owned.
    explicit ByteReader(ZCustomMedia& media) : media_(media) {}

    /// Fills `bytes` from byte `position` of the media on; what it does not give is zero.
    void read(uint64 position, std::span<uint8> bytes);

    /// Bytes asked for so far.
    [[nodiscard]] uint64 bytesRead() const { return bytesRead_; }

private:
    ZCustomMedia& media_;
    std::vector<uint8> sectors_;
    uint64 bytesRead_ = 0;
};

} // namespace kova
