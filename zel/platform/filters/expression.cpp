#include <zel/platform/filters/expression.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace zel {
namespace {

bool isWhole(double value)
{
    return value == std::floor(value);
}

bool isWhole(const CGRect& rect)
{
    return isWhole(rect.origin.x) && isWhole(rect.origin.y) && isWhole(rect.size.width) && isWhole(rect.size.height);
}

bool onlyMoves(const CGAffineTransform& map)
{
    return map.a == 1 && map.d == 1 && map.b == 0 && map.c == 0;
}

CGPoint mapped(CGPoint point, const CGAffineTransform& map)
{
    return {map.a * point.x + map.c * point.y + map.tx, map.b * point.x + map.d * point.y + map.ty};
}

} // namespace

bool keepsAxes(const CGAffineTransform& map)
{
    return (map.b == 0 && map.c == 0) || (map.a == 0 && map.d == 0);
}

CGAffineTransform composed(const CGAffineTransform& outer, const CGAffineTransform& inner)
{
    return {outer.a * inner.a + outer.c * inner.b,
            outer.b * inner.a + outer.d * inner.b,
            outer.a * inner.c + outer.c * inner.d,
            outer.b * inner.c + outer.d * inner.d,
            outer.a * inner.tx + outer.c * inner.ty + outer.tx,
            outer.b * inner.tx + outer.d * inner.ty + outer.ty};
}

std::optional<CGAffineTransform> inverted(const CGAffineTransform& map)
{
    const double determinant = map.a * map.d - map.b * map.c;
    if (!std::isfinite(1.0 / determinant) || !std::isfinite(map.tx) || !std::isfinite(map.ty))
        return std::nullopt;
    return CGAffineTransform{map.d / determinant,
                             -map.b / determinant,
                             -map.c / determinant,
                             map.a / determinant,
                             (map.c * map.ty - map.d * map.tx) / determinant,
                             (map.b * map.tx - map.a * map.ty) / determinant};
}

CGRect mapped(const CGRect& rect, const CGAffineTransform& map)
{
    const std::array corners{
        mapped(CGPoint{rect.minX(), rect.minY()}, map), mapped(CGPoint{rect.maxX(), rect.minY()}, map),
        mapped(CGPoint{rect.minX(), rect.maxY()}, map), mapped(CGPoint{rect.maxX(), rect.maxY()}, map)};
    CGPoint low = corners[0], high = corners[0];
    for (const CGPoint corner : corners) {
        low = {std::min(low.x, corner.x), std::min(low.y, corner.y)};
        high = {std::max(high.x, corner.x), std::max(high.y, corner.y)};
    }
    return {low, {high.x - low.x, high.y - low.y}};
}

CGRect intersection(const CGRect& a, const CGRect& b)
{
    const CGPoint low{std::max(a.minX(), b.minX()), std::max(a.minY(), b.minY())};
    const CGSize size{std::min(a.maxX(), b.maxX()) - low.x, std::min(a.maxY(), b.maxY()) - low.y};
    return size.width > 0 && size.height > 0 ? CGRect{low, size} : CGRect{};
}

Expression Expression::of(const Ref<const CGImage>& image)
{
    Expression result;
    result.source = image;
    result.extent = {{0, 0}, {static_cast<CGFloat>(image->width()), static_cast<CGFloat>(image->height())}};
    return result;
}

Expression Expression::transformed(const CGAffineTransform& transform) const
{
    // A crop that is then turned is no rectangle any more: what it shows becomes the source of a new expression.
    if (isCropped && !keepsAxes(transform)) {
        Expression result;
        result.below = std::make_shared<const Expression>(*this);
        result.extent = mapped(extent, transform);
        result.map = composed(transform, CGAffineTransform{1, 0, 0, 1, extent.minX(), extent.minY()});
        return result;
    }
    Expression result = *this;
    result.map = composed(transform, map);
    result.extent = mapped(extent, transform);
    return result;
}

Expression Expression::cropped(const CGRect& rect) const
{
    Expression result = *this;
    result.extent = intersection(extent, rect);
    result.isCropped = isCropped || !(result.extent == extent);
    if (source && onlyMoves(map)) {
        const CGRect inSource{{result.extent.origin.x - map.tx, result.extent.origin.y - map.ty}, result.extent.size};
        if (isWhole(inSource) && !inSource.isEmpty())
            result.part = inSource;
    }
    return result;
}

} // namespace zel
