#pragma once

#include "engine/types.h"

namespace kova {

/// Random-access byte stream. Volumes extract file data into one.
///
/// Every operation that fails throws the `int` 0; what it had done until then stays done.
/// A stream is used by one thread at a time.
class ZStream {
public:
    ZStream() = default;
    ZStream(const ZStream&) = delete;
    ZStream& operator=(const ZStream&) = delete;
    virtual ~ZStream() = default;

    /// Moves the position. `origin` 0 counts from the start, 1 from the current position, 2 from
    /// the end. Returns the new position in bytes from the start.
    virtual int64 seek(int64 offset, int origin) = 0;

    /// Reads up to `count` bytes at the position and moves past them. Returns the bytes read,
    /// fewer than `count` only at the end.
    virtual uint64 read(void* buffer, uint32 count) = 0;

    /// Writes `count` bytes at the position and moves past them. Returns the bytes written.
    virtual uint64 write(const void* buffer, uint32 count) = 0;

    /// Writes `count` copies of `value` at the position. Returns the bytes written.
    virtual uint64 fill(uint8 value, uint32 count) = 0;

    /// Writes `count` zero bytes at the position, of any number. A stream that can makes them a
    /// hole, in one step.
    virtual void fillZeros(int64 count);

    /// Current length in bytes.
    virtual int64 size() = 0;

    /// Sets the length in bytes; bytes that are added are zero.
    virtual void resize(int64 newSize) = 0;

    /// Says how many bytes the stream will probably hold. Only a hint.
    virtual void reserve(int64 capacity) { static_cast<void>(capacity); }

protected:
    /// What `seek` counts from.
    int64 baseOf(int origin, int64 position);
};

inline void ZStream::fillZeros(int64 count) {
    constexpr uint32 kPiece = 1U << 30;
    while (count > 0) {
        const uint32 piece = count < kPiece ? static_cast<uint32>(count) : kPiece;
        fill(0, piece);
        count -= piece;
    }
}

inline int64 ZStream::baseOf(int origin, int64 position) {
    switch (origin) {
    case 0:
        return 0;
    case 1:
        return position;
    case 2:
        return size();
    default:
        fail();
    }
}

} // namespace kova
