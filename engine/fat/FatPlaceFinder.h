#pragma once

#include "engine/IdTable.h"
#include "engine/content/ContentKind.h"
#include "engine/fat/FatFound.h"
#include "engine/fat/ZFatVolume.h"

#include <initializer_list>
#include <optional>
#include <span>
#include <vector>

namespace kova {

/// Finds out where deleted files of a FAT32 volume began whose entries have lost the high half of
/// their first cluster, as Windows clears it: in one of up to 4096 places, one for each value of
/// that half.
///
/// A place is weighed by what is known of it: whether it is free, and has room; whether what lies
/// there agrees with the file's suffix; and whether the file would lie where its neighbours in the
/// folder do, as files that were saved together lie in order and close to each other.
class FatPlaceFinder {
public:
    explicit FatPlaceFinder(ZFatVolume& volume) : volume_(volume) {}

    /// Sets the places of all that was found in these folders.
    void run(std::span<FatFound> found, std::initializer_list<std::span<const FatFolder>> folders,
             const std::vector<FatFolderItem>& items);

    /// Where a deleted directory begins: it says so itself, in its first two entries. `parent` is
    /// the first cluster of the directory above it, 0 for the root. 0 when it is not there.
    [[nodiscard]] uint32 findFolder(uint32 recorded, uint32 parent);

    /// What the first entries of a directory say about it; `self` 0: it is none.
    struct Dots {
        bool isKnown = false;
        uint32 self = 0;
        uint32 parent = 0;
        uint32 created = 0; ///< Creation stamp.
    };

    /// Valid until the next is asked for.
    [[nodiscard]] const Dots& dotsOf(uint32 cluster);

    /// Every cluster that an entry may mean.
    template <typename Call>
    void forEachCandidate(uint32 recorded, const Call& call) const {
        const uint32 last = volume_.geometry().lastCluster;
        const uint32 step = isHighWordLost(recorded) ? kHighWordStep : last + 1;
        for (uint64 cluster = recorded; cluster <= last; cluster += step) {
            if (cluster >= kFirstDataCluster)
                call(static_cast<uint32>(cluster));
        }
    }

    /// Of the clusters that an entry may mean the first one behind `cluster`; 0 for none.
    [[nodiscard]] uint32 nearestAbove(uint32 recorded, uint32 cluster) const;

    /// Whether Windows has cleared the upper half of a first cluster that this may be the rest of.
    [[nodiscard]] bool isHighWordLost(uint32 recorded) const {
        return volume_.geometry().type == FatType::Fat32 && recorded < kHighWordStep &&
               volume_.geometry().lastCluster >= kHighWordStep;
    }

private:
    static constexpr uint32 kHighWordStep = 0x10000;

    struct Candidate {
        uint32 cluster = 0;
        bool hasRoom = false;   ///< Its run of free clusters takes the whole file.
        bool isClaimed = false; ///< Another deleted file began here for sure.
        bool isInOrder = false; ///< It lies between its neighbours.
        uint32 distance = 0;    ///< From where its neighbours let it be expected.
        uint64 rank = 0;        ///< Less is likelier, before anything is read.
        Fit fit = Fit::CannotTell;

        /// More is likelier. What content says outweighs all else.
        [[nodiscard]] int weight() const {
            return (fit == Fit::Yes ? 8 : 0) + (isClaimed ? 0 : 4) + (hasRoom ? 2 : 0) +
                   (isInOrder ? 1 : 0);
        }
    };

    /// What is known of the places around a file.
    struct Neighbours {
        uint32 before = 0;   ///< Cluster behind the file before it in the folder, else the folder.
        uint32 after = 0;    ///< First cluster of the one behind it; 0: not known.
        bool isFile = false; ///< It is a file that lies before, not just the folder itself.
    };

    void placeFolder(const FatFolder& folder, bool checkedOnes);
    void place(FatFound& found, const FatFolderItem& item, Neighbours neighbours);
    [[nodiscard]] std::optional<Candidate> candidateAt(uint64 cluster, uint32 clusters,
                                                       Neighbours neighbours) const;
    bool placeNext(FatFound& found, uint32 clusters, Neighbours neighbours);
    void findCandidates(const FatFound& found, uint32 clusters, Neighbours neighbours);
    [[nodiscard]] Fit contentFit(const FormerStarts::Kinds& kinds, uint32 cluster);

    ZFatVolume& volume_;
    std::span<FatFound> found_;
    const std::vector<FatFolderItem>* items_ = nullptr;
    IdTable<Dots> dots_;
    std::vector<Candidate> candidates_; ///< Of the file being placed.
    std::vector<uint8> buffer_;
};

} // namespace kova
