#include "viewport.h"

#include <algorithm>
#include <cmath>

namespace zel::viewer {
namespace {

/// The point nearest to `wanted` of which half a view still shows picture on both sides; the picture's middle where it
/// is smaller than the view.
double inside(double wanted, double picture, double halfView)
{
    return picture <= 2 * halfView ? picture / 2 : std::clamp(wanted, halfView, picture - halfView);
}

} // namespace

void Viewport::setView(QSizeF size)
{
    view_ = size.expandedTo({1, 1});
    if (isFit_)
        fit();
    else
        keepInside();
}

void Viewport::setPicture(QSizeF size)
{
    const QSizeF next = size.expandedTo({1, 1});
    middle_ = {middle_.x() / picture_.width() * next.width(), middle_.y() / picture_.height() * next.height()};
    picture_ = next;
    if (isFit_)
        fit();
    else
        keepInside();
}

double Viewport::fittingZoom() const
{
    return std::min({1.0, view_.width() / picture_.width(), view_.height() / picture_.height()});
}

void Viewport::fit()
{
    isFit_ = true;
    zoom_ = fittingZoom();
    keepInside();
}

void Viewport::zoomTo(double zoom, QPointF anchor)
{
    const QPointF under = toPicture(anchor);
    isFit_ = false;
    zoom_ = std::clamp(zoom, fittingZoom(), largestZoom);
    middle_ = under - (anchor - middle()) / zoom_;
    keepInside();
}

void Viewport::pan(QPointF distance)
{
    middle_ -= distance / zoom_;
    keepInside();
}

void Viewport::keepInside()
{
    middle_ = {inside(middle_.x(), picture_.width(), view_.width() / zoom_ / 2),
               inside(middle_.y(), picture_.height(), view_.height() / zoom_ / 2)};
}

QRectF Viewport::pictureRect() const
{
    const QPointF corner = middle() - middle_ * zoom_;
    return {QPointF(std::round(corner.x()), std::round(corner.y())), picture_ * zoom_};
}

QPointF Viewport::toPicture(QPointF viewPoint) const
{
    return middle_ + (viewPoint - middle()) / zoom_;
}

} // namespace zel::viewer
