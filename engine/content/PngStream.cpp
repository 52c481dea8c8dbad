#include "engine/content/PngStream.h"

#include "engine/BigEndian.h"

#include <algorithm>
#include <cstring>

namespace kova {

namespace {

constexpr uint32 kMostChunk = 0x7FFFFFFF;
/// As much is inflated at once, so that it is known where in the file rows begin.
constexpr std::size_t kStep = 512;

constexpr bool isLetter(uint8 byte) {
    const int letter = byte | 0x20;
    return letter >= 'a' && letter <= 'z';
}

} // namespace

bool PngStream::take(std::span<const uint8> bytes) {
    while (!bytes.empty() && part_ != Part::Ended) {
        if (!takePart(bytes))
            return false;
    }
    return true;
}

uint64 PngStream::sound() const {
    const std::size_t sure = rows_.sureRows();
    if (sure == 0 || rows_.begun() < sure)
        return chunkAt_;
    return std::max(chunkAt_, rowsAt_[(rows_.begun() - sure) % rowsAt_.size()]);
}

/// Takes up to the end of the part that it is in from the front of `bytes`.
bool PngStream::takePart(std::span<const uint8>& bytes) {
    if (part_ == Part::Data) {
        const auto count = static_cast<std::size_t>(std::min<uint64>(left_, bytes.size()));
        const auto data = bytes.first(count);
        bytes = bytes.subspan(count);
        left_ -= count;
        if (left_ == 0)
            part_ = Part::Checksum;
        crc_ = static_cast<uint32>(::crc32(crc_, data.data(), static_cast<uInt>(count)));
        return takeData(data);
    }
    if (!gather(bytes, part_ == Part::Header ? kChunkHeader : kChecksum))
        return true;
    if (part_ == Part::Checksum) {
        if (loadBe<uint32>(field_.data()) != crc_)
            return false;
        chunkAt_ = at_;
        part_ = isType("IEND") ? Part::Ended : Part::Header;
        return true;
    }
    left_ = loadBe<uint32>(field_.data());
    std::copy_n(field_.begin() + kChunkHeader - type_.size(), type_.size(), type_.begin());
    crc_ = static_cast<uint32>(::crc32(0, type_.data(), static_cast<uInt>(type_.size())));
    part_ = left_ == 0 ? Part::Checksum : Part::Data;
    return left_ <= kMostChunk && std::ranges::all_of(type_, isLetter);
}

/// Fills the field with `wanted` bytes; false until it has them.
bool PngStream::gather(std::span<const uint8>& bytes, std::size_t wanted) {
    const std::size_t count = std::min(wanted - gathered_, bytes.size());
    std::copy_n(bytes.begin(), count, field_.begin() + static_cast<std::ptrdiff_t>(gathered_));
    bytes = bytes.subspan(count);
    gathered_ = gathered_ + count == wanted ? 0 : gathered_ + count;
    at_ += count;
    return gathered_ == 0;
}

bool PngStream::takeData(std::span<const uint8> data) {
    if (isType("IHDR") && !hasRows_ && chunkAt_ == kFirstChunk) {
        // It lies in the file's first cluster, and is given at once.
        hasRows_ = data.size() == PngRows::kHeaderBytes && rows_.takeHeader(data);
    } else if (isType("IDAT") && hasRows_) {
        return inflate(data);
    }
    at_ += data.size();
    return true;
}

bool PngStream::inflate(std::span<const uint8> data) {
    while (!data.empty() && !packedEnded_) {
        const auto some = data.first(std::min(data.size(), kStep));
        data = data.subspan(some.size());
        const uint64 from = at_;
        at_ += some.size(); // What is wrong is in it.
        if (!inflateStep(some, from))
            return false;
    }
    at_ += data.size();
    return true;
}

/// Inflates what begins at byte `from` of the file.
bool PngStream::inflateStep(std::span<const uint8> data, uint64 from) {
    std::array<uint8, 16 * kStep> pixels;               // NOLINT: zlib fills it before it is read
    packed_->next_in = const_cast<uint8*>(data.data()); // NOLINT: zlib does not write to it
    packed_->avail_in = static_cast<uInt>(data.size());
    do {
        packed_->next_out = pixels.data();
        packed_->avail_out = static_cast<uInt>(pixels.size());
        const int status = packed_.inflate();
        packedEnded_ = status == Z_STREAM_END;
        if (status != Z_OK && status != Z_BUF_ERROR && !packedEnded_)
            return false;
        uint64 row = rows_.begun();
        if (!rows_.take(std::span(pixels).first(pixels.size() - packed_->avail_out)))
            return false;
        for (row = std::max(row, rows_.begun() - std::min<uint64>(rows_.begun(), rowsAt_.size()));
             row < rows_.begun(); ++row)
            rowsAt_[row % rowsAt_.size()] = from;
    } while (packed_->avail_out == 0 && !packedEnded_);
    return true;
}

bool PngStream::isType(std::string_view type) const {
    return std::memcmp(type_.data(), type.data(), type_.size()) == 0;
}

} // namespace kova
