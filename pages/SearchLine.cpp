#include "pages/SearchLine.h"

#include <QKeyEvent>

SearchLine::SearchLine(QWidget* parent) : QLineEdit(parent) {
    setClearButtonEnabled(true);
}

void SearchLine::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_Escape:
        clear();
        emit left();
        break;
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Down:
        emit left();
        break;
    default:
        QLineEdit::keyPressEvent(event);
        return;
    }
    event->accept();
}
