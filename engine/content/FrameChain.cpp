#include "engine/content/FrameChain.h"

#include <algorithm>

namespace kova {

namespace {

/// Frames in a row that are no accident.
constexpr int kInARow = 4;
/// How far frames that go on are looked for.
constexpr uint64 kLookAhead = uint64{64} << 10;
constexpr uint64 kSector = 512;

} // namespace

uint64 FrameChain::end(ContentReader& reader, uint64 at) {
    while (at < reader.size()) {
        const uint64 length = frameAt(reader, at);
        if (length == 0)
            break;
        cut_ = !reader.has(at, length);
        if (cut_)
            break;
        at += length;
        ++frames_;
    }
    return at;
}

bool FrameChain::goesOn(ContentReader& reader, uint64 at) {
    const uint64 last = std::min(reader.size(), at + kLookAhead);
    for (uint64 from = at + 1; from < last; ++from) {
        uint64 next = from;
        int frames = 0;
        while (frames < kInARow && next < reader.size()) {
            const uint64 length = frameAt(reader, next);
            if (length == 0)
                break;
            next += length;
            ++frames;
        }
        if (frames == kInARow)
            return from % kSector != 0;
    }
    return false;
}

} // namespace kova
