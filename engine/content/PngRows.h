#pragma once

#include "engine/types.h"

#include <cstddef>
#include <span>
#include <vector>

namespace kova {

/// The rows of a picture as they are inflated: each begins with the number of its filter, of which
/// there are five.
class PngRows {
public:
    static constexpr std::size_t kHeaderBytes = 13;

    /// Takes the data of the chunk "IHDR": width and height (4 bytes each, big-endian), bits of a
    /// sample, kind of colour, how it is packed, how it is filtered, whether it is interlaced.
    /// False when no picture has such a one.
    bool takeHeader(std::span<const uint8> header);

    /// Takes what comes next; false when it is no part of the picture.
    bool take(std::span<const uint8> inflated);

    /// Rows that have begun so far.
    [[nodiscard]] uint64 begun() const { return begun_; }

    /// No more rows are sure.
    static constexpr std::size_t kMostSure = 64;

    /// How many rows in a row begin rightly by accident hardly ever: more where the numbers of
    /// filters are frequent among the pixels too. At most `kMostSure`; 0 when no number of
    /// rows would do.
    [[nodiscard]] std::size_t sureRows() const;

private:
    /// One of the pictures of rising fineness that an interlaced one is stored as, or all of it.
    struct Pass {
        uint64 rowBytes = 0; ///< With the filter.
        uint64 rows = 0;
    };

    std::vector<Pass> passes_;
    std::size_t pass_ = 0;
    uint64 row_ = 0;     ///< In the pass.
    uint64 rowLeft_ = 0; ///< Bytes of the row that have begun.
    uint64 begun_ = 0;
    uint64 bytes_ = 0;     ///< All that was taken.
    uint64 asFilters_ = 0; ///< Those of them that could be the number of a filter.
};

} // namespace kova
