#include "pages/mirrorSheets.h"

#include <QLabel>
#include <QRadioButton>
#include <QRegularExpression>

namespace {

/// Keeps the punctuation before it at the right end of a text.
constexpr char16_t kLeftToRightMark = 0x200E;

QString mirrored(const QString& sheet) {
    static const QRegularExpression side(QStringLiteral("(?<=margin-|padding-)(left|right)"));
    QString result;
    qsizetype end = 0;
    for (const QRegularExpressionMatch& match : side.globalMatch(sheet)) {
        result += sheet.mid(end, match.capturedStart() - end);
        result += match.captured() == QLatin1String("left") ? QLatin1String("right")
                                                            : QLatin1String("left");
        end = match.capturedEnd();
    }
    return result + sheet.mid(end);
}

} // namespace

void mirrorSheets(QWidget& window) {
    QList<QWidget*> widgets = window.findChildren<QWidget*>();
    widgets.prepend(&window);
    for (QWidget* widget : widgets) {
        const QString sheet = widget->styleSheet();
        const QString turned = mirrored(sheet);
        if (turned != sheet)
            widget->setStyleSheet(turned);
        auto* label = qobject_cast<QLabel*>(widget);
        if (label != nullptr && (label->alignment() & Qt::AlignLeft) != 0)
            label->setAlignment((label->alignment() & ~Qt::AlignHorizontal_Mask) | Qt::AlignRight |
                                Qt::AlignAbsolute);
        auto* button = qobject_cast<QRadioButton*>(widget);
        if (button != nullptr && !button->text().isRightToLeft())
            button->setText(button->text() + QChar(kLeftToRightMark));
    }
}
