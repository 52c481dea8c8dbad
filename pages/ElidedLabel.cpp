#include "pages/ElidedLabel.h"

#include "model/texts.h"

#include <QHelpEvent>
#include <QStyle>
#include <QStylePainter>
#include <QToolTip>

ElidedLabel::ElidedLabel(QWidget* parent) : QLabel(parent) {
    setTextFormat(Qt::PlainText);
}

QSize ElidedLabel::sizeHint() const {
    return {0, fontMetrics().height()};
}

QSize ElidedLabel::minimumSizeHint() const {
    return sizeHint();
}

bool ElidedLabel::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip)
        return QLabel::event(event);
    const bool fits = fontMetrics().horizontalAdvance(text()) <= contentsRect().width();
    QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(),
                       fits ? QString() : asToolTip(text()), this);
    return true;
}

void ElidedLabel::paintEvent(QPaintEvent* /*event*/) {
    QStylePainter painter(this);
    const QRect area = contentsRect();
    const Qt::Alignment aligned = QStyle::visualAlignment(layoutDirection(), alignment());
    // A sentence keeps its own direction where the window has another.
    painter.setLayoutDirection(text().isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
    painter.drawItemText(area, static_cast<int>(aligned), palette(), isEnabled(),
                         fontMetrics().elidedText(text(), Qt::ElideMiddle, area.width()),
                         foregroundRole());
}
