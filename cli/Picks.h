#pragma once

#include "cli/Selection.h"
#include "engine/ZTreeListing.h"
#include "workers/RecoveryList.h"

#include <QString>

#include <vector>

/// What the user wants recovered: of the entries selected, those picked by id or path with all
/// below them; without picks, all.
struct Picks {
    std::vector<kova::int64> ids;
    std::vector<QString> paths; ///< As `ZTreeListing::path` gives them.

    [[nodiscard]] bool isEmpty() const { return ids.empty() && paths.empty(); }

    /// Throws `CommandError` when a pick is not found.
    [[nodiscard]] RecoveryList listOf(const kova::ZTreeListing& listing,
                                      const Selection& selection) const;
};
