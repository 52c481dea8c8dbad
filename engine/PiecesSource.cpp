#include "engine/PiecesSource.h"

#include <algorithm>
#include <iterator>

namespace kova {

PiecesSource::PiecesSource(ZCustomMedia& media, const std::vector<ByteRange>& pieces)
    : reader_(media) {
    pieces_.reserve(pieces.size());
    for (const ByteRange& range : pieces) {
        if (range.length == 0)
            continue;
        pieces_.push_back({size_, range});
        size_ += range.length;
    }
}

std::size_t PiecesSource::read(uint64 offset, std::span<uint8> bytes) {
    if (offset >= size_)
        return 0;
    const auto behind =
        std::upper_bound(pieces_.begin(), pieces_.end(), offset,
                         [](uint64 value, const Piece& piece) { return value < piece.offset; });
    std::size_t done = 0;
    for (auto piece = std::prev(behind); piece != pieces_.end() && done < bytes.size(); ++piece) {
        const uint64 into = offset + done - piece->offset;
        const auto count = static_cast<std::size_t>(
            std::min<uint64>(bytes.size() - done, piece->range.length - into));
        reader_.read(piece->range.start + into, bytes.subspan(done, count));
        done += count;
    }
    return done;
}

} // namespace kova
