#include "pages/NameColumnHeader.h"

#include "model/texts.h"

#include <QFontMetrics>

NameColumnHeader::NameColumnHeader(QWidget* parent) : QHeaderView(Qt::Horizontal, parent) {
    setSectionsMovable(true);
    setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
}

void NameColumnHeader::fitColumns() {
    setSectionResizeMode(Interactive);
    setSectionResizeMode(0, Stretch);
    setStretchLastSection(false);
    const QFontMetrics metrics = fontMetrics();
    const QString longestSize = formatSize(kova::int64{999} * 1024 * 1024);
    const QString longestDate = QStringLiteral("30 May 2000 00:00");
    const auto widthOf = [&](const QString& text) {
        return metrics.horizontalAdvance(text + QLatin1Char('M'));
    };
    setMinimumSectionSize(widthOf(longestSize));
    resizeSection(1, widthOf(longestSize));
    resizeSection(2, widthOf(longestDate));
}

void NameColumnHeader::resizeEvent(QResizeEvent* event) {
    QHeaderView::resizeEvent(event);
    // The base class lets a column that is to fill the room keep its width when there is none.
    if (count() > 0 && length() > viewport()->width())
        resizeSection(0, minimumSectionSize());
}
