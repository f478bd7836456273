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

CGPoint mapped(CGPoint point, const CGAffineTransform& map)
{
    return {map.a * point.x + map.c * point.y + map.tx, map.b * point.x + map.d * point.y + map.ty};
}

/// The same as a finite rectangle, but for what the arithmetic of maps left.
bool isNear(const CGRect& rect, const CGRect& finite)
{
    const auto near = [](double value, double wanted) {
        return std::fabs(value - wanted) <= 1e-12 * std::max(1.0, std::fabs(wanted));
    };
    return near(rect.minX(), finite.minX()) && near(rect.minY(), finite.minY()) && near(rect.maxX(), finite.maxX()) &&
           near(rect.maxY(), finite.maxY());
}

/// A filter of neighbours looks beyond what it is asked for.
bool seesNeighbours(const Filter& filter)
{
    return std::holds_alternative<LumaSharpening>(filter);
}

} // namespace

bool onlyMoves(const CGAffineTransform& map)
{
    return map.a == 1 && map.d == 1 && map.b == 0 && map.c == 0;
}

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
    result.domain = result.extent;
    return result;
}

/// This expression, rendered, as the source of a new one.
Expression Expression::onTop(const CGAffineTransform& transform) const
{
    // Rendering rounds sides up to whole pixels, and the picture fills them.
    const auto shrink = [](CGFloat side) { return side > 0 ? side / std::ceil(side - 1e-6) : 1; };
    Expression result;
    result.below = std::make_shared<const Expression>(*this);
    result.map = composed(transform, CGAffineTransform{shrink(extent.width()), 0, 0, shrink(extent.height()),
                                                       extent.minX(), extent.minY()});
    result.extent = mapped(extent, transform);
    result.domain = result.extent;
    return result;
}

Expression Expression::transformed(const CGAffineTransform& transform) const
{
    const bool moves = onlyMoves(transform) && isWhole(transform.tx) && isWhole(transform.ty);
    // Filters work on the pixels where they are. A crop that is then turned is no rectangle any more.
    if ((!filters.empty() && !moves) || (isCropped && !keepsAxes(transform)))
        return onTop(transform);
    Expression result = *this;
    result.map = composed(transform, map);
    result.domain = mapped(domain, transform);
    result.extent = mapped(extent, transform);
    return result;
}

Expression Expression::cropped(const CGRect& rect) const
{
    Expression result = *this;
    if (isNear(extent, rect)) {
        // Nothing is cut off; the sides are those that were asked for.
        result.extent.size = {rect.width(), rect.height()};
        if (filters.empty())
            result.domain = result.extent;
        return result;
    }
    result.extent = intersection(extent, rect);
    result.isCropped = isCropped || !(result.extent == extent);
    if (!filters.empty())
        return result;
    result.domain = result.extent;
    if (source && onlyMoves(map)) {
        const CGRect inSource{{result.extent.origin.x - map.tx, result.extent.origin.y - map.ty}, result.extent.size};
        if (isWhole(inSource) && !inSource.isEmpty())
            result.part = inSource;
    }
    return result;
}

Expression Expression::straightened(CGFloat radians) const
{
    const auto exact = [](double value) { // quarter turns, in spite of the rounding of pi
        const double nearest = std::round(value);
        return std::fabs(value - nearest) < 1e-12 ? nearest : value;
    };
    const double cosine = exact(std::cos(radians)), sine = exact(std::sin(radians));
    const double width = extent.width(), height = extent.height();
    if (cosine == 1 || extent.isEmpty())
        return *this;
    // Turned back, a corner of the extent must lie within the enlarged sides: w |cos| + h |sin| ≤ w × scale, and with
    // width and height exchanged.
    const double scale = std::fabs(cosine) + std::fabs(sine) * std::max(width / height, height / width);
    const double a = scale * cosine, b = scale * sine;
    const double x = extent.minX() + width / 2, y = extent.minY() + height / 2;
    const CGAffineTransform turn{a, b, -b, a, x - a * x + b * y, y - b * x - a * y};
    Expression result = transformed(turn);
    result.isCovered = result.below != below || keepsAxes(map);
    result.isCropped = true;
    result.domain = extent;
    result.extent = extent;
    return result;
}

Expression Expression::filtered(const Filter& filter) const
{
    // What a crop took away must not come back as somebody's neighbour.
    if (seesNeighbours(filter) && !(domain == extent))
        return onTop({}).filtered(filter);
    Expression result = *this;
    if (!filters.empty())
        if (const Tone* last = std::get_if<Tone>(&filters.back()), *next = std::get_if<Tone>(&filter); last && next) {
            auto both = std::make_shared<engine::ToneTable>(**last);
            for (std::uint8_t& value : *both)
                value = (**next)[value];
            result.filters.back() = Tone(both);
            return result;
        }
    result.filters.push_back(filter);
    return result;
}

} // namespace zel
