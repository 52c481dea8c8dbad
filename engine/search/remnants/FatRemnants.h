#pragma once

#include "engine/search/ContentFind.h"
#include "engine/search/FormerVolume.h"
#include "engine/search/remnants/FatFolderFinder.h"
#include "engine/search/remnants/FatTableFinder.h"
#include "engine/search/remnants/ZFormerFiles.h"

#include <vector>

namespace kova {

/// Puts former FAT volumes together again from the folders that a search has found.
///
/// Where a folder lies and the number of the cluster that it gives itself have to agree for one
/// cluster size and one start of the data; folders that agree make up a volume.
class FatRemnants {
public:
    /// `found`, `tables` and `content`, the files found by their content, outlive this; `today` is
    /// how today's FAT volume is cut, all 0 when there is none.
    FatRemnants(const FatFolderFinder& found, const FatTableFinder& tables,
                const std::vector<ContentFind>& content, ClusterLayout today)
        : found_(found), tables_(tables), content_(content), today_(today) {}

    /// The volumes, those with most folders first. `media` is not owned and outlives them.
    [[nodiscard]] std::vector<FormerVolume> volumes(ZCustomMedia& media) const;

private:
    using Folder = FatFolderFinder::Folder;

    const FatFolderFinder& found_;
    const FatTableFinder& tables_;
    const std::vector<ContentFind>& content_;
    ClusterLayout today_;
};

} // namespace kova
