#include "engine/search/TakenSpace.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace kova {

void TakenSpace::add(const std::vector<ByteRange>& place) {
    for (const ByteRange& range : place) {
        uint64 start = range.start;
        uint64 end = range.end();
        if (end <= start)
            continue;
        auto next = ends_.upper_bound(end);
        while (next != ends_.begin()) {
            const auto before = std::prev(next);
            if (before->second < start)
                break;
            start = std::min(start, before->first);
            end = std::max(end, before->second);
            next = ends_.erase(before);
        }
        ends_.emplace(start, end);
    }
}

void TakenSpace::remove(const std::vector<ByteRange>& place) {
    for (const ByteRange& range : place) {
        const uint64 end = range.end();
        auto next = ends_.lower_bound(range.start);
        if (next != ends_.begin() && std::prev(next)->second > range.start)
            --next;
        while (next != ends_.end() && next->first < end) {
            const auto [from, to] = *next;
            next = ends_.erase(next);
            if (from < range.start)
                ends_.emplace(from, range.start);
            if (to > end)
                ends_.emplace(end, to);
        }
    }
}

std::optional<ByteRange> TakenSpace::at(uint64 byte) const {
    const auto after = ends_.upper_bound(byte);
    if (after == ends_.begin())
        return std::nullopt;
    const auto range = std::prev(after);
    if (byte >= range->second)
        return std::nullopt;
    return ByteRange{range->first, range->second - range->first};
}

uint64 TakenSpace::overlap(const std::vector<ByteRange>& place) const {
    uint64 bytes = 0;
    for (const ByteRange& range : place) {
        uint64 at = range.start;
        while (at < range.end()) {
            const auto held = this->at(at);
            const uint64 end = std::min(range.end(), held ? held->end() : nextStart(at));
            bytes += held ? end - at : 0;
            at = end;
        }
    }
    return bytes;
}

uint64 TakenSpace::nextStart(uint64 byte) const {
    const auto after = ends_.upper_bound(byte);
    return after == ends_.end() ? std::numeric_limits<uint64>::max() : after->first;
}

std::vector<ByteRange> TakenSpace::stretches() const {
    std::vector<ByteRange> all;
    all.reserve(ends_.size());
    for (const auto& [start, end] : ends_)
        all.push_back({start, end - start});
    return all;
}

} // namespace kova
