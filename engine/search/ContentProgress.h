#pragma once

#include "engine/search/ContentFind.h"
#include "engine/search/ContentFinder.h"

#include <deque>
#include <vector>

namespace kova {

/// How far a search has come with what it finds by content. All starts in the order of the media.
struct ContentProgress {
    /// A file that begins somewhere and breaks.
    struct Broken {
        ContentFinder::Start start;
        MeasuredContent content;
    };

    std::vector<ContentFind> finds;
    std::vector<Broken> broken;
    std::vector<ContentFinder::Start> weak;   ///< Told by little; looked at last.
    std::deque<ContentFinder::Start> pending; ///< Not looked at yet.
    uint64 soundEnd = 0;                      ///< Up to here the last broken file is sound.
};

} // namespace kova
