#pragma once

#include "engine/ZFileTree.h"
#include "engine/exfat/ExFatSetParser.h"
#include "engine/exfat/ZExFatVolume.h"

#include <deque>
#include <optional>
#include <queue>
#include <span>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace kova {

/// One walk over the folders of a volume that stores what was deleted.
///
/// Folders in use come first, as their clusters are theirs for certain; then deleted ones, the
/// youngest first; then what some of them have lost: drivers give a folder's last clusters back
/// once all in them is deleted, and what led to a deleted folder's further clusters may be gone.
/// Each cluster is read as part of one folder at most.
class ExFatDirectoryWalk {
public:
    ExFatDirectoryWalk(ZExFatVolume& volume, ZFileTree& tree);

    /// Walks everything below the root directory. Called once.
    void run();

private:
    struct Folder {
        int64 id = 0;
        bool isDeleted = false;
        bool noFatChain = false;
        uint32 nextCluster = 0; ///< Where it goes on; 0: nowhere.
        uint64 clustersLeft = 0;
        uint32 lastCluster = 0; ///< The last that was read, 0 before the first.
        uint32 filesEnd = 0;    ///< Behind the clusters of the last file seen in it; 0: none.
        int64 creationTime = 0;
        double share = 0;        ///< Of the progress, still to come.
        std::vector<uint8> rest; ///< Entries whose set goes on in the next cluster.
    };

    struct IsOlder {
        bool operator()(const Folder& left, const Folder& right) const {
            return left.creationTime < right.creationTime;
        }
    };

    /// Clusters that follow each other on the volume, being read.
    struct Piece {
        uint32 first = 0;
        uint64 bytes = 0; ///< In all of them.
        uint64 read = 0;
    };

    std::optional<Folder> takeFolder();
    void walk(Folder folder);
    bool nextPiece(Folder& folder, Piece& piece);
    std::span<const uint8> takeEntries(Folder& folder, std::span<const uint8> left, bool isClean,
                                       bool goesOn, bool& ended);
    void takeFile(Folder& folder, ExFatFile& file);
    void takeSubfolder(Folder& folder, const ExFatFile& file, ZFileTreeNode node);
    void store(ZFileTreeNode node);

    void findForgotten();
    [[nodiscard]] bool beginsFolder(uint32 cluster, std::unordered_set<uint32>& inner);
    [[nodiscard]] Fit fitOf(const ExFatFile& file);
    [[nodiscard]] std::optional<Folder> openForgotten(uint32 cluster);

    std::optional<Folder> mend(Folder& torn);
    std::optional<uint32> searchFrom(uint64 cluster, const Folder& torn);
    bool continues(uint32 cluster, const Folder& torn);

    [[nodiscard]] bool mayRead(uint64 cluster, bool isDeleted) const;
    void advance(double share);

    ZExFatVolume& volume_;
    const ExFatGeometry& geometry_;
    ZFileTree& tree_;
    ExFatSetParser parser_;
    platform::LocalTimes localTimes_;
    std::deque<Folder> live_;
    std::priority_queue<Folder, std::vector<Folder>, IsOlder> deleted_;
    std::deque<Folder> torn_;
    /// First clusters of folders that nothing leads to; nothing before they are looked for.
    std::optional<std::deque<uint32>> forgotten_;
    /// Live folders under which nothing has been found yet.
    std::unordered_map<int64, ZFileTreeNode> waiting_;
    int64 lastParent_ = kNoParent;   ///< Of what was stored last: it waits no more.
    std::vector<bool> read_;         ///< By cluster: read as part of a folder.
    std::vector<uint8> buffer_;      ///< What is being read of a folder.
    std::vector<Folder> subfolders_; ///< Of the folder being walked.
    double progress_ = 0;
    bool stopped_ = false;
};

} // namespace kova
