#include "engine/ZMemoryStream.h"

#include <algorithm>
#include <cstring>

namespace kova {

int64 ZMemoryStream::seek(int64 offset, int origin) {
    const int64 base = baseOf(origin, position_);
    // Both bases are non-negative, so the limits below cannot overflow.
    if (offset < -base || offset >= size() - base)
        fail();
    position_ = base + offset;
    return position_;
}

uint64 ZMemoryStream::read(void* buffer, uint32 count) {
    const auto left = static_cast<uint64>(std::max<int64>(size() - position_, 0));
    const auto taken = static_cast<std::size_t>(std::min<uint64>(count, left));
    if (taken > 0)
        std::memcpy(buffer, bytes_.data() + position_, taken);
    position_ += static_cast<int64>(taken);
    return taken;
}

uint8* ZMemoryStream::makeRoom(uint32 count) {
    const auto end = static_cast<std::size_t>(position_) + count;
    if (end > bytes_.size())
        bytes_.resize(end);
    return bytes_.data() + position_;
}

uint64 ZMemoryStream::write(const void* buffer, uint32 count) {
    if (count == 0)
        return 0;
    std::memcpy(makeRoom(count), buffer, count);
    position_ += count;
    return count;
}

uint64 ZMemoryStream::fill(uint8 value, uint32 count) {
    if (count == 0)
        return 0;
    std::memset(makeRoom(count), value, count);
    position_ += count;
    return count;
}

int64 ZMemoryStream::size() {
    return static_cast<int64>(bytes_.size());
}

void ZMemoryStream::resize(int64 newSize) {
    if (newSize < 0)
        fail();
    bytes_.resize(static_cast<std::size_t>(newSize));
    position_ = std::min(position_, newSize);
}

void ZMemoryStream::reserve(int64 capacity) {
    bytes_.reserve(static_cast<std::size_t>(std::max(capacity, size())));
}

} // namespace kova
