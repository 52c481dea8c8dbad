#pragma once

#include "engine/ZCustomMedia.h"
#include "engine/ZFileTree.h"
#include "engine/search/ContentFind.h"
#include "engine/search/remnants/NtfsNameFinder.h"

#include <vector>

namespace kova {

/// Gives files that were found by their content the names that NTFS folders still hold of files
/// whose records are gone: that of the same size, if there is one only and its suffix fits. Names
/// that `tree` has with their size are somebody else's. Those that got a name are taken out of
/// `finds` and returned, with the folders above them as far as they are known.
[[nodiscard]] std::vector<ContentFind> nameFinds(ZCustomMedia& media,
                                                 const std::vector<NtfsNameFinder::Name>& names,
                                                 const ZFileTree& tree,
                                                 std::vector<ContentFind>& finds);

} // namespace kova
