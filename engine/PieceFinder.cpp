#include "engine/PieceFinder.h"

#include "engine/PiecesSource.h"

#include <algorithm>
#include <utility>

namespace kova {

namespace {

using Remains = FormerStarts::Remains;
using Start = FormerStarts::Start;

/// Most ways that are tried for one file, and most bytes read to judge them.
constexpr int kMostWays = 64;
constexpr uint64 kMostBytes = uint64{256} << 20;

/// Most starts that one file's pieces are tried to step over.
constexpr std::size_t kMostChoices = 4096;

/// Most starts that are met on all the ways of one file.
constexpr std::size_t kMostSteps = std::size_t{1} << 18;

/// What is looked at of a cluster where another file began.
constexpr uint32 kLookBytes = 4096;

void append(std::vector<ClusterRun>& runs, uint32 first, uint64 count) {
    if (!runs.empty() && runs.back().first + runs.back().count == first)
        runs.back().count += count;
    else
        runs.push_back({first, count});
}

} // namespace

PieceFinder::PieceFinder(ZCustomMedia& media, const ClusterLayout& layout, FormerStarts& starts,
                         FreeRun freeRun)
    : media_(media), layout_(layout), starts_(starts), freeRun_(std::move(freeRun)) {}

PieceFinder::Answer PieceFinder::ask(const std::vector<ClusterRun>& runs, uint64 bytes,
                                     std::wstring_view name) {
    std::vector<ByteRange> pieces;
    uint64 left = bytes;
    for (const ClusterRun& run : runs) {
        const uint64 length = std::min(left, run.count * layout_.bytes);
        pieces.push_back(
            {layout_.start + uint64{run.first - kFirstCluster} * layout_.bytes, length});
        left -= length;
    }
    PiecesSource source(media_, pieces);
    Answer answer{judgeContent(source, starts_.kindsOf(name)), 0};
    answer.bytesRead = source.bytesRead();
    return answer;
}

Remains PieceFinder::lookAt(Start& start) {
    if (start.remains != Remains::NotLookedAt)
        return start.remains;
    start.remains = Remains::CannotTell;
    if (start.kinds->empty())
        return start.remains;
    const ByteRange range{layout_.start + uint64{start.cluster - kFirstCluster} * layout_.bytes,
                          std::min(kLookBytes, layout_.bytes)};
    buffer_.resize(static_cast<std::size_t>(range.length));
    PiecesSource(media_, {range}).read(0, buffer_);
    bool mayBe = false;
    for (const ContentKind* kind : *start.kinds) {
        const Certainty certainty = kind->begins(buffer_);
        if (certainty >= Certainty::Magic)
            return start.remains = Remains::There;
        mayBe = mayBe || certainty != Certainty::No || buffer_.size() < kind->bytesNeeded();
    }
    if (!mayBe)
        start.remains = Remains::Gone;
    return start.remains;
}

/// Whether the file steps over what began here.
bool PieceFinder::choose(Start& start, std::size_t index, uint64 offset) {
    if (index >= kMostChoices || stepsLeft_ == 0)
        return false;
    --stepsLeft_;
    if (index == choices_.size())
        choices_.push_back({offset, lookAt(start) == Remains::There, false});
    return choices_[index].isSteppedOver;
}

/// The pieces by the choices made, which are added to where new starts lie in the way.
std::vector<ClusterRun> PieceFinder::layOut(uint32 first, uint64 count) {
    std::vector<ClusterRun> runs;
    std::vector<Start>& starts = starts_.sorted();
    const auto startFrom = [&starts](uint64 cluster) {
        return std::partition_point(starts.begin(), starts.end(), [cluster](const Start& start) {
            return start.cluster < cluster;
        });
    };

    /// What is being stepped over.
    struct Other {
        const Start* start;
        uint64 left;
    };

    std::vector<Other> others; // Each one inside the one before it.
    std::size_t met = 0;
    uint64 left = count;
    uint64 cluster = first;
    bool isAround = false; // Drivers look for free space from the start again.
    auto next = startFrom(cluster + 1);
    while (left > 0) {
        const ClusterRun free = freeRun_(cluster);
        uint64 end = free.first + free.count;
        if (isAround)
            end = std::min<uint64>(end, first);
        if (free.count == 0 || end <= cluster || (isAround && free.first >= first)) {
            if (std::exchange(isAround, true) || runs.empty())
                break;
            cluster = kFirstCluster;
            next = startFrom(cluster);
            continue;
        }
        cluster = std::max<uint64>(cluster, free.first);
        while (cluster < end && left > 0) {
            while (next != starts.end() && next->cluster < cluster)
                ++next;
            if (next != starts.end() && next->cluster == cluster) {
                Start& start = *next++;
                if (!choose(start, met++, (count - left) * layout_.bytes))
                    continue;
                const bool isInside = !others.empty() && !others.back().start->isInOnePiece &&
                                      start.created < others.back().start->created;
                if (others.empty() || isInside)
                    others.push_back({&start, start.clusters});
                else // It was written over the end of that one.
                    others.back() = {&start, std::max<uint64>(others.back().left, start.clusters)};
                continue;
            }
            uint64 now = end - cluster;
            if (next != starts.end())
                now = std::min<uint64>(now, next->cluster - cluster);
            if (!others.empty()) {
                now = std::min(now, others.back().left);
                others.back().left -= now;
                while (!others.empty() && others.back().left == 0)
                    others.pop_back();
            } else {
                now = std::min(now, left);
                append(runs, static_cast<uint32>(cluster), now);
                left -= now;
            }
            cluster += now;
        }
    }
    return runs;
}

/// Changes the last choice that can be what makes the content break; false when all have been.
bool PieceFinder::turn(const Answer& answer) {
    while (!choices_.empty()) {
        Choice& last = choices_.back();
        if (last.offset + layout_.bytes <= answer.soundBytes)
            return false;
        if (!last.isSecond && last.offset <= answer.breaksAt) {
            last.isSecond = true;
            last.isSteppedOver = !last.isSteppedOver;
            return true;
        }
        choices_.pop_back();
    }
    return false;
}

PieceFinder::Found PieceFinder::find(uint32 first, uint64 bytes, std::wstring_view name) {
    choices_.clear();
    stepsLeft_ = kMostSteps;
    const uint64 count = bytes / layout_.bytes + (bytes % layout_.bytes != 0 ? 1 : 0);
    Found found;
    found.runs = layOut(first, count);
    found.answer = ask(found.runs, bytes, name);
    uint64 bytesRead = found.answer.bytesRead;
    Answer answer = found.answer;
    for (int way = 1;
         way < kMostWays && stepsLeft_ > 0 && bytesRead < kMostBytes && answer.fit != Fit::Yes &&
         answer.begins && !starts_.kindsOf(name).empty() && turn(answer);
         ++way) {
        std::vector<ClusterRun> runs = layOut(first, count);
        answer = ask(runs, bytes, name);
        bytesRead += answer.bytesRead;
        const bool isBetter = answer.fit == Fit::Yes ||
                              (answer.fit == Fit::CannotTell && found.answer.fit == Fit::No);
        if (isBetter)
            found = {std::move(runs), answer};
    }
    return found;
}

} // namespace kova
