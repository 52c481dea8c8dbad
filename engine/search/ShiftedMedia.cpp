#include "engine/search/ShiftedMedia.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace kova {

ShiftedMedia::ShiftedMedia(ZCustomMedia& media, int64 first)
    : ZCustomMedia(media.sectorSize()), media_(media), first_(first) {}

uint32 ShiftedMedia::read(void* buffer, uint32 sectors) {
    const uint64 before = first_ < 0 ? static_cast<uint64>(-first_) : 0;
    const auto missing =
        static_cast<uint32>(std::min<uint64>(sectors, before - std::min(before, position_)));
    std::memset(buffer, 0, static_cast<std::size_t>(missing) * sectorSize());
    // A sum that leaves the range leads beyond the end of any media.
    media_.seek(position_ + missing + static_cast<uint64>(first_));
    const uint32 given =
        media_.read(static_cast<uint8*>(buffer) + static_cast<std::size_t>(missing) * sectorSize(),
                    sectors - missing);
    position_ += sectors;
    return given;
}

uint64 ShiftedMedia::position() {
    return position_;
}

bool ShiftedMedia::seek(uint64 sector) {
    position_ = std::min<uint64>(sector, std::numeric_limits<int64>::max() / 2);
    return true;
}

uint64 ShiftedMedia::sizeBytes() const {
    const uint64 bytes = media_.sizeBytes();
    if (bytes == 0)
        return 0;
    const auto shift = static_cast<uint64>(first_) * sectorSize();
    return first_ > 0 ? bytes - std::min(bytes, shift) : bytes - shift;
}

} // namespace kova
