#pragma once

#include "cli/Filters.h"
#include "engine/ZTreeListing.h"

#include <cstddef>
#include <vector>

/// Which entries of a listing a command is about: the files that pass the filters and the folders
/// that lead to them, or, without filters, everything.
class Selection {
public:
    /// `volume` has been scanned into the listing's tree.
    Selection(const kova::ZTreeListing& listing, const Filters& filters, kova::ZVolume& volume);

    /// By index into the listing's entries. With an entry, its folder is in too.
    [[nodiscard]] bool contains(std::size_t index) const { return selected_[index]; }

private:
    std::vector<bool> selected_;
};
