#pragma once

#include "engine/content/ContentReader.h"
#include "engine/content/InflateStream.h"

#include <functional>

namespace kova {

/// Checks deflated data by inflating it (with zlib); nothing of it is kept.
class Inflater {
public:
    using Wrapper = InflateStream::Wrapper;

    struct Outcome {
        bool whole = false;  ///< The data came to its end.
        uint64 end = 0;      ///< Offset behind the last byte that was used.
        uint64 produced = 0; ///< Bytes inflated.
        uint32 crc = 0;      ///< Their CRC-32.
    };

    /// Takes inflated bytes as they come, for who wants them.
    using Sink = std::function<void(std::span<const uint8>)>;

    /// Inflates from `at` on, not beyond `limit` nor the source. One byte of input gives at most
    /// 1032 of output, so that time is bounded by the input; beyond `kMost` it gives up.
    [[nodiscard]] static Outcome run(ContentReader& reader, uint64 at, uint64 limit,
                                     Wrapper wrapper, const Sink& sink = {});

private:
    static constexpr uint64 kMost = uint64{64} << 30;
};

} // namespace kova
