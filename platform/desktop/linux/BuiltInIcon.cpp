#include "platform/desktop/linux/BuiltInIcon.h"

#include <QPainter>
#include <QPainterPath>
#include <QPen>
#include <QPolygonF>

#include <algorithm>

namespace {

/// Everything is drawn on a square of this side and scaled from there.
constexpr double kSide = 16.0;

constexpr QRgb kPaper = 0xFFFFFFFF;
constexpr QRgb kEdge = 0xFF8A94A0;

/// A sheet of paper with its upper right corner folded.
void drawSheet(QPainter& painter) {
    constexpr double kFold = 4.0;
    const QRectF sheet(2.5, 0.5, 11.0, 15.0);
    const QPointF foldLeft(sheet.right() - kFold, sheet.top());
    const QPointF foldBelow(sheet.right(), sheet.top() + kFold);
    painter.setPen(QPen(QColor::fromRgba(kEdge), 1.0));
    painter.setBrush(QColor::fromRgba(kPaper));
    painter.drawPolygon(
        QPolygonF({sheet.topLeft(), foldLeft, foldBelow, sheet.bottomRight(), sheet.bottomLeft()}));
    painter.drawPolyline(QPolygonF({foldLeft, {foldLeft.x(), foldBelow.y()}, foldBelow}));
}

// What stands on the sheet, between (4, 5) and (12, 14), in the painter's brush.

void drawLines(QPainter& painter) {
    for (const double y : {6.0, 8.0, 10.0, 12.0})
        painter.drawRect(QRectF(5, y, y < 12.0 ? 6 : 4, 1));
}

void drawTable(QPainter& painter) {
    for (const double y : {6.0, 9.0, 12.0}) {
        painter.drawRect(QRectF(5, y, 2, 2));
        painter.drawRect(QRectF(8, y, 4, 2));
    }
}

void drawSlide(QPainter& painter) {
    painter.drawRect(QRectF(4, 6, 8, 5));
    painter.drawRect(QRectF(7.5, 11, 1, 3));
}

void drawPicture(QPainter& painter) {
    painter.drawEllipse(QRectF(5, 6, 2, 2));
    painter.drawPolygon(QPolygonF({{4, 13}, {6.5, 9}, {8, 11}, {9.5, 7.5}, {12.5, 13}}));
}

void drawFilm(QPainter& painter) {
    painter.drawPolygon(QPolygonF({{5.5, 5.5}, {11.5, 9.5}, {5.5, 13.5}}));
}

void drawNote(QPainter& painter) {
    painter.drawEllipse(QRectF(5, 10.5, 3.5, 3));
    painter.drawRect(QRectF(7.5, 5, 1, 7));
    painter.drawPolygon(QPolygonF({{7.5, 5}, {11, 6.5}, {11, 8.5}, {7.5, 7}}));
}

void drawZip(QPainter& painter) {
    for (const double y : {4.0, 6.0, 8.0}) {
        painter.drawRect(QRectF(6, y, 2, 1));
        painter.drawRect(QRectF(8, y + 1, 2, 1));
    }
    painter.drawRect(QRectF(6.5, 10, 3, 4));
}

void drawWindow(QPainter& painter) {
    QPainterPath window;
    window.addRect(QRectF(4, 6, 8, 7));
    window.addRect(QRectF(5, 8, 6, 4)); // A hole: what is covered twice is left out.
    painter.drawPath(window);
}

void drawLetter(QPainter& painter) {
    painter.drawRect(QRectF(5, 6, 6, 1.5));
    painter.drawRect(QRectF(7.25, 6, 1.5, 8));
}

struct Sign {
    const char* genericIconName;
    QRgb colour;
    void (*draw)(QPainter&);
};

constexpr Sign kSigns[] = {
    {"text-x-generic", 0xFF66707C, drawLines},
    {"text-html", 0xFF2F7FB8, drawLines},
    {"text-x-script", 0xFF4B5A6A, drawLines},
    {"x-office-document", 0xFF2B62B5, drawLines},
    {"x-office-spreadsheet", 0xFF2E8B57, drawTable},
    {"x-office-presentation", 0xFFD0662A, drawSlide},
    {"image-x-generic", 0xFF2A9D8F, drawPicture},
    {"video-x-generic", 0xFFC0392B, drawFilm},
    {"audio-x-generic", 0xFF7D4CB0, drawNote},
    {"package-x-generic", 0xFFA9741F, drawZip},
    {"application-x-executable", 0xFF3C4C5E, drawWindow},
    {"font-x-generic", 0xFF3C4C5E, drawLetter},
};

} // namespace

QPixmap builtInIcon(const QString& genericIconName, QSize size) {
    const auto* const sign =
        std::find_if(std::begin(kSigns), std::end(kSigns), [&](const Sign& candidate) {
            return genericIconName == QLatin1String(candidate.genericIconName);
        });
    if (sign == std::end(kSigns))
        return {};
    QPixmap icon(size);
    icon.fill(Qt::transparent);
    QPainter painter(&icon);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(size.width() / kSide, size.height() / kSide);
    drawSheet(painter);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor::fromRgba(sign->colour));
    sign->draw(painter);
    return icon;
}
