#include "pages/FileTreeView.h"

#include <QApplication>
#include <QItemSelectionModel>
#include <QKeyEvent>

#include <vector>

void FileTreeView::keyboardSearch(const QString& search) {
    sinceLetter_.start();
    QTreeView::keyboardSearch(search);
}

void FileTreeView::keyPressEvent(QKeyEvent* event) {
    const QModelIndex current = currentIndex();
    if (event->key() == Qt::Key_Asterisk && current.isValid()) {
        expandBelow(current);
        event->accept();
        return;
    }
    // A blank may also be one within a name.
    if (event->key() != Qt::Key_Space || !current.isValid() || isTypingAhead()) {
        QTreeView::keyPressEvent(event);
        return;
    }
    selectionModel()->select(current, selectionCommand(current, event));
    emit clicked(current);
    event->accept();
}

/// As the base class does, which remembers each file as open, too, and is slow where there are
/// many.
void FileTreeView::expandBelow(const QModelIndex& folder) {
    scheduleDelayedItemsLayout(); // Until then nothing is laid out that is expanded.
    std::vector<QModelIndex> folders{folder};
    while (!folders.empty()) {
        const QModelIndex open = folders.back();
        folders.pop_back();
        expand(open);
        for (int row = 0; row < model()->rowCount(open); ++row) {
            const QModelIndex child = model()->index(row, 0, open);
            if (model()->hasChildren(child))
                folders.push_back(child);
        }
    }
}

bool FileTreeView::isTypingAhead() const {
    return sinceLetter_.isValid() &&
           !sinceLetter_.hasExpired(QApplication::keyboardInputInterval());
}
