#pragma once

#include "engine/fat/FatEntryParser.h"
#include "engine/fat/ZFatVolume.h"
#include "platform/LocalTime.h"

#include <deque>
#include <span>
#include <vector>

namespace kova {

/// One walk over the directory tree of a volume, depth first, that stores what was deleted.
///
/// Entries of a crafted or damaged volume may lead anywhere, so that each directory is walked,
/// and each cluster read as part of one, at most once, and open directories stand on a stack of
/// their own. On a sound volume this changes no result: the same bytes give the same entries, and
/// an entry whose creation time is not later than that of the stored node is dropped.
class FatDirectoryWalk {
public:
    FatDirectoryWalk(ZFatVolume& volume, ZFileTree& tree);

    /// Walks everything below the root directory. Called once.
    void run();

private:
    /// A directory that is being walked. Its buffers serve the next directory at this depth.
    struct Level {
        FatEntryParser parser;
        bool isDeleted = false; ///< Its first cluster is free.
        /// A run of clusters that was read ahead, and how many of them have been handed out.
        std::vector<uint8> run;
        uint32 runFirst = 0;
        uint32 runCount = 0;
        uint32 runUsed = 0;
        uint32 runMost = 1;      ///< Clusters that the next run may have.
        bool isReleased = false; ///< The run is to be read again before it is used.
        /// Where the chain goes on; `kChainEnd`: nowhere.
        uint32 nextCluster = 0;
        /// The entries in hand.
        std::span<const uint8> entries;
        /// The subdirectory entry that is being walked, and the nodes stored before that.
        ZFileTreeNode subdirectory;
        std::size_t nodesBefore = 0;
    };

    void open(uint32 cluster);
    void openRoot(Level& level);
    bool nextCluster(Level& level);
    bool readAhead(Level& level);
    void readRun(Level& level);
    void release(Level& level);
    void restore(Level& level);
    bool walkEntries(Level& level);
    bool takeEntry(Level& level);
    [[nodiscard]] bool isWorthBuilding(const Level& level) const;
    void closeSubdirectory(Level& level);

    [[nodiscard]] bool isRead(uint32 cluster) const;
    bool markRead(uint32 cluster);

    ZFatVolume& volume_;
    ZFileTree& tree_;
    std::deque<Level> levels_; ///< The first `depth_` are in use.
    std::size_t depth_ = 0;
    std::size_t heldBytes_ = 0; ///< In the runs of all levels.
    ZFileTreeNode node_;
    platform::LocalTimes localTimes_;
    std::vector<bool> read_; ///< By cluster: read as part of a directory.
    bool rootOpened_ = false;
};

} // namespace kova
