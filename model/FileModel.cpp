#include "model/FileModel.h"

#include "model/texts.h"

namespace {

const QString kName = QStringLiteral("File name");
const QString kSize = QStringLiteral("Size");
const QString kModified = QStringLiteral("Date modified");

} // namespace

FileModel::FileModel(kova::ZFileTree* shown, QObject* parent)
    : QAbstractItemModel(parent), headers{kName, kSize, kModified}, tree(shown),
      rootNode(shown->find(shown->rootId)) {}

const kova::ZFileTreeNode* FileModel::nodeFromIndex(const QModelIndex& index) const {
    return index.isValid() ? static_cast<const kova::ZFileTreeNode*>(index.internalPointer())
                           : rootNode;
}

QModelIndex FileModel::find(kova::int64 id) const {
    const kova::ZFileTreeNode* node = tree->find(id);
    const int row = node == nullptr ? -1 : tree->rowOf(id);
    return row < 0 || node == rootNode ? QModelIndex() : createIndex(row, 0, node);
}

QModelIndex FileModel::index(int row, int column, const QModelIndex& parent) const {
    if (!hasIndex(row, column, parent))
        return {};
    const kova::ZFileTreeNode* parentNode = nodeFromIndex(parent);
    const kova::ZFileTreeNode* child =
        parentNode == nullptr ? nullptr : tree->childAt(parentNode->id, row);
    return child == nullptr ? QModelIndex() : createIndex(row, column, child);
}

QModelIndex FileModel::parent(const QModelIndex& child) const {
    if (!child.isValid())
        return {};
    const kova::ZFileTreeNode* parentNode = tree->find(nodeFromIndex(child)->parentId);
    if (parentNode == nullptr || parentNode == rootNode)
        return {};
    return indexOf(*parentNode);
}

QModelIndex FileModel::indexOf(const kova::ZFileTreeNode& node) const {
    return createIndex(tree->rowOf(node.id), 0, &node);
}

int FileModel::rowCount(const QModelIndex& parent) const {
    const kova::ZFileTreeNode* node = nodeFromIndex(parent);
    if (node == nullptr || parent.column() > 0 || (parent.isValid() && node == rootNode))
        return 0;
    return tree->childCount(node->id);
}

int FileModel::columnCount(const QModelIndex& /*parent*/) const {
    return static_cast<int>(headers.size());
}

QVariant FileModel::data(const QModelIndex& index, int role) const {
    const kova::ZFileTreeNode* node = index.isValid() ? nodeFromIndex(index) : nullptr;
    if (node == nullptr)
        return {};
    if (role == Qt::DisplayRole)
        return text(*node, index.column());
    if (role == Qt::DecorationRole && index.column() == 0)
        return icon(*node);
    return {};
}

QVariant FileModel::text(const kova::ZFileTreeNode& node, int column) const {
    if (column == headers.indexOf(kName))
        return toQString(node.name);
    if (column == headers.indexOf(kSize) && !node.isDirectory)
        return formatSize(node.size);
    if (column == headers.indexOf(kModified))
        return formatFileTime(node.modificationTime);
    return {};
}

QPixmap FileModel::icon(const kova::ZFileTreeNode& node) const {
    if (node.isDirectory)
        return node.id == kova::kLostFolder ? icons.lostFolderIcon()
                                            : icons.folderIcon(!node.exists);
    return icons.fileIcon(toQString(node.name), !node.exists);
}

QVariant FileModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 ||
        section >= headers.size())
        return {};
    return headers[section];
}

Qt::ItemFlags FileModel::flags(const QModelIndex& index) const {
    return index.isValid() ? Qt::ItemIsSelectable | Qt::ItemIsEnabled : Qt::NoItemFlags;
}
