#pragma once

#include "engine/ClusterRanges.h"
#include "engine/PieceFinder.h"
#include "engine/exfat/ExFatBitmap.h"
#include "engine/exfat/ExFatGeometry.h"
#include "engine/exfat/ExFatPlaces.h"
#include "engine/exfat/ExFatTable.h"

#include <vector>

namespace kova {

/// The clusters of a deleted file, as far as they can be told.
class ExFatExtents {
public:
    /// Finds where the content of `place` lay: in clusters that follow each other, where it says
    /// so; where the FAT still holds its chain, there; else it is taken to go on behind its last
    /// known cluster, past clusters that are in use or `claimed` by other deleted files.
    ExFatExtents(const ExFatPlace& place, const ExFatGeometry& geometry, ExFatTable& table,
                 const ExFatBitmap& bitmap, const ClusterRanges& claimed);

    /// Where content says that it lay.
    explicit ExFatExtents(std::vector<ClusterRun> runs);

    [[nodiscard]] const std::vector<ClusterRun>& runs() const { return runs_; }

    /// Clusters in all runs; fewer than the file takes where the heap ends before.
    [[nodiscard]] uint64 clusters() const { return clusters_; }

    /// Of these, in use by other files now.
    [[nodiscard]] uint64 taken() const { return taken_; }

    /// Whether some of them are a guess.
    [[nodiscard]] bool isGuess() const { return isGuess_; }

private:
    void append(uint32 cluster);

    std::vector<ClusterRun> runs_;
    uint64 clusters_ = 0;
    uint64 taken_ = 0;
    bool isGuess_ = false;
};

} // namespace kova
