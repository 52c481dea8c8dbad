#include "engine/content/judgeContent.h"

namespace kova {

namespace {

constexpr uint64 kLargestJudged = uint64{512} << 20;

/// Some programs leave a little behind what their format knows of.
constexpr uint64 kMostBehind = 4096;

} // namespace

ContentVerdict judgeContent(ContentSource& file, std::span<const ContentKind* const> kinds) {
    ContentVerdict verdict;
    const uint64 size = file.size();
    if (kinds.empty() || size == 0 || size > kLargestJudged)
        return verdict;
    verdict.fit = Fit::No;
    verdict.begins = false;
    for (const ContentKind* kind : kinds) {
        const MeasuredContent measured = kind->measure(file);
        verdict.begins = verdict.begins || measured.state != ContentState::NotThis;
        if (measured.state == ContentState::Whole && measured.length + kMostBehind >= size) {
            verdict.fit = Fit::Yes;
            break;
        }
        // Behind a whole one there may be more that its format knows nothing of.
        if (measured.state == ContentState::Whole)
            verdict.fit = Fit::CannotTell;
        if (measured.breaksAt >= verdict.breaksAt) {
            verdict.breaksAt = measured.breaksAt;
            verdict.soundBytes = measured.verified ? measured.length : 0;
        }
    }
    return verdict;
}

} // namespace kova
