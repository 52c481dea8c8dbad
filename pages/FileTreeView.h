#pragma once

#include <QElapsedTimer>
#include <QTreeView>

/// A tree of files as people use it by keyboard: Space is a click on the current row, letters lead
/// to the next name that begins with them, an asterisk opens all folders below the current row.
class FileTreeView : public QTreeView {
    Q_OBJECT

public:
    using QTreeView::QTreeView;

    void keyboardSearch(const QString& search) override;

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void expandBelow(const QModelIndex& folder);
    [[nodiscard]] bool isTypingAhead() const;

    QElapsedTimer sinceLetter_;
};
