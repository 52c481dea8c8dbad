#include "workers/RecoveryList.h"

#include <algorithm>
#include <limits>
#include <utility>

using kova::int64;
using kova::uint64;
using kova::ZTreeListing;

RecoveryList recoveryListOf(const ZTreeListing& listing, const kova::ZFileTree& tree,
                            const QSet<int64>& selected) {
    RecoveryList list;
    list.listing = &listing;
    for (const int64 id : selected) {
        const std::size_t index = listing.indexOf(id);
        if (index != ZTreeListing::kNone)
            list.ranges.push_back(listing.rangeOf(index));
    }
    const kova::ZFileTreeNode* root = tree.find(tree.rootId);
    if (root != nullptr && root->isDirectory && selected.contains(root->id)) {
        list.ranges.push_back({0, listing.unreachable()});
        // It mostly has no name, or the one of the folder itself.
        if (!root->name.empty() && root->name != L".")
            list.folder = root;
    }
    list.ranges = united(std::move(list.ranges));
    return list;
}

uint64 promisedBytes(const RecoveryList& list) {
    constexpr uint64 kMost = std::numeric_limits<int64>::max(); // as texts show it
    uint64 sum = 0;
    list.forEach([&](std::size_t index) {
        const kova::ZFileTreeNode& node = *list.listing->entries()[index].node;
        if (!node.isDirectory && node.size > 0)
            sum = std::min(kMost, sum + static_cast<uint64>(node.size));
        return index + 1;
    });
    return sum;
}
