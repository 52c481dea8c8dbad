#pragma once

#include "engine/search/TakenSpace.h"

#include <set>
#include <utility>
#include <vector>

namespace kova {

/// The files that a search needs not give out once more.
class KnownFiles {
public:
    /// A file of this size that begins at this byte of the media.
    void addStart(uint64 start, uint64 size) { files_.emplace(start, size); }

    /// Where a file lies, if no other one holds any of it.
    void addPlace(const std::vector<ByteRange>& place) { space_.add(place); }

    /// Whether a file of this size begins there.
    [[nodiscard]] bool contains(uint64 start, uint64 size) const {
        return files_.contains({start, size});
    }

    /// What the files hold that nobody else holds.
    [[nodiscard]] const TakenSpace& space() const { return space_; }

private:
    std::set<std::pair<uint64, uint64>> files_; ///< First byte on the media, and size.
    TakenSpace space_;
};

} // namespace kova
