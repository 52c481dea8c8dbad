#include "pages/TreePlace.h"

#include "model/FileModel.h"

#include <QItemSelectionModel>
#include <QScrollBar>

TreePlace::TreePlace(const QTreeView& view) {
    const auto* model = qobject_cast<const FileModel*>(view.model());
    if (model == nullptr)
        return;
    keepOpenRows(view, *model, {});
    for (const QItemSelectionRange& range : view.selectionModel()->selection())
        selected_.push_back({model->nodeFromIndex(range.topLeft())->id,
                             model->nodeFromIndex(range.bottomRight())->id});
    if (view.currentIndex().isValid())
        current_ = model->nodeFromIndex(view.currentIndex())->id;
    scrolledTo_ = view.verticalScrollBar()->value();
}

void TreePlace::keepOpenRows(const QTreeView& view, const FileModel& model,
                             const QModelIndex& parent) {
    for (int row = 0; row < model.rowCount(parent); ++row) {
        const QModelIndex index = model.index(row, 0, parent);
        if (!view.isExpanded(index))
            continue;
        open_.push_back(model.nodeFromIndex(index)->id);
        keepOpenRows(view, model, index);
    }
}

void TreePlace::applyTo(QTreeView& view) const {
    const auto* model = qobject_cast<const FileModel*>(view.model());
    if (model == nullptr)
        return;
    for (const kova::int64 id : open_)
        view.expand(model->find(id));
    QItemSelection selection;
    for (const Range& range : selected_) {
        const QModelIndex first = model->find(range.first);
        const QModelIndex last = model->find(range.last);
        if (first.isValid() && last.isValid() && first.parent() == last.parent())
            selection.select(first, last);
    }
    view.selectionModel()->setCurrentIndex(model->find(current_), QItemSelectionModel::NoUpdate);
    view.selectionModel()->select(selection,
                                  QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    view.verticalScrollBar()->setValue(scrolledTo_);
}
