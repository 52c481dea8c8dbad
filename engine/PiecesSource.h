#pragma once

#include "engine/ByteRange.h"
#include "engine/ByteReader.h"
#include "engine/content/ContentSource.h"

#include <vector>

namespace kova {

/// A file that lies on a media in these pieces, in their order.
class PiecesSource : public ContentSource {
public:
    /// Each piece begins at a multiple of 512 bytes of the media, which is not owned.
    PiecesSource(ZCustomMedia& media, const std::vector<ByteRange>& pieces);

    [[nodiscard]] uint64 size() const override { return size_; }

    std::size_t read(uint64 offset, std::span<uint8> bytes) override;

    /// Bytes read from the media so far.
    [[nodiscard]] uint64 bytesRead() const { return reader_.bytesRead(); }

private:
    struct Piece {
        uint64 offset; ///< In the file.
        ByteRange range;
    };

    ByteReader reader_;
    std::vector<Piece> pieces_;
    uint64 size_ = 0;
};

} // namespace kova
