#pragma once

#include "engine/ByteReader.h"
#include "engine/content/ContentSource.h"
#include "engine/search/FreeSpace.h"
#include "engine/search/TakenSpace.h"

#include <vector>

namespace kova {

/// A file that may begin somewhere on a media: its bytes go on in whatever is free behind, live
/// files and, if wanted, files already found being stepped over, as file systems write round them.
class PlacedSource : public ContentSource {
public:
    /// `start` is a byte of the media, a multiple of 512. None of the rest is owned; `taken` may be
    /// null.
    PlacedSource(ZCustomMedia& media, const FreeSpace& space, uint64 start,
                 const TakenSpace* taken = nullptr);

    [[nodiscard]] uint64 size() const override { return mostBytes_; }

    std::size_t read(uint64 offset, std::span<uint8> bytes) override;

    /// Lets the file go on at byte `start` of the media from its byte `offset` on.
    void goOnAt(uint64 offset, uint64 start);

    /// Where byte `offset` of the file lies; the end of the media where it has none.
    [[nodiscard]] uint64 positionOf(uint64 offset);

    /// Where the first `length` bytes lie, in their order.
    [[nodiscard]] std::vector<ByteRange> place(uint64 length);

    /// Bytes read from the media so far.
    [[nodiscard]] uint64 bytesRead() const { return reader_.bytesRead(); }

private:
    struct Piece {
        uint64 offset; ///< In the file.
        ByteRange range;

        [[nodiscard]] uint64 end() const { return offset + range.length; }
    };

    bool extendTo(uint64 offset);
    const Piece* pieceOf(uint64 offset);
    [[nodiscard]] uint64 alignedUp(uint64 position) const;

    ByteReader reader_;
    const FreeSpace& space_;
    const TakenSpace* taken_;
    uint64 start_;
    uint64 mostBytes_;
    std::vector<Piece> pieces_; ///< As far as they are known.
    uint64 next_;               ///< Where on the media the piece after them is looked for.
};

} // namespace kova
