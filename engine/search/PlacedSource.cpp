#include "engine/search/PlacedSource.h"

#include <algorithm>

namespace kova {

namespace {

/// Pieces are looked up in stretches of this many bytes, so that what is never read costs nothing.
constexpr uint64 kPieceBytes = uint64{1} << 20;

} // namespace

PlacedSource::PlacedSource(ZCustomMedia& media, const FreeSpace& space, uint64 start,
                           const TakenSpace* taken)
    : reader_(media), space_(space), taken_(taken), start_(start),
      mostBytes_(space.mediaBytes() - std::min(space.mediaBytes(), start)), next_(start) {}

/// Finds pieces until byte `offset` lies in one; false when there is no room left.
bool PlacedSource::extendTo(uint64 offset) {
    while (pieces_.empty() || pieces_.back().end() <= offset) {
        auto range = space_.next(next_, kPieceBytes);
        if (!range)
            return false;
        // The file's own first piece may lie in what another one was taken for.
        if (taken_ != nullptr) {
            const auto other = taken_->at(range->start);
            if (other && !pieces_.empty()) {
                next_ = alignedUp(other->end());
                continue;
            }
            range->length = std::min(range->length, taken_->nextStart(range->start) - range->start);
        }
        next_ = range->end();
        if (!pieces_.empty() && pieces_.back().range.end() == range->start)
            pieces_.back().range.length += range->length;
        else
            pieces_.push_back({pieces_.empty() ? 0 : pieces_.back().end(), *range});
    }
    return true;
}

/// The next place at which a cluster of the file may begin, as its first one tells.
uint64 PlacedSource::alignedUp(uint64 position) const {
    const uint64 unit = space_.unitBytes();
    const uint64 into = position - std::min(position, start_);
    return start_ + (into + unit - 1) / unit * unit;
}

const PlacedSource::Piece* PlacedSource::pieceOf(uint64 offset) {
    if (!extendTo(offset))
        return nullptr;
    const auto after =
        std::upper_bound(pieces_.begin(), pieces_.end(), offset,
                         [](uint64 value, const Piece& piece) { return value < piece.offset; });
    return &*std::prev(after);
}

std::size_t PlacedSource::read(uint64 offset, std::span<uint8> bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const Piece* piece = pieceOf(offset + done);
        if (piece == nullptr)
            break;
        const uint64 inPiece = offset + done - piece->offset;
        const auto count = static_cast<std::size_t>(
            std::min<uint64>(bytes.size() - done, piece->range.length - inPiece));
        reader_.read(piece->range.start + inPiece, bytes.subspan(done, count));
        done += count;
    }
    return done;
}

void PlacedSource::goOnAt(uint64 offset, uint64 start) {
    if (pieceOf(offset) == nullptr)
        return;
    while (!pieces_.empty() && pieces_.back().offset >= offset)
        pieces_.pop_back();
    if (!pieces_.empty())
        pieces_.back().range.length = offset - pieces_.back().offset;
    next_ = start;
}

uint64 PlacedSource::positionOf(uint64 offset) {
    const Piece* piece = pieceOf(offset);
    return piece == nullptr ? space_.mediaBytes() : piece->range.start + (offset - piece->offset);
}

std::vector<ByteRange> PlacedSource::place(uint64 length) {
    std::vector<ByteRange> place;
    if (length == 0 || !extendTo(length - 1))
        return place;
    for (const Piece& piece : pieces_) {
        if (piece.offset >= length)
            break;
        place.push_back({piece.range.start, std::min(piece.range.length, length - piece.offset)});
    }
    return place;
}

} // namespace kova
