#include "pages/FileTreeView.h"

#include <QApplication>
#include <QItemSelectionModel>
#include <QKeyEvent>

void FileTreeView::keyboardSearch(const QString& search) {
    sinceLetter_.start();
    QTreeView::keyboardSearch(search);
}

void FileTreeView::keyPressEvent(QKeyEvent* event) {
    const QModelIndex current = currentIndex();
    // A blank may also be one within a name.
    if (event->key() != Qt::Key_Space || !current.isValid() || isTypingAhead()) {
        QTreeView::keyPressEvent(event);
        return;
    }
    selectionModel()->select(current, selectionCommand(current, event));
    emit clicked(current);
    event->accept();
}

bool FileTreeView::isTypingAhead() const {
    return sinceLetter_.isValid() &&
           !sinceLetter_.hasExpired(QApplication::keyboardInputInterval());
}
