#pragma once

#include "engine/FormerStarts.h"
#include "engine/IdTable.h"
#include "engine/PieceFinder.h"
#include "engine/ZVolume.h"
#include "engine/fat/FatClusterUse.h"
#include "engine/fat/FatGeometry.h"
#include "engine/fat/FatPlace.h"
#include "engine/fat/FatTable.h"

namespace kova {

/// A FAT12, FAT16 or FAT32 volume: finds deleted entries, and live ones in deleted directories.
///
/// The id of a node is the first cluster of its entry, so of all entries that share one only the
/// latest is kept, and empty files, which have none, share the root's id 0.
///
/// `scan` and `extract` throw the `int` 0 unless `init` has succeeded.
class ZFatVolume : public ZVolume {
public:
    /// `media` is opened, not owned, and outlives the calls made here.
    explicit ZFatVolume(ZCustomMedia* media) : ZVolume(media) {}

    /// Has `init` read the boot sector at this byte of the media, a multiple of 512, and not at its
    /// start. What it says about the volume still counts from the start.
    void setBootSectorAt(uint64 byte) { bootSectorByte_ = byte; }

    /// Reads the boot sector and the first FAT, which stays in memory. Throws the `int` 0 when
    /// the boot sector describes no volume, else true. A volume that claims more than the media
    /// holds is used as far as the media reaches.
    bool init() override;

    /// Walks the directory tree. The progress callback cannot stop it, except by throwing: it
    /// is called once before the walk and then only for the orphans.
    void scan(ZFileTree* tree) override;

    /// Writes a file's data to `out` at its position, taking it to lie in consecutive clusters
    /// from its first, and cuts `out` to its earlier size plus what was delivered: less than the
    /// file's size where the volume or the media ends earlier. Always true; what `out` throws
    /// passes out.
    bool extract(const ZFileTreeNode& node, ZStream* out) override;

    /// By the FAT, as read in `init`. A file whose place is a guess that another one equals, or
    /// that has to step over clusters of other files, is uncertain; one that goes on beyond the
    /// end of the device is unreadable.
    [[nodiscard]] FileState assess(const ZFileTreeNode& node) override;

    [[nodiscard]] ClusterLayout clusterLayout() const override;
    [[nodiscard]] bool isInUse(uint64 index) const override;
    [[nodiscard]] std::vector<ByteRange> placeOf(const ZFileTreeNode& node) override;
    [[nodiscard]] std::optional<uint64> startOf(const ZFileTreeNode& node) override;

    [[nodiscard]] const FatGeometry& geometry() const { return geometry_; }

    /// With `ScanOptions::findPlaces` entries without a cluster, or whose cluster is another one's
    /// id already, have ids from here on, in the order of the walk.
    static constexpr int64 kFirstOwnId = int64{1} << 32;

private:
    friend class FatDirectoryWalk;
    friend class FatPlaceFinder;
    friend class FatSurvey;

    void loadTable();
    [[nodiscard]] FatTable readTable(uint32 index);
    [[nodiscard]] bool readTablePart(uint32 index, uint64 sector, uint32 count, uint8* buffer);
    void requireInit() const;

    [[nodiscard]] FatPlace fatPlaceOf(const ZFileTreeNode& node) const;
    [[nodiscard]] uint64 clustersOf(const ZFileTreeNode& node) const;
    [[nodiscard]] bool isUnprovable(const ZFileTreeNode& node, const FatPlace& place);
    [[nodiscard]] std::vector<FatRun> runsOf(const ZFileTreeNode& node);
    [[nodiscard]] uint64 heldOf(const FatRun& run, uint64 length) const;
    [[nodiscard]] std::vector<FatRun> weighedRunsOf(const ZFileTreeNode& node, Fit& fit);
    bool extractRuns(const ZFileTreeNode& node, ZStream& out);
    uint64 writeRun(const FatRun& run, uint64 most, ZStream& out);

    /// Reads `count` clusters from `first` on. What the media does not give is zero.
    void readClusters(uint32 first, uint32 count, uint8* buffer);

    uint64 bootSectorByte_ = 0;
    FatGeometry geometry_;
    FatTable table_;
    FatClusterUse use_;
    FormerStarts starts_; ///< Of what a scan with `ScanOptions::findPlaces` has found.
    IdTable<FatPlace> places_;
    bool tableIsEmpty_ = false; ///< No FAT begins as one: what it says is free may not be.
};

} // namespace kova
