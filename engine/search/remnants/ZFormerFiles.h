#pragma once

#include "engine/ZVolume.h"
#include "engine/search/KnownFiles.h"

#include <unordered_map>
#include <vector>

namespace kova {

/// A former file system of which folders are left: a tree of names, and for each file where its
/// clusters lay. What fills it is `FatRemnants` or `ExFatRemnants`.
class ZFormerFiles : public ZVolume {
public:
    /// One file or folder.
    struct Item {
        ZFileTreeNode node;           ///< Its id is its own, its parent's that of another item.
        std::vector<ByteRange> place; ///< In its order; empty when it has no content.
        uint64 validBytes = 0;        ///< What lies beyond is zero.
        bool isChained = false;       ///< A table says where it lay.
        bool isDoubtful = false;      ///< Where it lay is a guess.
        bool isLost = false;          ///< What lies there is another file's.
    };

    /// `media` is not owned and outlives this. The root's id is 0; parents that no item has are
    /// orphans'.
    ZFormerFiles(ZCustomMedia* media, std::vector<Item> items);

    /// Nothing is to be read.
    bool init() override { return true; }

    void scan(ZFileTree* tree) override;
    bool extract(const ZFileTreeNode& node, ZStream* out) override;
    [[nodiscard]] FileState assess(const ZFileTreeNode& node) override;
    [[nodiscard]] std::vector<ByteRange> placeOf(const ZFileTreeNode& node) override;
    [[nodiscard]] std::optional<uint64> startOf(const ZFileTreeNode& node) override;

private:
    [[nodiscard]] const Item* find(int64 id) const;

    std::vector<Item> items_;
    std::unordered_map<int64, std::size_t> byId_;
};

} // namespace kova
