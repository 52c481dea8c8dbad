#pragma once

#include "engine/ZMemoryStream.h"

namespace kova {

/// A stream in memory that does not grow beyond a limit: what would make it fails.
class BoundedStream : public ZMemoryStream {
public:
    /// `mostBytes` is 0 or more.
    explicit BoundedStream(int64 mostBytes) : mostBytes_(mostBytes) {}

    uint64 write(const void* buffer, uint32 count) override {
        check(count);
        return ZMemoryStream::write(buffer, count);
    }

    uint64 fill(uint8 value, uint32 count) override {
        check(count);
        return ZMemoryStream::fill(value, count);
    }

    void resize(int64 newSize) override {
        check(newSize - size());
        ZMemoryStream::resize(newSize);
    }

    /// Whoever says so much may be wrong.
    void reserve(int64 capacity) override {
        if (capacity <= mostBytes_)
            ZMemoryStream::reserve(capacity);
    }

private:
    void check(int64 count) {
        if (count > mostBytes_ - size())
            fail();
    }

    int64 mostBytes_;
};

} // namespace kova
