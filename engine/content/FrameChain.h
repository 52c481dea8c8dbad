#pragma once

#include "engine/content/ContentKind.h"

#include <span>

namespace kova {

/// Follows formats that are nothing but one frame after another, and have no end of their own.
class FrameChain {
public:
    FrameChain() = default;
    FrameChain(const FrameChain&) = delete;
    FrameChain& operator=(const FrameChain&) = delete;
    virtual ~FrameChain() = default;

    /// Behind the last of the frames in a row from `at` on. A frame that leaves the source is
    /// none; `cut` then tells.
    uint64 end(ContentReader& reader, uint64 at);

    [[nodiscard]] bool cut() const { return cut_; }

    /// Frames that `end` has passed.
    [[nodiscard]] uint64 frames() const { return frames_; }

    /// Whether frames go on in a row somewhere behind `at`, where one should have begun: something
    /// wrong lies in between. What begins a block of a drive may be another file's.
    bool goesOn(ContentReader& reader, uint64 at);

    /// Bytes of the frame at `at`, 0 for none.
    virtual uint64 frameAt(ContentReader& reader, uint64 at) = 0;

private:
    uint64 frames_ = 0;
    bool cut_ = false;
};

/// How sure it is that `first` begins frames: several in a row make it sure. `lengthOf` gives the
/// bytes of the frame whose header, of `headerBytes`, some bytes begin with; 0 where that is none.
template <typename LengthOf>
Certainty certaintyOfFrames(std::span<const uint8> first, std::size_t headerBytes,
                            LengthOf lengthOf) {
    constexpr int kSure = 3;
    int frames = 0;
    for (std::size_t at = 0;
         frames < kSure && first.size() > at && first.size() - at >= headerBytes; ++frames) {
        const uint32 length = lengthOf(first.subspan(at));
        if (length == 0)
            return Certainty::No;
        at += length;
    }
    if (frames == 0)
        return Certainty::No;
    return frames == kSure ? Certainty::Structure : Certainty::Weak;
}

} // namespace kova
