#include "model/NameDelegate.h"

#include "model/texts.h"

#include <QAbstractItemView>
#include <QHelpEvent>
#include <QToolTip>

namespace {

constexpr char16_t kIsolateLeftToRight = 0x2066;
constexpr char16_t kEndOfIsolate = 0x2069;

} // namespace

QString NameDelegate::displayText(const QVariant& value, const QLocale& locale) const {
    return displayName(QStyledItemDelegate::displayText(value, locale));
}

void NameDelegate::initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const {
    QStyledItemDelegate::initStyleOption(option, index);
    if (option->direction == Qt::RightToLeft && !option->text.isRightToLeft())
        option->text = QChar(kIsolateLeftToRight) + option->text + QChar(kEndOfIsolate);
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
