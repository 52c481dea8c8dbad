#pragma once

#include "engine/ZFileTree.h"
#include "model/IconCache.h"

#include <QAbstractItemModel>
#include <QStringList>

/// A scanned tree as an item view shows it: name, size and date of what was found, in the order of
/// the tree, below the root node, which is no row itself.
///
/// Nothing is copied: an index carries the address of its node in the tree, which outlives the
/// model and does not change meanwhile. Names are given as they stand on the volume.
///
/// Something found may carry the root's id (an empty file on a FAT volume does) and then stands in
/// the root's place; as a row it has no rows below it, or the tree would have no end.
class FileModel : public QAbstractItemModel {
    Q_OBJECT

public:
    explicit FileModel(kova::ZFileTree* tree, QObject* parent = nullptr);

    [[nodiscard]] QModelIndex index(int row, int column,
                                    const QModelIndex& parent = {}) const override;
    [[nodiscard]] QModelIndex parent(const QModelIndex& child) const override;
    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation,
                                      int role) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& index) const override;

    /// The node of an index; of an invalid one the root node, null when the tree has none.
    [[nodiscard]] const kova::ZFileTreeNode* nodeFromIndex(const QModelIndex& index) const;

    /// The row of a node of the tree that has one.
    [[nodiscard]] virtual QModelIndex indexOf(const kova::ZFileTreeNode& node) const;

    /// The row of the node with an id, invalid when there is none.
    [[nodiscard]] QModelIndex find(kova::int64 id) const;

private:
    [[nodiscard]] QVariant text(const kova::ZFileTreeNode& node, int column) const;
    [[nodiscard]] QPixmap icon(const kova::ZFileTreeNode& node) const;

    QStringList headers; ///< A column is known by its caption.
    kova::ZFileTree* tree;
    const kova::ZFileTreeNode* rootNode;
    mutable IconCache icons;
};
