#pragma once

#include "engine/ZVolume.h"
#include "engine/search/ContentFind.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace kova {

/// The files that a search has found by their content, as a volume: in the folders that
/// they were in where that is known, else in folders by kind.
class ZFoundByContent : public ZVolume {
public:
    /// `media` is not owned and outlives this.
    ZFoundByContent(ZCustomMedia* media, std::vector<ContentFind> finds)
        : ZVolume(media), finds_(std::move(finds)) {
        finds_.shrink_to_fit(); // They stay for long.
    }

    /// Nothing is to be read.
    bool init() override { return true; }

    void scan(ZFileTree* tree) override;
    bool extract(const ZFileTreeNode& node, ZStream* out) override;
    [[nodiscard]] FileState assess(const ZFileTreeNode& node) override;
    [[nodiscard]] std::vector<ByteRange> placeOf(const ZFileTreeNode& node) override;

private:
    [[nodiscard]] const ContentFind* find(int64 id) const;
    void nameByContent(ZFileTree& tree, const MeasuredContent& content, std::size_t number,
                       ZFileTreeNode& node);
    int64 folder(ZFileTree& tree, int64 parent, const std::wstring& name);

    std::vector<ContentFind> finds_;
    std::map<std::pair<int64, std::wstring>, int64> folders_; ///< Ids by parent and name.
};

} // namespace kova
