#pragma once

#include "engine/search/ContentFind.h"
#include "engine/search/remnants/ZFormerFiles.h"

#include <vector>

namespace kova {

/// Settles where the files of a former file system lay whose chains are gone. Each comes with the
/// place that it had if it lay in one piece. One that runs into what another file holds, or whose
/// content breaks off where its suffix says what it has to be, is tried round the others; what
/// stays in doubt is marked, and one that does not even begin as its name says is lost.
///
/// `held` are clusters of folders, which no file holds; `finds` is what content has found, which
/// need not be followed again.
void settlePlaces(ZCustomMedia& media, std::vector<ZFormerFiles::Item>& items,
                  const std::vector<ByteRange>& held, const std::vector<ContentFind>& finds);

} // namespace kova
