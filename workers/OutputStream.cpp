#include "workers/OutputStream.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace {

/// Between two pieces a request to stop is seen.
constexpr kova::uint32 kPiece = 1U << 20;

/// A hole costs next to nothing on most drives, and as much as data on some. While it costs less
/// time than this, the next piece of it is twice as long.
constexpr std::chrono::milliseconds kQuick{50};

/// What is written is waited for whenever it comes to so many bytes, so that the end of a long file
/// has little to wait for.
constexpr kova::uint64 kMostUnsynced = kova::uint64{256} << 20;

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

void OutputStream::moved(kova::uint32 count) {
    writtenEnd_ = std::max(writtenEnd_, seek(0, 1));
    unsynced_ += count;
    if (unsynced_ < kMostUnsynced)
        return;
    unsynced_ = 0;
    writing([this] {
        if (!file().sync())
            throw 0;
    });
}

kova::uint64 OutputStream::write(const void* buffer, kova::uint32 count) {
    const auto* bytes = static_cast<const kova::uint8*>(buffer);
    for (kova::uint32 done = 0; done < count;) {
        const kova::uint32 size = std::min(count - done, kPiece);
        writing([&] { return ZFileStream::write(bytes + done, size); });
        done += size;
        moved(size);
    }
    return count;
}

kova::uint64 OutputStream::fill(kova::uint8 value, kova::uint32 count) {
    using Clock = std::chrono::steady_clock;
    kova::uint32 piece = kPiece;
    for (kova::uint32 done = 0; done < count;) {
        const kova::uint32 size = std::min(count - done, piece);
        const Clock::time_point begun = Clock::now();
        const bool isHole = value == 0 && seek(0, 1) >= this->size();
        writing([&] { return ZFileStream::fill(value, size); });
        done += size;
        moved(isHole ? 0 : size);
        if (isHole && Clock::now() - begun < kQuick && piece <= count / 2)
            piece *= 2;
    }
    return count;
}

void OutputStream::fillZeros(kova::int64 count) {
    // One step at the end of a file, however many; elsewhere it fills, by pieces.
    writing([this, count] { ZFileStream::fillZeros(count); });
    writtenEnd_ = std::max(writtenEnd_, seek(0, 1));
}

void OutputStream::resize(kova::int64 newSize) {
    writing([this, newSize] { ZFileStream::resize(newSize); });
}
