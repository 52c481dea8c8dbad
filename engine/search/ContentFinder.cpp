#include "engine/search/ContentFinder.h"

#include <algorithm>
#include <utility>

namespace kova {

namespace {

/// As much as it takes to be sure of any kind.
constexpr std::size_t kBytesShown = 4096;

} // namespace

void ContentFinder::look(uint64 position, std::span<const uint8> bytes, std::size_t fresh) {
    for (std::size_t at = 0; at + kStep <= fresh; at += kStep) {
        const auto block = bytes.subspan(at, std::min(kBytesShown, bytes.size() - at));
        const RecognisedContent content = recognise(block);
        if (content.kind == nullptr || content.before > position + at)
            continue;
        starts_.push_back({position + at - content.before, content.kind, content.certainty});
        ++count_;
    }
}

std::vector<ContentFinder::Start> ContentFinder::take() {
    return std::exchange(starts_, {});
}

} // namespace kova
