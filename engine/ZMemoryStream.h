#pragma once

#include "engine/ZStream.h"

#include <vector>

namespace kova {

/// A stream in memory: a byte vector that grows with the writes, and a position.
///
/// Only `seek` fails (throws 0): an unknown origin, or a target that is not inside the stream.
/// The end itself is not inside, so seeking there, or anywhere in an empty stream, fails too.
class ZMemoryStream : public ZStream {
public:
    ZMemoryStream() = default;

    int64 seek(int64 offset, int origin) override;
    uint64 read(void* buffer, uint32 count) override;
    uint64 write(const void* buffer, uint32 count) override;
    uint64 fill(uint8 value, uint32 count) override;
    int64 size() override;
    void resize(int64 newSize) override;
    void reserve(int64 capacity) override;

    /// The bytes, which the caller may take out by moving from them.
    [[nodiscard]] std::vector<uint8>& bytes() { return bytes_; }

    [[nodiscard]] const std::vector<uint8>& bytes() const { return bytes_; }

private:
    /// Grows the vector so that `count` bytes fit at the position; returns where they go.
    uint8* makeRoom(uint32 count);

    std::vector<uint8> bytes_;
    int64 position_ = 0;
};

} // namespace kova
