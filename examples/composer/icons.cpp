#include "icons.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QTransform>

#include <utility>

namespace {

constexpr int side = 20; // points; the drawings below count in them

QPainterPath arrowBack()
{
    QPainterPath path(QPointF(4, 8));
    path.lineTo(12, 8);
    path.arcTo(QRectF(8, 8, 8, 8), 90, -180);
    path.lineTo(7, 16);
    path.moveTo(7.5, 4.5);
    path.lineTo(4, 8);
    path.lineTo(7.5, 11.5);
    return path;
}

QPainterPath pathOf(Glyph glyph)
{
    QPainterPath path;
    switch (glyph) {
    case Glyph::composition:
        path.addRoundedRect(3.5, 4.5, 13, 11, 1.5, 1.5);
        path.moveTo(10, 7.5);
        path.lineTo(10, 12.5);
        path.moveTo(7.5, 10);
        path.lineTo(12.5, 10);
        break;
    case Glyph::picture:
        path.addRoundedRect(2.5, 4.5, 15, 11, 1.5, 1.5);
        path.moveTo(4, 14);
        path.lineTo(8, 9);
        path.lineTo(11.5, 13);
        path.lineTo(13, 11.5);
        path.lineTo(16, 14);
        path.addEllipse(QPointF(13, 8), 1.2, 1.2);
        break;
    case Glyph::rectangle:
        path.addRect(3.5, 5.5, 13, 9);
        break;
    case Glyph::circle:
        path.addEllipse(QPointF(10, 10), 6.5, 6.5);
        break;
    case Glyph::text:
        path.moveTo(4.5, 6.5);
        path.lineTo(4.5, 4.5);
        path.lineTo(15.5, 4.5);
        path.lineTo(15.5, 6.5);
        path.moveTo(10, 4.5);
        path.lineTo(10, 16);
        path.moveTo(8, 16);
        path.lineTo(12, 16);
        break;
    case Glyph::duplicate:
        path.addRoundedRect(7.5, 7.5, 9, 9, 1.5, 1.5);
        path.moveTo(12.5, 5);
        path.lineTo(12.5, 3.5);
        path.lineTo(3.5, 3.5);
        path.lineTo(3.5, 12.5);
        path.lineTo(5, 12.5);
        break;
    case Glyph::remove:
        path.moveTo(4, 5.5);
        path.lineTo(16, 5.5);
        path.moveTo(8, 5.5);
        path.lineTo(8, 3.5);
        path.lineTo(12, 3.5);
        path.lineTo(12, 5.5);
        path.moveTo(5.5, 5.5);
        path.lineTo(6.2, 16.5);
        path.lineTo(13.8, 16.5);
        path.lineTo(14.5, 5.5);
        break;
    case Glyph::undo:
        return arrowBack();
    case Glyph::redo:
        return QTransform(-1, 0, 0, 1, side, 0).map(arrowBack());
    case Glyph::exporting:
        path.moveTo(10, 3.5);
        path.lineTo(10, 12.5);
        path.moveTo(6.5, 9);
        path.lineTo(10, 12.5);
        path.lineTo(13.5, 9);
        path.moveTo(3.5, 12.5);
        path.lineTo(3.5, 16.5);
        path.lineTo(16.5, 16.5);
        path.lineTo(16.5, 12.5);
        break;
    }
    return path;
}

} // namespace

QIcon iconOf(Glyph glyph)
{
    QIcon icon;
    const QPalette palette = QGuiApplication::palette();
    for (const auto& [mode, group] :
         {std::pair(QIcon::Normal, QPalette::Active), std::pair(QIcon::Disabled, QPalette::Disabled)}) {
        for (const int scale : {1, 2}) {
            QPixmap pixmap(side * scale, side * scale);
            pixmap.setDevicePixelRatio(scale);
            pixmap.fill(Qt::transparent);
            QPainter painter(&pixmap);
            painter.setRenderHint(QPainter::Antialiasing);
            painter.setPen(
                QPen(palette.color(group, QPalette::WindowText), 1.4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            painter.drawPath(pathOf(glyph));
            painter.end();
            icon.addPixmap(pixmap, mode);
        }
    }
    return icon;
}
