#pragma once

#include "engine/ZCustomMedia.h"

#include <vector>

namespace kova {

/// A folder as far as it is known: mostly its first cluster, as it names itself.
struct FatFolderStart {
    uint64 position = 0; ///< Byte on the media.
    uint32 cluster = 0;  ///< Its own first cluster.
    uint32 parent = 0;   ///< First cluster of the folder above, 0 for the root.
    uint32 last = 0;     ///< The last cluster that is known of it, 0 when that is the first.
};

/// Sectors in a row that hold entries and do not begin a folder.
struct FatEntrySectors {
    static constexpr uint64 kBytes = 512; ///< Of each; larger sectors count as several.

    uint64 position = 0; ///< Byte on the media.
    uint64 end = 0;
};

/// How a former FAT volume was cut into clusters.
struct FatClusters {
    uint64 start = 0; ///< Byte on the media at which cluster 2 lay.
    uint32 bytes = 0; ///< Per cluster.

    static constexpr uint32 kFirst = 2;

    [[nodiscard]] uint64 positionOf(uint32 cluster) const {
        return start + uint64{cluster - kFirst} * bytes;
    }

    [[nodiscard]] bool explains(const FatFolderStart& folder) const {
        return folder.cluster >= kFirst && positionOf(folder.cluster) == folder.position;
    }
};

/// The bytes of a folder, put together from its clusters.
struct FatFolderBytes {
    uint32 cluster = 0;   ///< Its first; 0 for the root, and where the folder is not known.
    uint32 parent = 0;    ///< First cluster of the folder above, 0 for the root.
    bool isKnown = false; ///< It has its first cluster, or is the root.
    std::vector<uint8> entries;
    std::vector<uint32> clusters; ///< All that it took, from the last that was known of it on.
};

/// Puts the folders of a former volume together from their clusters, of which only the first says
/// whose it is. A folder that fills a cluster goes on in another one; which one is told by a long
/// name that runs over the border, by the folders named in it, and by the order in which clusters
/// were taken.
class FatFolderChains {
public:
    /// `folders` are those of the volume; nothing is owned.
    FatFolderChains(ZCustomMedia& media, FatClusters clusters,
                    const std::vector<FatFolderStart>& folders,
                    const std::vector<FatEntrySectors>& entries);

    /// Every folder, then the clusters that no folder is known for, each as one of its own.
    [[nodiscard]] std::vector<FatFolderBytes> folders();

private:
    /// A name that is cut by the end of a cluster, or by its beginning.
    struct CutName {
        bool isCut = false;
        uint8 order = 0;     ///< Of the entry next to the border, 0 when it is not known.
        uint8 checksum = 0;  ///< That of the entry next to the border, or what it should be.
        bool isLong = false; ///< That is a long-name entry.
    };

    /// One cluster of entries.
    struct Leaf {
        uint32 cluster = 0;
        std::vector<uint8> entries; ///< Up to the end that it marks, if it does.
        bool isFull = false;        ///< It marks no end.
        CutName head;               ///< The name that goes on from the cluster before.
        CutName tail;               ///< The name that goes on in the next cluster.
        uint32 firstTarget = 0;     ///< First cluster of the first file in it, 0 without one.
        uint32 lastTarget = 0;      ///< And of the last.
        bool isTaken = false;
    };

    [[nodiscard]] Leaf read(uint32 cluster, uint64 bytes) const;
    static bool joins(const Leaf& before, const Leaf& after);
    void joinByFolders();
    void joinByOrder();
    void append(std::size_t folder, Leaf& leaf);

    ZCustomMedia& media_;
    FatClusters clusters_;
    std::vector<FatFolderBytes> folders_;
    std::vector<Leaf> last_; ///< The last cluster of each folder so far.
    std::vector<Leaf> loose_;
};

} // namespace kova
