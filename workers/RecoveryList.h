#pragma once

#include "engine/ZTreeListing.h"

#include <QSet>

#include <vector>

/// What is to be recovered: some entries of a listing. An entry is written into its folder where
/// that one is to be recovered, too, otherwise directly into the output directory.
///
/// The listing, and what it lists, outlives the list.
struct RecoveryList {
    const kova::ZTreeListing* listing = nullptr;
    std::vector<kova::ZTreeListing::Range> ranges; ///< In ascending order and apart.
    std::vector<bool> leftOut; ///< By index: not to be recovered all the same. Empty: nothing.
    /// A folder for all of it in the output directory, if not null.
    const kova::ZFileTreeNode* folder = nullptr;

    [[nodiscard]] bool contains(std::size_t index) const {
        return leftOut.empty() || !leftOut[index];
    }

    /// Calls `visit` for each entry in its order. Its answer is the index to go on at.
    template <typename Visit>
    void forEach(Visit visit) const {
        for (const auto& [begin, end] : ranges) {
            for (std::size_t i = begin; i < end;)
                i = contains(i) ? visit(i) : i + 1;
        }
    }
};

/// Selected nodes with all below them, each once; what the listing does not have is left out. The
/// id of the tree's root, where that is a folder, stands for all that is reached from there.
[[nodiscard]] RecoveryList recoveryListOf(const kova::ZTreeListing& listing,
                                          const kova::ZFileTree& tree,
                                          const QSet<kova::int64>& selected);

/// What all files of a list would come to, in bytes, as the volume says.
[[nodiscard]] kova::uint64 promisedBytes(const RecoveryList& list);
