#include "cli/Selection.h"

Selection::Selection(const kova::ZTreeListing& listing, const Filters& filters,
                     kova::ZVolume& volume)
    : selected_(listing.entries().size(), !filters.isNarrow()) {
    if (!filters.isNarrow())
        return;
    // Backwards, so that a folder is reached after all that is in it.
    for (std::size_t i = selected_.size(); i-- > 0;) {
        const kova::ZTreeListing::Entry& entry = listing.entries()[i];
        if (!entry.node->isDirectory)
            selected_[i] = filters.accepts(volume, *entry.node);
        if (selected_[i] && entry.parent != kova::ZTreeListing::kNone)
            selected_[entry.parent] = true;
    }
}
