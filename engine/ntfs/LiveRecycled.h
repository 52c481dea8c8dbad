#pragma once

#include "engine/ZFileTreeNode.h"

#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace kova {

/// What still lies in Windows' recycle bin, which is found among all live records of a volume:
/// pairs of "$R" and "$I" in a folder of "$Recycle.Bin", and what is below an "$R" folder.
class LiveRecycled {
public:
    /// Record numbers.
    struct Found {
        std::vector<uint32> contents;     ///< The "$R" of pairs, with all below.
        std::vector<uint32> descriptions; ///< Their "$I".
    };

    /// Takes note of a live file or folder, each once, in ascending order of their ids.
    void add(const ZFileTreeNode& node);

    [[nodiscard]] Found find();

private:
    struct Place {
        uint32 record;
        uint32 folder;
    };

    struct Half {
        uint32 folder;
        uint32 record;
        std::wstring rest; ///< Of the name, behind "$R" or "$I".

        [[nodiscard]] auto key() const { return std::tie(folder, rest); }
    };

    [[nodiscard]] bool isInBin(uint32 folder) const;
    void addBelow(std::vector<uint32>& records);

    std::vector<Place> places_;
    std::vector<Half> contents_;
    std::vector<Half> descriptions_;
    std::set<uint32> bins_;
};

} // namespace kova
