#pragma once

#include "engine/types.h"

#include <cstddef>
#include <span>

namespace kova {

/// The bytes in which a file is looked for, from its first byte on: clusters in a row, a list of
/// them with pieces stepped over, or memory. Used by one thread at a time.
class ContentSource {
public:
    ContentSource() = default;
    ContentSource(const ContentSource&) = delete;
    ContentSource& operator=(const ContentSource&) = delete;
    virtual ~ContentSource() = default;

    /// Bytes that there are: an upper bound of the file's length.
    [[nodiscard]] virtual uint64 size() const = 0;

    /// Reads into all of `bytes`, as far as there are any at `offset`. Returns how many it read;
    /// fewer than there are only where they cannot be read, which counts as the end.
    virtual std::size_t read(uint64 offset, std::span<uint8> bytes) = 0;
};

} // namespace kova
