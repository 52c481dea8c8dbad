#pragma once

#include "engine/ClusterRanges.h"
#include "engine/IdTable.h"
#include "engine/fat/FatEntryParser.h"
#include "engine/fat/FatFound.h"
#include "engine/fat/FatPlaceFinder.h"
#include "engine/fat/ZFatVolume.h"
#include "platform/LocalTime.h"

#include <deque>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

namespace kova {

/// The scan with `ScanOptions::findPlaces`: meets every entry of a volume first, finds out where
/// the deleted ones lay, and stores them then.
///
/// Live directories come before deleted ones, so that nothing that is in use is taken for a part of
/// what is not. Each directory is read to its end at once, and each cluster as part of one of them
/// only. Ends early when the progress callback says so.
class FatSurvey {
public:
    FatSurvey(ZFatVolume& volume, ZFileTree& tree);

    /// Called once.
    void run();

private:
    /// A directory that no entry leads to any more, as its first two entries tell.
    struct Forgotten {
        uint32 cluster = 0;
        uint32 parent = 0;  ///< First cluster of the one above it, 0 for the root.
        uint32 created = 0; ///< Its creation stamp.
        bool isTaken = false;
    };

    /// A deleted directory that fills the last cluster that is known of it.
    struct OpenEnd {
        uint32 folder = 0; ///< Its index.
        uint32 cluster = 0;
    };

    /// The clusters, up to `end`, that a deleted file would have in one piece.
    struct Claim {
        uint32 first;
        uint64 end;
        FatFound* found;

        [[nodiscard]] uint32 created() const { return found->place.created; }

        [[nodiscard]] bool isSameAs(const Claim& other) const {
            return first == other.first && end == other.end && created() == other.created();
        }
    };

    void walkLive();
    void walkLost();
    void findForgotten();
    void addForgotten(const Forgotten& forgotten);
    [[nodiscard]] uint32 parentOf(const Forgotten& forgotten);
    [[nodiscard]] std::vector<Forgotten> forgottenFolders();
    void chainLoose(const std::vector<Forgotten>& forgotten, const std::vector<uint32>& loose);
    void readOn();
    [[nodiscard]] std::optional<uint8> firstEntryByte(uint32 cluster);
    [[nodiscard]] bool holdsEntries(uint32 cluster);
    [[nodiscard]] ClusterRanges claimedClusters() const;
    void readChain(uint32 folder);
    void readFixedRoot();
    void readLost(uint32 folder, uint32 cluster);
    bool readEntries(uint32 folder, std::span<const uint8> entries);
    void takeEntry(uint32 folder);
    void addFound(uint32 folder, bool isLost);
    void openFolder(uint32 folder, uint32 cluster);

    uint32 findFolder(uint32 folder);
    uint32 findContinuation(uint32 folder, uint32 last);
    [[nodiscard]] bool continues(std::span<const uint8> cluster) const;
    void findRenames();
    void markDoubts();
    static void doubtOlder(std::span<Claim> claims);
    static void doubtInterleaved(std::span<const Claim> claims);
    void addStart(const FatFound& found, uint32 clusters);
    void store();
    void need(uint32 folder);
    bool report(double progress);
    [[nodiscard]] bool isRead(uint32 cluster) const;

    ZFatVolume& volume_;
    ZFileTree& tree_;
    FatPlaceFinder finder_;
    FatEntryParser parser_;
    platform::LocalTimes localTimes_;
    std::vector<uint8> buffer_;
    std::vector<bool> read_; ///< By cluster: read as part of a directory.
    std::vector<FatFound> found_;
    /// Of each of `found_` what its entry says; id and parent are set when it is stored. Large, and
    /// many: they are not moved as they become more.
    std::deque<ZFileTreeNode> nodes_;
    std::vector<FatFolder> folders_;              ///< Live ones first, each before what is in it.
    std::vector<uint32> lostFolders_;             ///< In the order in which they are walked.
    std::size_t lostWalked_ = 0;                  ///< Of these.
    std::unordered_map<uint32, uint32> folderAt_; ///< Indexes by first cluster.
    uint32 foldersPlaced_ = 0;                    ///< Of the folders, in it.
    std::vector<OpenEnd> openEnds_;
    std::vector<FatFolder> continued_; ///< Parts of directories that were found after all others.
    /// Of directories without a chain: by a cluster the one in which its directory goes on, or 0.
    std::unordered_map<uint32, uint32> nextCluster_;
    std::vector<FatFolderItem> items_;
    IdTable<uint32> liveStamps_; ///< Creation stamps of what is live, by first cluster.
    IdTable<bool> isLiveStamp_;  ///< By creation stamp: something live has it.
    uint64 searchBytesLeft_;     ///< That may be read to find where directories go on.
    bool isStopped_ = false;
};

} // namespace kova
