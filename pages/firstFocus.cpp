#include "pages/firstFocus.h"

#include <QWidget>

QWidget* firstFocus(const QWidget& parent) {
    for (QWidget* widget : parent.findChildren<QWidget*>()) {
        const bool tabStop = (widget->focusPolicy() & Qt::TabFocus) != 0;
        if (tabStop && widget->isEnabled() && widget->isVisibleTo(&parent))
            return widget;
    }
    return nullptr;
}
