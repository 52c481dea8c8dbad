#pragma once

#include "engine/search/ContentFind.h"
#include "engine/search/FormerVolume.h"
#include "engine/search/remnants/ExFatSetFinder.h"
#include "engine/search/remnants/FatTableFinder.h"
#include "engine/search/remnants/ZFormerFiles.h"

#include <vector>

namespace kova {

/// Puts former exFAT volumes together again from the entry sets that a search has found.
///
/// An entry tells in which cluster a file or folder begins; how the volume was cut into clusters
/// follows from where entries of folders are found, and files of just the right length and kind.
class ExFatRemnants {
public:
    /// `found`, `tables` and `content` outlive this; `today` is how today's volume is cut, all 0
    /// when there is none.
    ExFatRemnants(const ExFatSetFinder& found, const FatTableFinder& tables,
                  const std::vector<ContentFind>& content, ClusterLayout today)
        : found_(found), tables_(tables), content_(content), today_(today) {}

    /// The volumes. `media` is not owned and outlives them.
    [[nodiscard]] std::vector<FormerVolume> volumes(ZCustomMedia& media) const;

private:
    const ExFatSetFinder& found_;
    const FatTableFinder& tables_;
    const std::vector<ContentFind>& content_;
    ClusterLayout today_;
};

} // namespace kova
