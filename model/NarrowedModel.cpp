#include "model/NarrowedModel.h"

#include <algorithm>

using kova::ZTreeListing;

NarrowedModel::NarrowedModel(kova::ZFileTree* shown, const ZTreeListing& listing, QObject* parent)
    : FileModel(shown, parent), listing_(listing), places_(listing.entries().size()) {}

void NarrowedModel::show(const std::vector<bool>& marked) {
    beginResetModel();
    rows_.clear();
    rows_.reserve(static_cast<std::size_t>(std::count(marked.begin(), marked.end(), true)));
    top_ = {};
    for (std::size_t i = 0; i < marked.size(); ++i) {
        if (!marked[i])
            continue;
        places_[i] = static_cast<std::uint32_t>(rows_.size());
        Row row{static_cast<std::uint32_t>(i)};
        row.row = above(row).children++;
        rows_.push_back(row);
    }
    auto next = static_cast<std::uint32_t>(top_.children);
    for (Row& row : rows_) {
        row.firstChild = next;
        next += static_cast<std::uint32_t>(row.children);
    }
    children_.resize(rows_.size());
    for (std::size_t place = 0; place < rows_.size(); ++place)
        children_[above(rows_[place]).firstChild + static_cast<std::size_t>(rows_[place].row)] =
            static_cast<std::uint32_t>(place);
    endResetModel();
}

NarrowedModel::Row& NarrowedModel::above(const Row& row) {
    const std::size_t parent = listing_.entries()[row.entry].parent;
    return parent == ZTreeListing::kNone ? top_ : rows_[places_[parent]];
}

const NarrowedModel::Row& NarrowedModel::rowOf(const QModelIndex& index) const {
    return index.isValid() ? rows_[places_[listing_.indexOf(nodeFromIndex(index)->id)]] : top_;
}

QModelIndex NarrowedModel::index(int row, int column, const QModelIndex& parent) const {
    if (!hasIndex(row, column, parent))
        return {};
    const std::size_t place = children_[rowOf(parent).firstChild + static_cast<std::size_t>(row)];
    return createIndex(row, column, listing_.entries()[rows_[place].entry].node);
}

QModelIndex NarrowedModel::parent(const QModelIndex& child) const {
    if (!child.isValid())
        return {};
    const std::size_t parent = listing_.entries()[rowOf(child).entry].parent;
    if (parent == ZTreeListing::kNone)
        return {};
    return createIndex(rows_[places_[parent]].row, 0, listing_.entries()[parent].node);
}

int NarrowedModel::rowCount(const QModelIndex& parent) const {
    return parent.column() > 0 ? 0 : rowOf(parent).children;
}

QModelIndex NarrowedModel::indexOf(const kova::ZFileTreeNode& node) const {
    const std::size_t entry = listing_.indexOf(node.id);
    if (entry == ZTreeListing::kNone)
        return {};
    const std::size_t place = places_[entry];
    if (place >= rows_.size() || rows_[place].entry != entry)
        return {};
    return createIndex(rows_[place].row, 0, &node);
}
