#include "pages/PagePalette.h"

QPalette pagePalette() {
    const QColor button(239, 239, 239);
    const QColor page(Qt::white);
    QPalette palette(button, page);
    const QColor selection(48, 140, 198);
    palette.setColor(QPalette::Highlight, selection);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Disabled, QPalette::Highlight, Qt::lightGray);
    return palette;
}
