#pragma once

#include <QHeaderView>

/// The header of a tree of files, whose first column, the names, has all the room that the others
/// leave. Where they leave none it becomes as narrow as a column may be, and the view scrolls.
class NameColumnHeader : public QHeaderView {
    Q_OBJECT

public:
    explicit NameColumnHeader(QWidget* parent = nullptr);

    /// Once the view has a model: sizes and dates, the second and third column, get the room they
    /// need.
    void fitColumns();

protected:
    void resizeEvent(QResizeEvent* event) override;
};
