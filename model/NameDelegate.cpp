#include "model/NameDelegate.h"

#include "model/texts.h"

QString NameDelegate::displayText(const QVariant& value, const QLocale& locale) const {
    return displayName(QStyledItemDelegate::displayText(value, locale));
}
