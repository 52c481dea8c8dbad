#pragma once

#include "engine/search/ContentProgress.h"
#include "engine/search/FreeSpace.h"
#include "engine/search/PlacedSource.h"
#include "engine/search/TakenSpace.h"

#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace kova {

/// Makes files of the places at which they may begin: follows the structure of each to its end,
/// and puts together those that lie in pieces.
///
/// No byte is given to two files that are whole, and what lies in a file that is found already
/// is not one of its own. Of two that claim the same bytes the one keeps them whose bytes are
/// vouched for.
class ContentSearch {
public:
    /// Neither is owned; both outlive this.
    ContentSearch(ZCustomMedia& media, const FreeSpace& space) : media_(media), space_(space) {}

    /// Goes on from where another search of the same drive has come to, which it was given.
    void goOn(ContentProgress progress);

    /// Takes on what begins at these places, which lie behind those of the call before.
    void add(const std::vector<ContentFinder::Start>& starts);

    /// Measures what it has taken on. Whatever keeps it from reading, a drive that is gone too,
    /// passes out, and what is not measured then can be later.
    void measure();

    /// How far it has come. Not after `finish`.
    [[nodiscard]] const ContentProgress& progress() const { return progress_; }

    /// Tries what has broken off once more, now that it is known what else there is: `known` are
    /// the places of files that something better than content tells of. Asks `goesOn` before each.
    void finish(const TakenSpace& known, const std::function<bool()>& goesOn);

    /// What was found, in the order of the media.
    [[nodiscard]] std::vector<ContentFind> take();

    [[nodiscard]] const std::vector<ContentFind>& finds() const { return progress_.finds; }

    /// Appends how many whole files of each family it has.
    void countInto(std::vector<std::pair<std::wstring, uint64>>& counts);

private:
    using Start = ContentFinder::Start;
    using Broken = ContentProgress::Broken;

    void measureOne(const Start& start);
    [[nodiscard]] bool mayBegin(const Start& start) const;
    void contradictLast(const Start& start, const MeasuredContent& content);
    void measureWeak(const Start& start);
    bool goesOnInto(uint64 position);
    [[nodiscard]] std::set<uint64> grids() const;
    void accept(PlacedSource& source, const Start& start, const MeasuredContent& content);
    bool holdsPacked(const ContentFind& find);
    void claim(std::size_t find);
    void evict(const std::vector<ByteRange>& place);
    void release(const std::vector<ByteRange>& place);
    void evictOne(std::size_t find, uint64 sound);
    void keepEvicted();
    [[nodiscard]] const TakenSpace& inTheWayOf(const Broken& broken) const;
    bool isSettled(const Broken& broken);
    bool retryAround(Broken& broken);
    bool joinPieces(Broken& broken);
    struct Gap;
    struct Join;
    struct Joining;
    bool keepDoubtful(const Broken& broken);
    bool joinAll(Joining& joining);
    void beginTrace(Joining& joining);
    bool joinNext(Joining& joining);
    void settleBorder(Joining& joining, Gap& gap);
    bool looksOther(uint64 position);
    void joinWithin(Joining& joining, ByteRange gaps, Join& best);
    bool tryGap(Joining& joining, const ContentTrace* trace, Gap gap, MeasuredContent& better);
    void keepIncomplete(const Broken& broken);

    ZCustomMedia& media_;
    const FreeSpace& space_;
    ContentProgress progress_;
    std::map<std::wstring, uint64> families_; ///< How many of the first `counted_` finds.
    std::size_t counted_ = 0;
    TakenSpace taken_;  ///< By whole files.
    TakenSpace proven_; ///< By those of them whose bytes are vouched for. Only in `finish`.
    std::map<uint64, std::size_t> claims_; ///< Which of the others claims what begins there.
    std::vector<Broken> evicted_;          ///< Those of them that others had better claims on.
    TakenSpace sound_;                     ///< By the sound beginnings of broken ones.
    std::map<uint64, ContentFind>
        doubtful_;            ///< What can be put together in several ways, by start.
    uint64 gapBytesLeft_ = 0; ///< That may still be read in the search for pieces.
};

} // namespace kova
