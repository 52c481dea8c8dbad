#pragma once

#include "engine/search/TakenSpace.h"

#include <set>
#include <utility>
#include <vector>

namespace kova {

/// The files that a search needs not give out once more.
class KnownFiles {
public:
    /// A file by its place, which is not empty; `isOwn`: no other file holds any of it.
    void add(const std::vector<ByteRange>& place, uint64 size, bool isOwn) {
        files_.emplace(place.front().start, size);
        if (isOwn)
            space_.add(place);
    }

    /// Whether a file of this size begins there.
    [[nodiscard]] bool contains(const std::vector<ByteRange>& place, uint64 size) const {
        return files_.contains({place.front().start, size});
    }

    /// What the files hold that nobody else holds.
    [[nodiscard]] const TakenSpace& space() const { return space_; }

private:
    std::set<std::pair<uint64, uint64>> files_; ///< First byte on the media, and size.
    TakenSpace space_;
};

} // namespace kova
