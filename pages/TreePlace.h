#pragma once

#include "engine/types.h"

#include <QTreeView>

#include <vector>

class FileModel;

/// Which rows of a view on a `FileModel` are open and selected, and how far it is scrolled, so that
/// a model on the same tree, grown meanwhile, can be shown the same way.
class TreePlace {
public:
    TreePlace() = default;

    /// Remembers what `view` shows; nothing when it has no `FileModel`.
    explicit TreePlace(const QTreeView& view);

    /// Brings a view with a model to it, as far as the rows are still there.
    void applyTo(QTreeView& view) const;

private:
    /// Rows of one folder that are selected, by the ids of the first and the last.
    struct Range {
        kova::int64 first;
        kova::int64 last;
    };

    void keepOpenRows(const QTreeView& view, const FileModel& model, const QModelIndex& parent);

    std::vector<kova::int64> open_; ///< Folders before what lies in them.
    std::vector<Range> selected_;
    kova::int64 current_ = kova::kNoParent;
    int scrolledTo_ = 0;
};
