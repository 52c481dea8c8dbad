#pragma once

#include "engine/ZTreeListing.h"

#include <vector>

/// Files, without folders, and what they come to.
struct FileSum {
    kova::int64 files = 0;
    kova::uint64 bytes = 0; ///< As the volume says; sizes beyond all reason are cut.

    bool operator==(const FileSum&) const = default;
};

/// Tells what any range of a listing comes to, at once.
class FileSums {
public:
    FileSums() = default;

    /// Only those of the entries marked in `counted`, by index, unless it is empty.
    explicit FileSums(const kova::ZTreeListing& listing, const std::vector<bool>& counted = {});

    /// Made of no listing.
    [[nodiscard]] bool isEmpty() const { return before_.empty(); }

    [[nodiscard]] FileSum in(const std::vector<kova::ZTreeListing::Range>& ranges) const;

private:
    std::vector<FileSum> before_; ///< Of all entries before the one with the index.
};
