#include "engine/ntfs/SystemUnpacker.h"

#include "engine/ntfs/Lzx.h"
#include "engine/ntfs/Xpress.h"

#include <algorithm>
#include <array>
#include <limits>

namespace kova {

namespace {

using Packing = ntfs::ReparsePoint::Packing;

/// Windows packs programs, not archives: a longer table is none.
constexpr uint64 kLongestTable = uint64{64} << 20;

/// Zeros stand for what could not be read; more of them at once are no damage, but crafted.
constexpr int64 kMostZeros = int64{64} << 20;

std::size_t chunkBytesOf(Packing packing) {
    constexpr std::size_t kKiB = 1024;
    switch (packing) {
    case Packing::Xpress4K:
        return 4 * kKiB;
    case Packing::Xpress8K:
        return 8 * kKiB;
    case Packing::Xpress16K:
        return 16 * kKiB;
    case Packing::Lzx:
    case Packing::None:
        break;
    }
    return Lzx::kChunkBytes;
}

} // namespace

SystemUnpacker::SystemUnpacker(ZStream& out, Packing packing, uint64 size, uint64 packedSize)
    : out_(out), packing_(packing), left_(size), packedSize_(packedSize),
      chunkBytes_(chunkBytesOf(packing)),
      chunks_(size / chunkBytes_ + (size % chunkBytes_ != 0 ? 1 : 0)),
      entryBytes_(size > std::numeric_limits<uint32>::max() ? sizeof(uint64) : sizeof(uint32)) {
    const uint64 tableBytes = chunks_ == 0 ? 0 : (chunks_ - 1) * entryBytes_;
    isPossible_ = packing != Packing::None && tableBytes <= std::min(packedSize, kLongestTable);
    if (isPossible_)
        tableBytes_ = static_cast<std::size_t>(tableBytes);
    else
        chunks_ = 0;
}

/// Where a chunk ends, counted from the first one's begin. That of the last is not stored.
uint64 SystemUnpacker::endOfChunk(uint64 chunk) const {
    if (chunk + 1 == chunks_)
        return packedSize_ - table_.size();
    const uint8* const entry = table_.data() + chunk * entryBytes_;
    return entryBytes_ == sizeof(uint64) ? loadLe<uint64>(entry) : loadLe<uint32>(entry);
}

uint64 SystemUnpacker::write(const void* buffer, uint32 count) {
    if (isGivenUp_)
        return count;
    auto bytes = std::span(static_cast<const uint8*>(buffer), count);
    const auto entries = bytes.first(std::min(tableBytes_ - table_.size(), bytes.size()));
    table_.insert(table_.end(), entries.begin(), entries.end());
    bytes = bytes.subspan(entries.size());
    waiting_.insert(waiting_.end(), bytes.begin(), bytes.end());
    take();
    return count;
}

uint64 SystemUnpacker::fill(uint8 value, uint32 count) {
    std::array<uint8, 4096> bytes{};
    bytes.fill(value);
    for (uint32 left = count; left > 0 && !isGivenUp_;) {
        const uint32 now = std::min(left, static_cast<uint32>(bytes.size()));
        write(bytes.data(), now);
        left -= now;
    }
    return count;
}

void SystemUnpacker::fillZeros(int64 count) {
    if (count > kMostZeros)
        isGivenUp_ = true;
    else
        ZStream::fillZeros(count);
}

/// Gives the chunks that have arrived.
void SystemUnpacker::take() {
    std::size_t used = 0;
    while (chunk_ < chunks_ && table_.size() == tableBytes_) {
        const uint64 begin = chunk_ == 0 ? 0 : endOfChunk(chunk_ - 1);
        const uint64 end = endOfChunk(chunk_);
        if (begin < position_ || end <= begin || end - begin > chunkBytes_) {
            giveChunk({}); // The next ends may make sense again.
            continue;
        }
        const auto between = std::min<uint64>(begin - position_, waiting_.size() - used);
        used += static_cast<std::size_t>(between);
        position_ += between;
        const auto bytes = static_cast<std::size_t>(end - begin);
        if (position_ < begin || waiting_.size() - used < bytes)
            break;
        giveChunk(std::span(waiting_).subspan(used, bytes));
        used += bytes;
        position_ = end;
    }
    waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(used));
    isGivenUp_ = chunk_ == chunks_;
}

/// Gives the next chunk; what cannot be expanded as zeros.
void SystemUnpacker::giveChunk(std::span<const uint8> packed) {
    const auto bytes = static_cast<std::size_t>(std::min<uint64>(chunkBytes_, left_));
    ++chunk_;
    left_ -= bytes;
    if (packed.size() == bytes) { // It did not become shorter.
        out_.write(packed.data(), static_cast<uint32>(bytes));
        return;
    }
    expanded_.resize(bytes);
    const bool isWhole = packing_ == Packing::Lzx ? Lzx::expand(packed, expanded_)
                                                  : Xpress::expand(packed, expanded_);
    isWhole_ = isWhole_ && isWhole;
    if (isWhole)
        out_.write(expanded_.data(), static_cast<uint32>(bytes));
    else
        out_.fillZeros(static_cast<int64>(bytes));
}

bool SystemUnpacker::finish() {
    isWhole_ = isWhole_ && chunk_ == chunks_;
    out_.fillZeros(static_cast<int64>(left_));
    left_ = 0;
    return isWhole_;
}

int64 SystemUnpacker::seek(int64 /*offset*/, int /*origin*/) {
    fail();
}

uint64 SystemUnpacker::read(void* /*buffer*/, uint32 /*count*/) {
    fail();
}

int64 SystemUnpacker::size() {
    fail();
}

void SystemUnpacker::resize(int64 /*newSize*/) {
    fail();
}

} // namespace kova
