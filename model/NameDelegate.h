#pragma once

#include <QStyledItemDelegate>

/// Paints texts that come from a volume with what could mislead the eye made visible.
class NameDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    [[nodiscard]] QString displayText(const QVariant& value, const QLocale& locale) const override;
};
