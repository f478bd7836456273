#include "canvas.h"

#include "appearance.h"

#include <QMouseEvent>

#include <cmath>

namespace zel::viewer {
namespace {

/// From here on pixels are shown as squares.
constexpr double squaresFrom = 3;

/// What shows through transparent pictures.
QBrush checks()
{
    constexpr int side = 8;
    QPixmap tile(2 * side, 2 * side);
    tile.fill(QColor(0x8A, 0x8A, 0x8A));
    QPainter painter(&tile);
    painter.fillRect(0, 0, side, side, QColor(0x76, 0x76, 0x76));
    painter.fillRect(side, side, side, side, QColor(0x76, 0x76, 0x76));
    return {tile};
}

} // namespace

Canvas::Canvas(QWidget* parent) : QWidget(parent)
{
    setMouseTracking(true);
    setFocusPolicy(Qt::ClickFocus);
    setMinimumSize(240, 180);
}

void Canvas::setPreview(const Preview& preview)
{
    pixels_ = preview.pixels;
    message_ = preview.message;
    viewport_.setPicture({preview.size.width, preview.size.height});
    update();
}

void Canvas::setMessage(const QString& text)
{
    pixels_ = {};
    message_ = text;
    update();
}

void Canvas::setTool(CanvasTool* tool)
{
    tool_ = tool;
    unsetCursor();
    update();
}

CGSize Canvas::shownSizeOf(CGSize picture) const
{
    Viewport viewport = viewport_;
    viewport.setPicture({picture.width, picture.height});
    return picture * viewport.zoom();
}

void Canvas::changed()
{
    update();
    emit zoomChanged();
}

void Canvas::fit()
{
    viewport_.fit();
    changed();
}

void Canvas::zoomAt(double zoom, QPointF anchor)
{
    viewport_.zoomTo(zoom, anchor);
    changed();
}

void Canvas::zoomTo(double zoom)
{
    zoomAt(zoom, viewport_.middle());
}

void Canvas::zoomBy(double factor)
{
    const double next = zoom() * factor;
    const bool passesOne = (zoom() < 1 && next > 1) || (zoom() > 1 && next < 1); // which is worth a stop
    zoomTo(passesOne ? 1 : next);
}

void Canvas::paintPicture(QPainter& painter) const
{
    const QRectF place = viewport_.pictureRect();
    if (pixels_.hasAlphaChannel())
        painter.fillRect(place, checks());
    const bool isExact = place.size().toSize() == pixels_.size();
    painter.setRenderHint(QPainter::SmoothPixmapTransform, !isExact && viewport_.zoom() < squaresFrom);
    if (isExact)
        painter.drawImage(place.topLeft(), pixels_);
    else
        painter.drawImage(place, pixels_);
}

void Canvas::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), Appearance::ground);
    if (pixels_.isNull()) {
        painter.setPen(Appearance::quietText);
        painter.drawText(rect().adjusted(32, 32, -32, -32), static_cast<int>(Qt::AlignCenter) | Qt::TextWordWrap,
                         message_);
        return;
    }
    painter.scale(1 / devicePixelRatioF(), 1 / devicePixelRatioF());
    paintPicture(painter);
    if (tool_ != nullptr) {
        QFont scaled = font();
        scaled.setPointSizeF(scaled.pointSizeF() * devicePixelRatioF());
        painter.setFont(scaled);
        tool_->paint(painter, viewport_);
    }
}

void Canvas::resizeEvent(QResizeEvent*)
{
    viewport_.setView(QSizeF(size()) * devicePixelRatioF());
    emit zoomChanged();
}

void Canvas::wheelEvent(QWheelEvent* event)
{
    const double factor = std::exp2(event->angleDelta().y() / 480.0); // four notches double
    if (tool_ != nullptr) {
        tool_->zoom(factor);
        update();
    } else {
        zoomAt(zoom() * factor, event->position() * devicePixelRatioF());
    }
    event->accept();
}

void Canvas::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || pixels_.isNull())
        return;
    last_ = event->position() * devicePixelRatioF();
    drag_ = tool_ != nullptr && tool_->press(last_, viewport_) ? Drag::tool : Drag::pan;
    if (drag_ == Drag::pan)
        setCursor(Qt::ClosedHandCursor);
}

void Canvas::mouseMoveEvent(QMouseEvent* event)
{
    const QPointF at = event->position() * devicePixelRatioF();
    if (drag_ == Drag::pan) {
        viewport_.pan(at - last_);
        update();
    } else if (drag_ == Drag::tool) {
        tool_->drag(at, viewport_);
        update();
    } else if (tool_ != nullptr) {
        setCursor(tool_->cursorAt(at, viewport_));
    }
    last_ = at;
}

void Canvas::mouseReleaseEvent(QMouseEvent*)
{
    drag_ = Drag::none;
    unsetCursor();
}

void Canvas::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (tool_ != nullptr || event->button() != Qt::LeftButton)
        return;
    if (viewport_.isFit())
        zoomAt(1, event->position() * devicePixelRatioF());
    else
        fit();
}

} // namespace zel::viewer
