#include "engine/ZFileStream.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace kova {

namespace {

/// `fill` writes in pieces of this size, so that its memory does not grow with the count.
constexpr uint32 kFillPiece = 1U << 20;

} // namespace

ZFileStream::ZFileStream(const wchar_t* path, uint32 creationDisposition, uint32 desiredAccess) {
    if (path != nullptr)
        static_cast<void>(file_.open(path, creationDisposition, desiredAccess));
}

bool ZFileStream::open(const wchar_t* path, uint32 creationDisposition, uint32 desiredAccess) {
    position_ = 0;
    return file_.open(path, creationDisposition, desiredAccess);
}

bool ZFileStream::open(const platform::Folder& folder, const std::wstring& name,
                       uint32 creationDisposition, uint32 desiredAccess, platform::Links links) {
    position_ = 0;
    return file_.open(folder, name, creationDisposition, desiredAccess, links);
}

int64 ZFileStream::seek(int64 offset, int origin) {
    const int64 base = baseOf(origin, position_);
    if (!file_.isOpen() || offset < -base || offset > std::numeric_limits<int64>::max() - base)
        fail();
    position_ = base + offset;
    return position_;
}

uint64 ZFileStream::read(void* buffer, uint32 count) {
    if (count == 0)
        return 0;
    const int64 taken = file_.readAt(position_, buffer, count);
    if (taken < 0)
        fail();
    position_ += taken;
    return static_cast<uint64>(taken);
}

uint64 ZFileStream::write(const void* buffer, uint32 count) {
    if (count == 0)
        return 0;
    if (!file_.writeAt(position_, buffer, count))
        fail();
    position_ += count;
    return count;
}

uint64 ZFileStream::fill(uint8 value, uint32 count) {
    if (count == 0)
        return 0;
    // Zeros at the end need not be written: the longer file reads as zeros there, and the output
    // of a sparse file stays sparse.
    if (value == 0 && position_ >= size()) {
        if (!file_.truncate(position_ + count))
            fail();
        position_ += count;
        return count;
    }
    const std::vector<uint8> piece(std::min(count, kFillPiece), value);
    for (uint32 left = count; left > 0;)
        left -= static_cast<uint32>(
            write(piece.data(), std::min(left, static_cast<uint32>(piece.size()))));
    return count;
}

void ZFileStream::fillZeros(int64 count) {
    if (position_ < size()) {
        ZStream::fillZeros(count);
        return;
    }
    // The longer file reads as zeros there.
    if (count > std::numeric_limits<int64>::max() - position_ || !file_.truncate(position_ + count))
        fail();
    position_ += count;
}

int64 ZFileStream::size() {
    const int64 length = file_.size();
    if (length < 0)
        fail();
    return length;
}

void ZFileStream::resize(int64 newSize) {
    if (newSize < 0 || !file_.truncate(newSize))
        fail();
    if (newSize <= position_)
        position_ = size();
}

} // namespace kova
