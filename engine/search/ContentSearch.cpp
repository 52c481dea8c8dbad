#include "engine/search/ContentSearch.h"

#include "engine/search/looksPacked.h"

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <optional>
#include <utility>

namespace kova {

namespace {

/// How far behind the place where a file breaks off its next piece is looked for.
constexpr uint64 kLargestGap = uint64{32} << 20;
/// In steps, as it is mostly not that far: up to here at each border before it is further away.
constexpr uint64 kGapSteps[] = {uint64{1} << 20, uint64{4} << 20, kLargestGap};
/// What the search for pieces may read of a media, as often as it holds that much.
constexpr uint64 kGapReads = 4;
/// At least.
constexpr uint64 kLeastGapBytes = uint64{1} << 30;
/// And at most for one piece of a file, in each of the steps.
constexpr uint64 kGapBytesOfPiece = uint64{256} << 20;
/// Borders before the place where a break shows at which the file may have gone elsewhere.
constexpr uint64 kMostBorders = 64;
/// Wrong bytes pass for a file's own for a while; what fits for so many clusters is its own.
constexpr uint64 kSureUnits = 8;
/// As much of a cluster is looked at to tell whether a file may go on there.
constexpr std::size_t kBlockShown = 4096;
/// What is broken and shorter is not worth a place in the list.
constexpr uint64 kSmallestIncomplete = 8192;
/// A few characters are no text.
constexpr uint64 kShortestText = 64;
/// The smallest sector.
constexpr uint64 kSector = 512;
/// Bytes before a file that tell whether something else goes on in it, if none of them is zero.
constexpr uint64 kTail = 16;
/// Of all that was found, one part in this many has to begin on a grid for it to be one.
constexpr std::size_t kGridShare = 20;
constexpr std::size_t kGridFiles = 3;
/// What is no sample shows in so many clusters in a row; they are looked at once in so many.
constexpr std::size_t kShownUnits = 4;
constexpr std::size_t kShownEvery = 8;
/// And no more often in one file.
constexpr std::size_t kMostShown = 4096;

/// Where a byte of the media lies in a file; 0 when it does not.
uint64 offsetIn(const std::vector<ByteRange>& place, uint64 position) {
    uint64 offset = 0;
    for (const ByteRange& range : place) {
        if (position >= range.start && position < range.end())
            return offset + position - range.start;
        offset += range.length;
    }
    return 0;
}

/// Whether files of a type are nearly all coded bits, among which wrong ones go unnoticed unless
/// something vouches for them.
bool isMedia(const ContentType& type) {
    return type.group == ContentGroup::Pictures || type.group == ContentGroup::Sounds ||
           type.group == ContentGroup::Videos;
}

ContentFinder::Start startOf(const ContentFind& find) {
    for (const ContentKind* kind : contentKinds()) {
        const auto types = kind->types();
        if (find.content.type >= types.data() && find.content.type < types.data() + types.size())
            return {find.place.front().start, kind, Certainty::Structure};
    }
    fail();
}

std::wstring familyOf(const ContentFind& find) {
    const std::wstring folder = contentFolder(*find.content.type);
    return folder.substr(0, folder.find(L'/'));
}

} // namespace

void ContentSearch::goOn(ContentProgress progress) {
    progress_ = std::move(progress);
    for (const ContentFind& find : progress_.finds)
        taken_.add(find.place);
}

void ContentSearch::add(const std::vector<Start>& starts) {
    progress_.pending.insert(progress_.pending.end(), starts.begin(), starts.end());
}

void ContentSearch::measure() {
    for (; !progress_.pending.empty(); progress_.pending.pop_front()) {
        const Start start = progress_.pending.front();
        if (!space_.mayHoldFile(start.position))
            continue;
        if (start.certainty == Certainty::Weak)
            progress_.weak.push_back(start);
        else
            measureOne(start);
    }
}

/// Whether the place is not in another file; one of which no byte can be checked holds it only
/// until something is found to begin there.
bool ContentSearch::mayBegin(const Start& start) const {
    if (start.position < progress_.soundEnd)
        return false;
    if (!taken_.at(start.position))
        return true;
    if (progress_.finds.empty() || start.certainty != Certainty::Structure)
        return false;
    const ContentFind& last = progress_.finds.back();
    return !last.content.verified && last.content.type->filling != Filling::Anything &&
           (start.position - last.place.front().start) % space_.unitBytes() == 0;
}

/// Breaks off the last find where another file begins in it, if that is sure.
void ContentSearch::contradictLast(const Start& start, const MeasuredContent& content) {
    const bool ranOut = content.length >= space_.mediaBytes() - start.position;
    if (ranOut || content.breaksAt < kSmallestIncomplete)
        return;
    ContentFind& last = progress_.finds.back();
    const uint64 sound = offsetIn(last.place, start.position);
    if (sound == 0 || sound >= last.content.length)
        return;
    if (counted_ == progress_.finds.size()) {
        --families_[familyOf(last)];
        --counted_;
    }
    release(last.place);
    last.content.breaks(sound, sound);
    progress_.broken.push_back({startOf(last), last.content});
    progress_.soundEnd = start.position;
    progress_.finds.pop_back();
}

void ContentSearch::measureOne(const Start& start) {
    if (!mayBegin(start))
        return;
    PlacedSource source(media_, space_, start.position);
    MeasuredContent content = start.kind->measure(source);
    if (media_.wasRemoved())
        fail(); // What it read is no part of the drive.
    if (content.state != ContentState::NotThis && taken_.at(start.position))
        contradictLast(start, content);
    if (taken_.at(start.position))
        return;
    if (content.state == ContentState::Whole)
        accept(source, start, content);
    if (content.state != ContentState::Incomplete)
        return;
    // Some tables tell of what lies behind the drive's end.
    content.breaks(std::min(content.length, source.size()),
                   std::min(content.breaksAt, source.size()));
    progress_.broken.push_back({start, content});
    // What begins in the sound part lies inside the file: a thumbnail, a picture of a document.
    const bool ranOut = content.length >= source.size();
    if (start.certainty == Certainty::Structure && !ranOut)
        progress_.soundEnd = start.position + content.length;
}

/// Measures what is told by little: it has to stand alone, behind the end of something else and
/// before the end of its sector, or before another file.
void ContentSearch::measureWeak(const Start& start) {
    if (taken_.at(start.position))
        return;
    PlacedSource source(media_, space_, start.position);
    MeasuredContent content = start.kind->measure(source);
    if (content.state == ContentState::NotThis || content.length < kShortestText)
        return;
    const bool fillsClusters = content.length % space_.unitBytes() == 0 &&
                               taken_.at(start.position + content.length).has_value();
    if (content.state == ContentState::Incomplete && fillsClusters)
        content.endsAt(content.length);
    if (goesOnInto(start.position))
        content.breaks(content.length, content.length);
    if (content.state == ContentState::Whole)
        accept(source, start, content);
    else
        keepIncomplete({start, content});
}

/// Whether what lies before this place seems to go on in it.
bool ContentSearch::goesOnInto(uint64 position) {
    if (position < kSector || !space_.isFree(position - 1) || taken_.at(position - 1))
        return false;
    PlacedSource before(media_, space_, position - kSector);
    std::array<uint8, kTail> tail{};
    const std::size_t held = before.read(kSector - kTail, tail);
    return held == tail.size() && std::ranges::count(tail, 0) == 0;
}

/// Where in a cluster of the usual size files begin: by today's clusters, and where many of those
/// do that were found, which volumes had that were here before.
std::set<uint64> ContentSearch::grids() const {
    const uint64 unit = space_.unitBytes();
    std::map<uint64, std::size_t> counts;
    for (const ContentFind& find : progress_.finds)
        ++counts[find.place.front().start % unit];
    std::set<uint64> grids = {space_.firstByte() % unit};
    for (const auto& [grid, count] : counts) {
        if (count >= kGridFiles && count * kGridShare >= progress_.finds.size())
            grids.insert(grid);
    }
    return grids;
}

void ContentSearch::accept(PlacedSource& source, const Start& start,
                           const MeasuredContent& content) {
    ContentFind find;
    find.place = source.place(content.length);
    find.content = content;
    find.mayBeRest = start.kind->restLooksWhole();
    if (find.place.empty())
        return;
    if (content.verified) {
        evict(find.place);
        proven_.add(find.place);
    }
    taken_.add(find.place);
    progress_.finds.push_back(std::move(find));
    claim(progress_.finds.size() - 1);
}

/// Whether a file of samples seems to run over something that is packed, as its own beginning is
/// not.
bool ContentSearch::holdsPacked(const ContentFind& find) {
    const uint64 unit = space_.unitBytes();
    const uint64 units = find.content.length / unit;
    PlacedSource source(media_, space_, find.place.front().start);
    std::vector<uint8> shown(kShownUnits * unit);
    const auto countRandom = [&](uint64 first) {
        const auto bytes = std::span(shown).first(source.read(first * unit, shown));
        std::size_t random = 0;
        for (std::size_t at = 0; at + unit <= bytes.size(); at += unit)
            random += looksRandom(bytes.subspan(at, unit)) ? 1U : 0U;
        return random;
    };
    if (units < kShownEvery || countRandom(1) > 0)
        return false;
    const uint64 step = std::max<uint64>(kShownEvery, units / kMostShown);
    for (uint64 first = step; first + kShownUnits <= units; first += step) {
        if (countRandom(first) == kShownUnits)
            return true;
    }
    return false;
}

/// Notes what a file claims that can be wrong about it.
void ContentSearch::claim(std::size_t find) {
    if (progress_.finds[find].content.verified)
        return;
    for (const ByteRange& range : progress_.finds[find].place)
        claims_[range.start] = find;
}

/// Breaks off the files that claim any of a place at what they claim of it.
void ContentSearch::evict(const std::vector<ByteRange>& place) {
    for (const ByteRange& range : place) {
        auto next = claims_.lower_bound(range.end());
        while (next != claims_.begin()) {
            const std::size_t find = (--next)->second;
            const std::vector<ByteRange>& claimed = progress_.finds[find].place;
            const auto held = std::ranges::find(claimed, next->first, &ByteRange::start);
            if (held == claimed.end() || held->end() <= range.start)
                break;
            evictOne(find, offsetIn(claimed, std::max(range.start, held->start)));
            next = claims_.lower_bound(range.end());
        }
    }
}

void ContentSearch::release(const std::vector<ByteRange>& place) {
    for (const ByteRange& range : place)
        claims_.erase(range.start);
    taken_.remove(place);
}

void ContentSearch::evictOne(std::size_t find, uint64 sound) {
    ContentFind& evicted = progress_.finds[find];
    release(evicted.place);
    evicted.content.breaks(sound, sound);
    evicted_.push_back({startOf(evicted), evicted.content});
    evicted.place.clear(); // It is no find any more.
}

/// Gives out what is left of the evicted: they may go on behind what took their place, but nothing
/// tells that they do.
void ContentSearch::keepEvicted() {
    for (Broken& broken : evicted_) {
        if (isSettled(broken))
            continue;
        PlacedSource source(media_, space_, broken.start.position, &taken_);
        const MeasuredContent content = broken.start.kind->measure(source);
        if (content.state == ContentState::Whole) {
            broken.content = content;
            broken.content.breaks(content.length, content.length);
        }
        keepIncomplete(broken);
    }
    evicted_.clear();
    claims_.clear(); // They name finds by their places in the list, which change now.
    std::erase_if(progress_.finds, [](const ContentFind& find) { return find.place.empty(); });
}

/// What a file does not go on in.
const TakenSpace& ContentSearch::inTheWayOf(const Broken& broken) const {
    return broken.content.verified ? proven_ : taken_;
}

void ContentSearch::finish(const TakenSpace& known, const std::function<bool()>& goesOn) {
    std::erase_if(progress_.finds, [&known](const ContentFind& find) {
        const auto other = known.at(find.place.front().start);
        return other && find.place.back().end() <= other->end();
    });
    taken_ = known;
    proven_ = known;
    claims_.clear();
    for (std::size_t i = 0; i < progress_.finds.size(); ++i) {
        const ContentFind& find = progress_.finds[i];
        taken_.add(find.place);
        if (find.content.verified)
            proven_.add(find.place);
        claim(i);
    }
    for (std::size_t i = 0; i < progress_.finds.size(); ++i) {
        const MeasuredContent& content = progress_.finds[i].content;
        if (!content.verified && content.type->filling == Filling::Samples &&
            holdsPacked(progress_.finds[i]) && goesOn())
            evictOne(i, content.length);
    }
    gapBytesLeft_ = std::max(kGapReads * space_.mediaBytes(), kLeastGapBytes);

    // Each that is put together leaves less for the others to be mistaken about.
    const auto retryAll = [&](const auto& step) {
        std::erase_if(progress_.broken, [&](Broken& broken) {
            return isSettled(broken) || (goesOn() && step(broken));
        });
    };
    retryAll([this](Broken& broken) { return retryAround(broken); });
    for (const Broken& broken : progress_.broken) {
        // What ran out of drive tells nothing about where it is sound.
        const bool ranOut = broken.content.length >= space_.mediaBytes() - broken.start.position;
        if (broken.start.certainty == Certainty::Structure && !ranOut)
            sound_.add({{broken.start.position, broken.content.length}});
    }
    // What can be proven first, what may be mistaken last.
    retryAll([this](Broken& broken) { return broken.content.verified && joinPieces(broken); });
    retryAll([this](Broken& broken) { return !broken.content.verified && joinPieces(broken); });
    retryAll([this](Broken& broken) {
        return doubtful_.contains(broken.start.position) &&
               (retryAround(broken) || keepDoubtful(broken));
    });
    for (const Broken& broken : progress_.broken)
        keepIncomplete(broken);
    keepEvicted();
    // Text begins at the start of a cluster or not at all.
    const std::set<uint64> grids = this->grids();
    for (ContentFind& find : progress_.finds) {
        if (find.mayBeRest && !grids.contains(find.place.front().start % space_.unitBytes()))
            find.content.breaks(find.content.length, find.content.length);
    }
    for (const Start& start : progress_.weak) {
        if (grids.contains(start.position % space_.unitBytes()) && goesOn())
            measureWeak(start);
    }
    std::sort(progress_.finds.begin(), progress_.finds.end(),
              [](const ContentFind& a, const ContentFind& b) {
                  return a.place.front().start < b.place.front().start;
              });
}

void ContentSearch::countInto(std::vector<std::pair<std::wstring, uint64>>& counts) {
    for (; counted_ < progress_.finds.size(); ++counted_)
        ++families_[familyOf(progress_.finds[counted_])];
    counts.insert(counts.end(), families_.begin(), families_.end());
}

std::vector<ContentFind> ContentSearch::take() {
    std::erase_if(progress_.finds, [](const ContentFind& find) { return find.place.empty(); });
    return std::move(progress_.finds);
}

/// Whether another file has turned out to hold its beginning.
bool ContentSearch::isSettled(const Broken& broken) {
    return taken_.at(broken.start.position).has_value();
}

/// Follows a file once more, stepping over all that belongs to others.
bool ContentSearch::retryAround(Broken& broken) {
    PlacedSource source(media_, space_, broken.start.position, &taken_);
    MeasuredContent content = broken.start.kind->measure(source);
    if (content.state == ContentState::Whole && !content.verified &&
        content.type->filling != Filling::Anything)
        content.breaks(content.length, content.length); // Nothing tells that it goes on there.
    if (content.state == ContentState::Whole) {
        accept(source, broken.start, content);
        return true;
    }
    if (content.state == ContentState::Incomplete)
        broken.content = content;
    return false;
}

/// A place at which a file may go on.
struct ContentSearch::Gap {
    uint64 offset = 0; ///< In the file.
    uint64 position = 0;
};

/// One of them, and how far the file reaches then.
struct ContentSearch::Join {
    MeasuredContent content;
    Gap gap;
    bool isSure = false; ///< It goes on for so long that it is no accident.
};

/// A file whose pieces are put together.
struct ContentSearch::Joining {
    Broken& broken;
    const TakenSpace& inTheWay;
    PlacedSource source;
    std::unique_ptr<ContentTrace> trace; ///< Of what is sound, with kinds that have one.
    Gap tail;                            ///< Where its last part lies, if that is known.
    bool isDoubtful = false;             ///< What lies around a gap may be another file's.
};

/// Looks for the pieces of a file one after the other.
bool ContentSearch::joinPieces(Broken& broken) {
    // What was put together meanwhile may have been what was in the way.
    if (retryAround(broken))
        return true;
    const TakenSpace& inTheWay = inTheWayOf(broken);
    Joining joining{broken,  inTheWay, {media_, space_, broken.start.position, &inTheWay},
                    nullptr, {},       false};
    const MeasuredContent before = broken.content;
    const bool isJoined = joinAll(joining);
    if (isJoined && !joining.isDoubtful) {
        accept(joining.source, broken.start, broken.content);
        return true;
    }
    if (isJoined) {
        ContentFind& doubtful = doubtful_[broken.start.position];
        doubtful.place = joining.source.place(broken.content.length);
        doubtful.content = broken.content;
        doubtful.content.breaks(broken.content.length, broken.content.length);
    }
    broken.content = before;
    return false;
}

/// Gives out a file that can be put together in several ways in one of them, unless another file
/// has turned out to hold some of it.
bool ContentSearch::keepDoubtful(const Broken& broken) {
    ContentFind& doubtful = doubtful_[broken.start.position];
    if (taken_.overlap(doubtful.place) > 0)
        return false;
    taken_.add(doubtful.place);
    progress_.finds.push_back(std::move(doubtful));
    return true;
}

/// Whether all pieces are found.
bool ContentSearch::joinAll(Joining& joining) {
    const Broken& broken = joining.broken;
    try {
        beginTrace(joining);
        while (broken.content.state != ContentState::Whole) {
            if (!joinNext(joining))
                return false;
        }
    } catch (int) { // It ran out of bytes.
        return false;
    }
    if (joining.tail.offset != 0)
        joining.source.goOnAt(joining.tail.offset, joining.tail.position);
    // What was followed piece by piece is looked at as a whole once.
    joining.broken.content = broken.start.kind->measure(joining.source);
    if (!joining.trace && !broken.content.verified && isMedia(*broken.content.type))
        joining.isDoubtful = true;
    return broken.content.state == ContentState::Whole;
}

/// Makes out what the file's tables tell, those too that lie in its last part.
void ContentSearch::beginTrace(Joining& joining) {
    const Broken& broken = joining.broken;
    const ContentKind& kind = *broken.start.kind;
    ContentReader reader(joining.source);
    try {
        joining.trace = kind.trace(reader);
    } catch (int) { // Its tables are broken.
        return;
    }
    const uint64 tail = joining.trace ? 0 : kind.tailAt(reader);
    if (tail == 0)
        return;
    const uint64 unit = space_.unitBytes();
    const uint64 first = joining.source.positionOf(tail / unit * unit);
    const uint64 end = std::min(space_.mediaBytes(), first + kLargestGap);
    const uint64 before = joining.source.bytesRead();
    for (uint64 position = first; position < end && !joining.trace; position += unit) {
        if (!space_.isFree(position) || proven_.at(position))
            continue;
        PlacedSource part(media_, space_, position + tail % unit);
        ContentReader partReader(part);
        try {
            joining.trace = kind.traceByTail(reader, partReader);
        } catch (int) { // Its tables lead out of it.
        }
        joining.tail = {tail / unit * unit, position};
        gapBytesLeft_ -= std::min(gapBytesLeft_, part.bytesRead());
        if (gapBytesLeft_ == 0)
            break;
    }
    gapBytesLeft_ -= std::min(gapBytesLeft_, joining.source.bytesRead() - before);
    if (joining.trace)
        joining.trace->follow(reader, joining.broken.content);
    else
        joining.tail = {};
}

/// Looks for the piece behind the first wrong byte; false when there is none.
bool ContentSearch::joinNext(Joining& joining) {
    PlacedSource& source = joining.source;
    const uint64 before = source.bytesRead();
    const uint64 sound = joining.broken.content.length / space_.unitBytes() * space_.unitBytes();
    if (joining.trace && sound > 0) {
        ContentReader reader(source);
        if (auto further = joining.trace->upTo(reader, sound))
            joining.trace = std::move(further);
    }
    Join best;
    uint64 from = 0;
    for (const uint64 to : kGapSteps) {
        if (!best.isSure)
            joinWithin(joining, {from, to - from}, best);
        from = to;
    }
    gapBytesLeft_ -= std::min(gapBytesLeft_, source.bytesRead() - before);
    if (best.content.state == ContentState::NotThis)
        return false;
    settleBorder(joining, best.gap);
    source.goOnAt(best.gap.offset, best.gap.position);
    joining.broken.content = best.content;
    return true;
}

/// Where a trace does not tell at which of several borders a gap begins that is as long at each of
/// them, the clusters in question have to; else there is doubt.
void ContentSearch::settleBorder(Joining& joining, Gap& gap) {
    if (!joining.trace || joining.trace->tellsExactly())
        return;
    PlacedSource& source = joining.source;
    const uint64 unit = space_.unitBytes();
    const uint64 from = source.positionOf(gap.offset);
    const uint64 first = std::max(unit, (joining.broken.content.length + unit - 1) / unit * unit);
    std::size_t possible = 1;
    Gap settled = gap;
    for (uint64 back = unit; gap.offset >= first + back; back += unit) {
        const Gap lower{gap.offset - back, gap.position - back};
        source.goOnAt(gap.offset, from);
        if (source.positionOf(lower.offset) != from - back || looksOther(lower.position))
            break;
        ContentReader before(source);
        const auto trace = joining.trace->upTo(before, lower.offset);
        if (!trace)
            continue;
        source.goOnAt(lower.offset, lower.position);
        ContentReader behind(source);
        if (!trace->goesOn(behind))
            break;
        ++possible;
        if (looksOther(from - back)) {
            settled = lower;
            possible = 1;
        }
    }
    source.goOnAt(gap.offset, from);
    joining.isDoubtful = joining.isDoubtful || possible > 1;
    gap = settled;
}

/// Whether a cluster is none of a file of packed samples that goes on in it.
bool ContentSearch::looksOther(uint64 position) {
    PlacedSource source(media_, space_, position);
    std::array<uint8, kBlockShown> bytes{};
    const auto block = std::span(bytes).first(source.read(0, bytes));
    return !looksPacked(block) || recognise(block).certainty == Certainty::Structure;
}

/// Tries what lies in `gaps`, counted in bytes behind each border at which the file may break;
/// keeps in `best` what makes it reach furthest.
void ContentSearch::joinWithin(Joining& joining, ByteRange gaps, Join& best) {
    PlacedSource& source = joining.source;
    const uint64 unit = space_.unitBytes();
    const uint64 before = source.bytesRead();
    const MeasuredContent& content = joining.broken.content;
    const uint64 last = content.breaksAt / unit;
    // The first cluster is the file's own, whatever shows in it.
    const uint64 first =
        std::max({uint64{1}, content.length / unit, last - std::min(last, kMostBorders)});
    // What is wrong mostly shows at once.
    for (uint64 border = last; border >= first && !best.isSure; --border) {
        const uint64 offset = border * unit;
        const uint64 from = source.positionOf(offset);
        const uint64 end = std::min(space_.mediaBytes(), from + gaps.end());
        std::unique_ptr<ContentTrace> trace;
        if (joining.trace) {
            ContentReader reader(source);
            trace = joining.trace->upTo(reader, offset);
            if (!trace) // It is wrong before.
                continue;
        }
        for (uint64 position = from + std::max(unit, gaps.start); position < end && !best.isSure;
             position += unit) {
            const uint64 spent = source.bytesRead() - before;
            if (spent > kGapBytesOfPiece || spent > gapBytesLeft_) {
                border = first;
                break;
            }
            const auto other = joining.inTheWay.at(position);
            if (const auto inside = other ? other : sound_.at(position)) {
                // To the last step before its end.
                position += (inside->end() - position - 1) / unit * unit;
                continue;
            }
            MeasuredContent better;
            if (!space_.isFree(position) ||
                !tryGap(joining, trace.get(), {offset, position}, better) ||
                better.breaksAt <= best.content.breaksAt)
                continue;
            // What a trace lets pass is no accident.
            const bool isSure = trace || better.length >= offset + kSureUnits * unit;
            best = {better, {offset, position}, isSure || better.state == ContentState::Whole};
        }
        source.goOnAt(offset, from);
    }
}

/// Whether the file reaches further when it goes on there; then its source does. `trace` is what is
/// known of it up to the gap, where anything is.
bool ContentSearch::tryGap(Joining& joining, const ContentTrace* trace, Gap gap,
                           MeasuredContent& better) {
    const uint64 unit = space_.unitBytes();
    const Broken& broken = joining.broken;
    joining.source.goOnAt(gap.offset, gap.position);
    if (trace != nullptr) {
        ContentReader reader(joining.source);
        if (!trace->goesOn(reader))
            return false;
        better = broken.content;
        trace->follow(reader, better);
        return better.state == ContentState::Whole || better.length > gap.offset;
    }
    std::array<uint8, kBlockShown> block{};
    const auto wanted = static_cast<std::size_t>(std::min<uint64>(unit, block.size()));
    const std::size_t held = joining.source.read(gap.offset, std::span(block).first(wanted));
    if (broken.start.kind->mayContinue(std::span(block).first(held), gap.offset) == Fit::No)
        return false;
    better = broken.start.kind->measure(joining.source);
    if (better.state == ContentState::Whole)
        return true;
    return better.state == ContentState::Incomplete && better.length >= gap.offset + unit &&
           better.breaksAt > broken.content.breaksAt;
}

void ContentSearch::keepIncomplete(const Broken& broken) {
    const MeasuredContent& content = broken.content;
    // What only ran out of drive tells nothing about where it ended.
    const bool ranOut = content.length >= space_.mediaBytes() - broken.start.position;
    if (broken.start.certainty == Certainty::Magic || content.length < kSmallestIncomplete ||
        ranOut || isSettled(broken))
        return;
    PlacedSource source(media_, space_, broken.start.position, &taken_);
    ContentFind find;
    find.place = source.place(content.length);
    find.content = content;
    if (find.place.empty())
        return;
    taken_.add(find.place); // The sums of what is given out stay within the media.
    progress_.finds.push_back(std::move(find));
}

} // namespace kova
