#pragma once

#include "engine/FormerStarts.h"
#include "engine/PieceFinder.h"
#include "engine/ZVolume.h"
#include "engine/exfat/ExFatBitmap.h"
#include "engine/exfat/ExFatExtents.h"
#include "engine/exfat/ExFatGeometry.h"
#include "engine/exfat/ExFatPlaces.h"
#include "engine/exfat/ExFatTable.h"
#include "engine/exfat/ExFatUpcase.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kova {

/// An exFAT volume: finds deleted entry sets, and those in use in deleted folders.
///
/// Ids are those of `ExFatPlaces`: the first cluster, or a number from 2^32 on; the root is 0.
///
/// `scan` and `extract` throw the `int` 0 unless `init` has succeeded.
class ZExFatVolume : public ZVolume {
public:
    /// `media` is opened, not owned, and outlives the calls made here.
    explicit ZExFatVolume(ZCustomMedia* media) : ZVolume(media), places_(geometry_) {}

    /// Reads the boot region (the backup where the main one is damaged), the allocation bitmap,
    /// which stays in memory, and the up-case table. Throws the `int` 0 when neither region
    /// describes a volume, else true. A volume that claims more than the media holds is used as
    /// far as the media reaches.
    bool init() override;

    /// Walks the folders. A false answer of the progress callback ends the walk; what was found
    /// until then is in the tree.
    void scan(ZFileTree* tree) override;

    /// Writes a file's data to `out` at its position and sets the size of `out` to its earlier one
    /// plus what was delivered. False when that is not the whole file, or others hold all of its
    /// clusters; then nothing is written.
    bool extract(const ZFileTreeNode& node, ZStream* out) override;

    [[nodiscard]] FileState assess(const ZFileTreeNode& node) override;
    [[nodiscard]] ClusterLayout clusterLayout() const override;
    [[nodiscard]] bool isInUse(uint64 index) const override;
    [[nodiscard]] std::vector<ByteRange> placeOf(const ZFileTreeNode& node) override;
    [[nodiscard]] std::optional<uint64> startOf(const ZFileTreeNode& node) override;

    [[nodiscard]] const ExFatGeometry& geometry() const { return geometry_; }

    /// Whether the root directory holds what every one does: the allocation bitmap, in which its
    /// own cluster is in use. After `init`.
    [[nodiscard]] bool hasBitmap() const { return bitmap_.isKnown(); }

private:
    friend class ExFatDirectoryWalk;

    [[nodiscard]] exfat::BootSector findBootSector();
    [[nodiscard]] std::optional<exfat::BootSector> readBootSector(uint64 sector, uint32 sectorBytes,
                                                                  bool& isWhole);
    void openTable();
    void findTables();
    void loadBitmap(const exfat::TableEntry& entry);
    void loadUpcase(const exfat::TableEntry& entry);
    [[nodiscard]] std::vector<uint8> readChain(uint32 first, uint64 bytes);
    [[nodiscard]] ExFatExtents extentsOf(const ExFatPlace& place);
    [[nodiscard]] FormerStarts& starts();
    [[nodiscard]] PieceFinder pieceFinder();
    [[nodiscard]] bool isContested(const ExFatPlace& place, const ExFatExtents& extents);
    [[nodiscard]] ExFatExtents weighedExtentsOf(const ExFatPlace& place, const std::wstring& name,
                                                Fit& fit);
    [[nodiscard]] uint64 heldBytes(const ExFatExtents& extents) const;
    uint64 deliver(const ExFatExtents& extents, uint64 bytes, ZStream& out);
    void requireInit() const;

    /// Fills `bytes`, whole sectors, from byte `offset` of a cluster on. What the media does not
    /// give is zero.
    void readCluster(uint32 cluster, uint64 offset, std::span<uint8> bytes);

    ExFatGeometry geometry_;
    ExFatTable table_;
    ExFatBitmap bitmap_;
    ExFatUpcase upcase_;
    ExFatPlaces places_;
    FormerStarts starts_;           ///< Of what a scan has found; see `starts`.
    std::size_t startedPlaces_ = 0; ///< Places of which `starts_` knows already.
};

} // namespace kova
