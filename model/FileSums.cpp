#include "model/FileSums.h"

#include <algorithm>
#include <limits>

using kova::int64;
using kova::uint64;

FileSums::FileSums(const kova::ZTreeListing& listing, const std::vector<bool>& counted) {
    const auto& entries = listing.entries();
    const int64 most = std::numeric_limits<int64>::max() / (static_cast<int64>(entries.size()) + 1);
    before_.reserve(entries.size() + 1);
    FileSum sum;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        before_.push_back(sum);
        const kova::ZFileTreeNode& node = *entries[i].node;
        if (node.isDirectory || (!counted.empty() && !counted[i]))
            continue;
        ++sum.files;
        sum.bytes += static_cast<uint64>(std::clamp<int64>(node.size, 0, most));
    }
    before_.push_back(sum);
}

FileSum FileSums::in(const std::vector<kova::ZTreeListing::Range>& ranges) const {
    FileSum sum;
    for (const auto& [begin, end] : ranges) {
        sum.files += before_[end].files - before_[begin].files;
        sum.bytes += before_[end].bytes - before_[begin].bytes;
    }
    return sum;
}
