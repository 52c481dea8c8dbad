#include "model/NameDelegate.h"

#include "model/texts.h"

#include <QAbstractItemView>
#include <QHelpEvent>
#include <QToolTip>

QString NameDelegate::displayText(const QVariant& value, const QLocale& locale) const {
    return displayName(QStyledItemDelegate::displayText(value, locale));
}

bool NameDelegate::helpEvent(QHelpEvent* event, QAbstractItemView* view,
                             const QStyleOptionViewItem& option, const QModelIndex& index) {
    if (event->type() != QEvent::ToolTip)
        return QStyledItemDelegate::helpEvent(event, view, option, index);
    const bool fits = sizeHint(option, index).width() <= view->visualRect(index).width();
    const QString text = displayText(index.data(), view->locale());
    QToolTip::showText(event->globalPos(), fits ? QString() : asToolTip(text), view);
    return true;
}
