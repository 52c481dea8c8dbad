#include "workers/OutputStream.h"

#include <algorithm>
#include <utility>

namespace {

/// Between two pieces a request to stop is seen.
constexpr kova::uint32 kLongestPiece = 1U << 20;

} // namespace

OutputStream::OutputStream(std::function<bool()> isToEnd)
    : ZFileStream(nullptr, 0, 0), isToEnd_(std::move(isToEnd)) {}

template <typename Operation>
auto OutputStream::writing(Operation operation) {
    if (isToEnd_())
        throw Interrupted();
    try {
        return operation();
    } catch (const Interrupted&) {
        throw; // A fill writes by `write`, which has seen it.
    } catch (...) {
        failed_ = true;
        throw;
    }
}

template <typename Piece>
kova::uint64 OutputStream::inPieces(kova::uint32 count, Piece piece) {
    for (kova::uint32 done = 0; done < count;) {
        const kova::uint32 size = std::min(count - done, kLongestPiece);
        writing([&] { return piece(done, size); });
        done += size;
        writtenEnd_ = std::max(writtenEnd_, seek(0, 1));
    }
    return count;
}

kova::uint64 OutputStream::write(const void* buffer, kova::uint32 count) {
    const auto* bytes = static_cast<const kova::uint8*>(buffer);
    return inPieces(count, [this, bytes](kova::uint32 offset, kova::uint32 size) {
        return ZFileStream::write(bytes + offset, size);
    });
}

kova::uint64 OutputStream::fill(kova::uint8 value, kova::uint32 count) {
    return inPieces(count, [this, value](kova::uint32 /*offset*/, kova::uint32 size) {
        return ZFileStream::fill(value, size);
    });
}

void OutputStream::resize(kova::int64 newSize) {
    writing([this, newSize] { ZFileStream::resize(newSize); });
}
