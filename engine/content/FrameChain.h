#pragma once

#include "engine/content/ContentKind.h"

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

} // namespace kova
