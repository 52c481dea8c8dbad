#pragma once

#include "cli/Selection.h"
#include "engine/ZFileTree.h"
#include "engine/ZTreeListing.h"

#include <QString>

#include <vector>

/// What the user wants recovered: of the entries selected, those picked by id or path with all
/// below them; without picks, all.
struct Picks {
    std::vector<kova::int64> ids;
    std::vector<QString> paths; ///< As `ZTreeListing::path` gives them.

    [[nodiscard]] bool isEmpty() const { return ids.empty() && paths.empty(); }
};

/// Root of the tree that `buildRecoveryTree` fills. No found node has this id.
inline constexpr kova::int64 kOutputRoot = -3;

/// Fills `tree` with what is to be recovered, hanging as it is to be written: each pick, or
/// without picks each first level, directly below `kOutputRoot`. What carries the id of the
/// scanned tree's root is there a node like any other. Throws `CommandError` when a pick is not
/// found.
void buildRecoveryTree(const kova::ZTreeListing& listing, const Selection& selection,
                       const Picks& picks, kova::ZFileTree& tree);
