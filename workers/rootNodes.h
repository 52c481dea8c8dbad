#pragma once

#include "engine/ZFileTree.h"

#include <QSet>

/// Takes out of `selected` every id that lies below another of them, so that what is left with
/// all that is below it is what was selected, each node once. The id of the tree's root stays.
void keepRootNodes(const kova::ZFileTree& tree, QSet<kova::int64>& selected);
