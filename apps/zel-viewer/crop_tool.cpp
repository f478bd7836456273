#include "crop_tool.h"

#include "appearance.h"

#include <QPainterPath>

namespace zel::viewer {
namespace {

constexpr double reach = 18; // pixels of the screen around a corner that count as the corner
constexpr double handleLength = 18;

using Corner = CropFrame::Corner;
constexpr Corner corners[] = {Corner::topLeft, Corner::topRight, Corner::bottomLeft, Corner::bottomRight};

bool isRight(Corner corner)
{
    return corner == Corner::topRight || corner == Corner::bottomRight;
}

bool isBottom(Corner corner)
{
    return corner == Corner::bottomLeft || corner == Corner::bottomRight;
}

QPointF pointOf(const QRectF& frame, Corner corner)
{
    return {isRight(corner) ? frame.right() : frame.left(), isBottom(corner) ? frame.bottom() : frame.top()};
}

void paintThirds(QPainter& painter, const QRectF& frame)
{
    painter.setPen(QPen(QColor(255, 255, 255, 90), 1));
    for (const double part : {1 / 3.0, 2 / 3.0}) {
        const double x = frame.left() + frame.width() * part, y = frame.top() + frame.height() * part;
        painter.drawLine(QPointF(x, frame.top()), QPointF(x, frame.bottom()));
        painter.drawLine(QPointF(frame.left(), y), QPointF(frame.right(), y));
    }
}

void paintHandles(QPainter& painter, const QRectF& frame)
{
    painter.setPen(QPen(Appearance::accent, 4, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
    for (const Corner corner : corners) {
        const QPointF at = pointOf(frame, corner);
        const QPointF along(isRight(corner) ? -handleLength : handleLength, 0);
        const QPointF down(0, isBottom(corner) ? -handleLength : handleLength);
        painter.drawPolyline(QPolygonF{at + along, at, at + down});
    }
}

void paintSize(QPainter& painter, const QRectF& frame, const CGRect& pixels)
{
    const QString text = QString("%1 × %2").arg(qRound(pixels.width())).arg(qRound(pixels.height()));
    const QRectF box = QRectF(painter.fontMetrics().boundingRect(text)).adjusted(-8, -4, 8, 4);
    const QRectF place(QPointF(frame.center().x() - box.width() / 2, frame.bottom() - box.height() - 10), box.size());
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0, 0, 0, 150));
    painter.drawRoundedRect(place, 4, 4);
    painter.setPen(Qt::white);
    painter.drawText(place, Qt::AlignCenter, text);
}

} // namespace

QRectF CropTool::shownFrame(const Viewport& viewport) const
{
    const CGRect rect = frame_.rect();
    const QRectF picture = viewport.pictureRect();
    return {picture.topLeft() + QPointF(rect.minX(), rect.minY()) * viewport.zoom(),
            QSizeF(rect.width(), rect.height()) * viewport.zoom()};
}

void CropTool::paint(QPainter& painter, const Viewport& viewport)
{
    const QRectF frame = shownFrame(viewport);
    QPainterPath outside;
    outside.addRect(viewport.pictureRect());
    outside.addRect(frame);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(outside, QColor(0, 0, 0, 160)); // the odd-even rule leaves the frame out
    paintThirds(painter, frame);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(QColor(255, 255, 255, 220), 1));
    painter.drawRect(frame);
    paintHandles(painter, frame);
    paintSize(painter, frame, frame_.rect());
}

std::optional<Corner> CropTool::cornerAt(QPointF at, const Viewport& viewport) const
{
    const QRectF frame = shownFrame(viewport);
    for (const Corner corner : corners)
        if ((at - pointOf(frame, corner)).manhattanLength() <= reach)
            return corner;
    return std::nullopt;
}

bool CropTool::press(QPointF at, const Viewport& viewport)
{
    corner_ = cornerAt(at, viewport);
    last_ = at;
    return corner_ || shownFrame(viewport).contains(at);
}

void CropTool::drag(QPointF to, const Viewport& viewport)
{
    if (corner_) {
        const QPointF point = viewport.toPicture(to);
        frame_.pull(*corner_, {point.x(), point.y()});
    } else {
        const QPointF distance = (to - last_) / viewport.zoom();
        frame_.moveBy({distance.x(), distance.y()});
    }
    last_ = to;
}

Qt::CursorShape CropTool::cursorAt(QPointF at, const Viewport& viewport) const
{
    if (const auto corner = cornerAt(at, viewport))
        return isRight(*corner) == isBottom(*corner) ? Qt::SizeFDiagCursor : Qt::SizeBDiagCursor;
    return shownFrame(viewport).contains(at) ? Qt::SizeAllCursor : Qt::ArrowCursor;
}

} // namespace zel::viewer
