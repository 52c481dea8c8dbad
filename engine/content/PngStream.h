#pragma once

#include "engine/content/InflateStream.h"
#include "engine/content/PngRows.h"

#include <array>
#include <cstddef>
#include <span>
#include <string_view>

namespace kova {

/// Follows a PNG from byte to byte, into its packed pixels too, so that a wrong byte shows long
/// before the checksum of its chunk. A copy goes on by itself.
class PngStream {
public:
    /// Bytes of the signature, behind which it begins.
    static constexpr uint64 kFirstChunk = 8;
    /// Takes the next bytes, up to the first that is wrong; false when there is one.
    bool take(std::span<const uint8> bytes);

    /// Offset of the next byte.
    [[nodiscard]] uint64 at() const { return at_; }

    /// Up to here it is right for sure.
    [[nodiscard]] uint64 sound() const;

    [[nodiscard]] const PngRows& rows() const { return rows_; }

    /// Whether it has come to its end.
    [[nodiscard]] bool isEnded() const { return part_ == Part::Ended; }

private:
    enum class Part { Header, Data, Checksum, Ended };

    static constexpr std::size_t kChunkHeader = 8;
    static constexpr std::size_t kChecksum = 4;
    bool takePart(std::span<const uint8>& bytes);
    bool takeData(std::span<const uint8> data);
    bool inflate(std::span<const uint8> data);
    bool inflateStep(std::span<const uint8> data, uint64 from);
    [[nodiscard]] bool isType(std::string_view type) const;
    [[nodiscard]] bool gather(std::span<const uint8>& bytes, std::size_t wanted);

    uint64 at_ = kFirstChunk;
    uint64 chunkAt_ = kFirstChunk; ///< Where the last chunk begins, before which all is proven.
    uint64 left_ = 0;              ///< Bytes of the chunk's data to come.
    std::size_t gathered_ = 0;     ///< Of `field_`.
    std::array<uint8, 16> field_{};
    std::array<uint8, 4> type_{};
    std::array<uint64, PngRows::kMostSure>
        rowsAt_{}; ///< Where the last rows begin, by their numbers.
    PngRows rows_;
    InflateStream packed_{InflateStream::Wrapper::Zlib};
    uint32 crc_ = 0;
    Part part_ = Part::Header;
    bool hasRows_ = false; ///< Their lengths are known.
    bool packedEnded_ = false;
};

} // namespace kova
