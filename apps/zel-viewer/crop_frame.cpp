#include "crop_frame.h"

#include <zel/core/geometry.h>

#include <algorithm>
#include <cmath>

namespace zel::viewer {
namespace {

constexpr double smallestSide = 8; // pixels

} // namespace

CropFrame::CropFrame(CGSize picture, std::optional<CGRect> part)
    : picture_(picture), ratio_(picture.width / picture.height), middle_{picture.width / 2, picture.height / 2}
{
    if (!part)
        return;
    const CGRect rect = ZelImageHelper::getDenormalizedRect({.boundsRect = {{}, picture}, .normalizedTo1Rect = *part});
    ratio_ = rect.width() / rect.height();
    middle_ = ZelImageHelper::getCenter({.of = rect});
    setZoom(sizeAt(1).width / rect.width());
}

CGSize CropFrame::sizeAt(double zoom) const
{
    return ZelImageHelper::getCroppingSize({.rect = {{}, picture_}, .ratio = ratio_, .zoom = zoom});
}

void CropFrame::setRatio(std::optional<double> ratio)
{
    ratio_ = ratio.value_or(picture_.width / picture_.height);
    setZoom(zoom_);
}

void CropFrame::setZoom(double zoom)
{
    const CGSize largest = sizeAt(1);
    zoom_ = std::clamp(zoom, 1.0, std::max(1.0, std::min(largest.width, largest.height) / smallestSide));
}

CGRect CropFrame::rect() const
{
    return ZelImageHelper::boundRect(
        {.boundRect = {{}, picture_},
         .rect = ZelImageHelper::getRect({.centeredAt = middle_, .withSize = sizeAt(zoom_)})});
}

void CropFrame::moveBy(CGSize distance)
{
    // From where the frame is, not from where it would like to be: what was pushed against an edge comes back at once.
    middle_ = ZelImageHelper::getCenter({.of = rect()}) + distance;
    middle_ = ZelImageHelper::getCenter({.of = rect()});
}

void CropFrame::pull(Corner corner, CGPoint to)
{
    const CGRect now = rect();
    const bool right = corner == Corner::topRight || corner == Corner::bottomRight;
    const bool bottom = corner == Corner::bottomLeft || corner == Corner::bottomRight;
    const CGPoint fixed{right ? now.minX() : now.maxX(), bottom ? now.minY() : now.maxY()};
    const double wantedWidth =
        std::max(right ? to.x - fixed.x : fixed.x - to.x, (bottom ? to.y - fixed.y : fixed.y - to.y) * ratio_);
    const double room =
        std::min(right ? picture_.width - fixed.x : fixed.x, (bottom ? picture_.height - fixed.y : fixed.y) * ratio_);
    setZoom(sizeAt(1).width / std::clamp(wantedWidth, 1e-6, std::max(room, 1e-6)));
    const CGSize size = sizeAt(zoom_);
    middle_ = {fixed.x + (right ? size.width : -size.width) / 2, fixed.y + (bottom ? size.height : -size.height) / 2};
}

std::optional<CGRect> CropFrame::part() const
{
    const CGRect part = ZelImageHelper::getNormalizedTo1Rect({.boundsRect = {{}, picture_}, .innerRect = rect()});
    constexpr double nothing = 1e-6;
    if (part.size.width > 1 - nothing && part.size.height > 1 - nothing)
        return std::nullopt;
    return part;
}

} // namespace zel::viewer
