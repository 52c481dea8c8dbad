#pragma once

#include "engine/ZTreeListing.h"
#include "model/FileModel.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// The part of a tree that a search has found, as an item view shows it: some entries of its
/// listing with the folders above them, in their order.
///
/// The listing outlives the model. It has all that the tree's root leads to, and nothing else.
class NarrowedModel : public FileModel {
    Q_OBJECT

public:
    NarrowedModel(kova::ZFileTree* shown, const kova::ZTreeListing& listing,
                  QObject* parent = nullptr);

    /// Shows the entries marked, by index. The folder that a marked entry is listed in is marked.
    void show(const std::vector<bool>& marked);

    /// How many rows there are, at all levels.
    [[nodiscard]] std::size_t shownCount() const { return rows_.size(); }

    [[nodiscard]] QModelIndex index(int row, int column,
                                    const QModelIndex& parent = {}) const override;
    [[nodiscard]] QModelIndex parent(const QModelIndex& child) const override;
    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QModelIndex indexOf(const kova::ZFileTreeNode& node) const override;

private:
    struct Row {
        std::uint32_t entry; ///< In the listing.
        int row = 0;         ///< Among its siblings that are shown.
        int children = 0;
        std::uint32_t firstChild = 0; ///< In `children_`.
    };

    [[nodiscard]] const Row& rowOf(const QModelIndex& index) const;
    [[nodiscard]] Row& above(const Row& row);

    const kova::ZTreeListing& listing_;
    Row top_{};                           ///< Stands for the root.
    std::vector<Row> rows_;               ///< In the order of the listing.
    std::vector<std::uint32_t> children_; ///< Indices into `rows_`, siblings side by side.
    std::vector<std::uint32_t> places_;   ///< By entry that is shown: its index in `rows_`.
};
