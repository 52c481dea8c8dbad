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

void OutputStream::keepHash() {
    hash_.emplace([this] { throwIfToEnd(); });
}

void OutputStream::throwIfToEnd() const {
    if (isToEnd_())
        throw Interrupted();
}

bool OutputStream::isHashed() {
    if (!hash_ || !isInOrder_)
        return false;
    isInOrder_ = seek(0, 1) == hash_->length();
    return isInOrder_;
}

template <typename Operation>
auto OutputStream::writing(Operation operation) {
    throwIfToEnd();
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
        const bool hashed = isHashed();
        writing([&] { return ZFileStream::write(bytes + done, size); });
        if (hashed)
            hash_->add(bytes + done, size);
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
        const bool hashed = isHashed();
        writing([&] { return ZFileStream::fill(value, size); });
        if (hashed)
            hashUpTo(seek(0, 1), value);
        done += size;
        moved(isHole ? 0 : size);
        if (isHole && Clock::now() - begun < kQuick && piece <= count / 2)
            piece *= 2;
    }
    return count;
}

void OutputStream::fillZeros(kova::int64 count) {
    // One step at the end of a file, however many; elsewhere it fills, by pieces.
    const bool hashed = isHashed();
    writing([this, count] { ZFileStream::fillZeros(count); });
    if (hashed)
        hashUpTo(seek(0, 1), 0);
    writtenEnd_ = std::max(writtenEnd_, seek(0, 1));
}

void OutputStream::resize(kova::int64 newSize) {
    if (hash_)
        isInOrder_ = isInOrder_ && size() == hash_->length() && newSize >= hash_->length();
    writing([this, newSize] { ZFileStream::resize(newSize); });
    if (hash_ && isInOrder_)
        hashUpTo(newSize, 0);
}

/// What a step of the base class has written by `write` is in the hash already.
void OutputStream::hashUpTo(kova::int64 end, kova::uint8 value) {
    hash_->addFill(value, end - hash_->length());
}

QByteArray OutputStream::sha256() {
    if (!hash_ || !isOpen())
        return {};
    if (isInOrder_ && hash_->length() == file().size())
        return hash_->result();
    ContentHash read([this] { throwIfToEnd(); });
    return read.addFile(file()) ? read.result() : QByteArray();
}
