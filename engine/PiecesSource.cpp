#include "engine/PiecesSource.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace kova {

PiecesSource::PiecesSource(ZCustomMedia& media, const std::vector<ByteRange>& pieces)
    : media_(media) {
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
        readMedia(piece->range.start + into, bytes.subspan(done, count));
        done += count;
    }
    return done;
}

void PiecesSource::readMedia(uint64 position, std::span<uint8> bytes) {
    const uint32 sectorBytes = media_.sectorSize();
    const auto skipped = static_cast<std::size_t>(position % sectorBytes);
    const std::size_t sectors = (skipped + bytes.size() + sectorBytes - 1) / sectorBytes;
    bounce_.resize(sectors * sectorBytes);
    media_.seek(position / sectorBytes);
    media_.read(bounce_.data(), static_cast<uint32>(sectors));
    std::memcpy(bytes.data(), bounce_.data() + skipped, bytes.size());
    bytesRead_ += bytes.size();
}

} // namespace kova
