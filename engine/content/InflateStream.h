#pragma once

#include "engine/types.h"

#include <zlib.h>

namespace kova {

/// zlib's state, ended with its owner. A copy goes on by itself.
class InflateStream {
public:
    enum class Wrapper { None, Zlib };

    explicit InflateStream(Wrapper wrapper) {
        constexpr int kWindowBits = 15;
        if (inflateInit2(&z_, wrapper == Wrapper::None ? -kWindowBits : kWindowBits) != Z_OK)
            fail();
    }

    InflateStream(const InflateStream& other) {
        // zlib does not write to what it copies.
        if (inflateCopy(&z_, const_cast<z_stream*>(&other.z_)) != Z_OK) // NOLINT
            fail();
    }

    InflateStream& operator=(const InflateStream&) = delete;

    ~InflateStream() { inflateEnd(&z_); }

    z_stream* operator->() { return &z_; }

    int inflate() { return ::inflate(&z_, Z_NO_FLUSH); }

private:
    z_stream z_{};
};

} // namespace kova
