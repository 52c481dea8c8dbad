#include "engine/content/ContentReader.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>

namespace kova {

void ContentReader::fill(uint64 offset, std::size_t count) {
    const bool goesOn = offset >= begin_ && offset <= begin_ + held_;
    const std::size_t wanted = std::max(count, goesOn ? kWindow : kFirstRead);
    const auto there = static_cast<std::size_t>(std::min<uint64>(size_ - offset, wanted));
    if (window_.size() < kWindow)
        window_.resize(kWindow);
    std::size_t kept = 0;
    if (goesOn && begin_ + held_ > offset) {
        const auto from = static_cast<std::size_t>(offset - begin_);
        kept = held_ - from;
        std::memmove(window_.data(), window_.data() + from, kept);
    }
    begin_ = offset;
    held_ = kept;
    if (there > kept)
        held_ += source_.read(offset + kept, std::span(window_).subspan(kept, there - kept));
}

std::span<const uint8> ContentReader::bytes(uint64 offset, std::size_t count) {
    if (count > kWindow || !has(offset, count))
        fail();
    if (offset < begin_ || offset - begin_ > held_ || begin_ + held_ - offset < count)
        fill(offset, count);
    const auto at = static_cast<std::size_t>(offset - begin_);
    if (held_ - at < count)
        fail();
    return std::span<const uint8>(window_).subspan(at, count);
}

std::span<const uint8> ContentReader::some(uint64 offset, uint64 most) {
    if (offset >= size_ || most == 0)
        return {};
    if (offset < begin_ || offset >= begin_ + held_)
        fill(offset, 1);
    const auto at = static_cast<std::size_t>(offset - begin_);
    const auto count = static_cast<std::size_t>(std::min<uint64>(held_ - at, most));
    return std::span<const uint8>(window_).subspan(at, count);
}

bool ContentReader::matches(uint64 offset, std::string_view what) {
    return has(offset, what.size()) &&
           std::memcmp(bytes(offset, what.size()).data(), what.data(), what.size()) == 0;
}

std::optional<uint64> ContentReader::find(std::string_view what, uint64 from, uint64 to) {
    to = std::min(to, size_);
    while (from < to && to - from >= what.size()) {
        const std::size_t least = what.size();
        auto piece = some(from, to - from);
        if (piece.size() < least)
            piece = bytes(from, static_cast<std::size_t>(std::min<uint64>(to - from, kFirstRead)));
        const std::string_view view(reinterpret_cast<const char*>(piece.data()), piece.size());
        const std::size_t at = view.find(what);
        if (at != std::string_view::npos)
            return from + at;
        from += piece.size() - (least - 1);
    }
    return std::nullopt;
}

std::string ContentReader::text(uint64 offset, uint64 count) {
    const auto view = bytes(offset, static_cast<std::size_t>(std::min<uint64>(count, kWindow)));
    return {view.begin(), view.end()};
}

uint64 ContentReader::zerosEnd(uint64 from, uint64 to) {
    to = std::min(to, size_);
    while (from < to) {
        const auto piece = some(from, to - from);
        const auto other = std::find_if(piece.begin(), piece.end(), [](uint8 b) { return b != 0; });
        from += static_cast<uint64>(other - piece.begin());
        if (other != piece.end() || piece.empty())
            break;
    }
    return from;
}

uint32 ContentReader::crc32(uint64 offset, uint64 count, uint32 crc) {
    while (count > 0) {
        const auto piece = some(offset, count);
        if (piece.empty())
            fail();
        crc = static_cast<uint32>(::crc32(crc, piece.data(), static_cast<uInt>(piece.size())));
        offset += piece.size();
        count -= piece.size();
    }
    return crc;
}

} // namespace kova
