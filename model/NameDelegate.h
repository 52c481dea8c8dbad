#pragma once

#include <QStyledItemDelegate>

/// Paints texts that come from a volume with what could mislead the eye made visible. Where a text
/// does not fit into its column, a tooltip has all of it.
class NameDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    [[nodiscard]] QString displayText(const QVariant& value, const QLocale& locale) const override;

    bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                   const QModelIndex& index) override;

protected:
    /// Names, sizes and dates that read from left to right do so in a view that does not, too.
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;
};
