#include "pages/ElidedLabel.h"

#include <QStyle>
#include <QStylePainter>

ElidedLabel::ElidedLabel(QWidget* parent) : QLabel(parent) {
    setTextFormat(Qt::PlainText);
}

QSize ElidedLabel::sizeHint() const {
    return {0, fontMetrics().height()};
}

QSize ElidedLabel::minimumSizeHint() const {
    return sizeHint();
}

void ElidedLabel::paintEvent(QPaintEvent* /*event*/) {
    QStylePainter painter(this);
    const QRect area = contentsRect();
    const Qt::Alignment aligned = QStyle::visualAlignment(layoutDirection(), alignment());
    painter.drawItemText(area, static_cast<int>(aligned), palette(), isEnabled(),
                         fontMetrics().elidedText(text(), Qt::ElideMiddle, area.width()),
                         foregroundRole());
}
