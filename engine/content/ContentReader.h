#pragma once

#include "engine/content/ContentSource.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kova {

/// Reads fields of a source through a window of it. Whatever leaves the source is the generic
/// failure, which a kind lets pass: it means that the file goes on where there is nothing more.
class ContentReader {
public:
    /// Bytes that a call gives at most.
    static constexpr std::size_t kWindow = std::size_t{64} << 10;

    explicit ContentReader(ContentSource& source) : source_(source), size_(source.size()) {}

    /// Bytes of the source.
    [[nodiscard]] uint64 size() const { return size_; }

    /// Whether `count` bytes at `offset` lie inside; any values will do.
    [[nodiscard]] bool has(uint64 offset, uint64 count) const {
        return offset <= size_ && size_ - offset >= count;
    }

    /// `count` bytes (at most `kWindow`) at `offset`, until the next call.
    std::span<const uint8> bytes(uint64 offset, std::size_t count);

    /// What there is at `offset`, at most `most` and `kWindow` bytes, until the next call. Empty at
    /// the end.
    std::span<const uint8> some(uint64 offset, uint64 most = kWindow);

    uint8 byte(uint64 offset) { return bytes(offset, 1)[0]; }

    template <typename T>
    T le(uint64 offset);
    template <typename T>
    T be(uint64 offset);

    /// Whether these bytes lie at `offset`; false where the source ends before.
    bool matches(uint64 offset, std::string_view what);

    /// Where `what` (not empty, at most 1 KiB) lies first, with its first byte at `from` or
    /// later and all of it before `to`.
    std::optional<uint64> find(std::string_view what, uint64 from, uint64 to);

    /// `count` bytes at `offset` as text of one byte a character; `count` is cut to `kWindow`.
    std::string text(uint64 offset, uint64 count);

    /// Where the zeros that begin at `from` end, `to` at the latest.
    uint64 zerosEnd(uint64 from, uint64 to);

    /// CRC-32 (as of zlib) of `count` bytes at `offset`, continuing `crc`.
    uint32 crc32(uint64 offset, uint64 count, uint32 crc = 0);

private:
    /// A place that is jumped to is often left again at once.
    static constexpr std::size_t kFirstRead = std::size_t{4} << 10;

    void fill(uint64 offset, std::size_t count);

    ContentSource& source_;
    uint64 size_;
    std::vector<uint8> window_;
    uint64 begin_ = 0;     ///< Offset of the window's first byte.
    std::size_t held_ = 0; ///< Bytes of the window that are filled.
};

} // namespace kova

#include "engine/BigEndian.h"
#include "engine/LittleEndian.h"

namespace kova {

template <typename T>
T ContentReader::le(uint64 offset) {
    return loadLe<T>(bytes(offset, sizeof(T)).data());
}

template <typename T>
T ContentReader::be(uint64 offset) {
    return loadBe<T>(bytes(offset, sizeof(T)).data());
}

} // namespace kova
