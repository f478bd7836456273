#include <zel/platform/filters/placing.h>

#include <zel/engine/affine.h>
#include <zel/engine/fill.h>
#include <zel/engine/orient.h>
#include <zel/platform/filters/source_rows.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>
#include <zel/platform/graphics/image_rows.h>

#include <algorithm>
#include <cmath>
#include <limits>

// One map from the source to the result, resampled once: Lanczos 3 where axes stay axes, else bilinear.
namespace zel {
namespace {

constexpr double tolerance = 1e-6;

/// Fractions that come from the arithmetic alone would cost a pixel each.
double snapped(double value)
{
    const double nearest = std::round(value);
    return std::fabs(value - nearest) < tolerance ? nearest : value;
}

/// How a map that keeps axes turns the picture; both spaces have y upward, orientations are told top down.
engine::Orientation orientationOf(const CGAffineTransform& map)
{
    if (map.a != 0 || map.d != 0) {
        if (map.a > 0)
            return static_cast<engine::Orientation>(map.d > 0 ? Orientation::up : Orientation::downMirrored);
        return static_cast<engine::Orientation>(map.d > 0 ? Orientation::mirrored : Orientation::down);
    }
    if (map.c < 0)
        return static_cast<engine::Orientation>(map.b < 0 ? Orientation::transposed : Orientation::left);
    return static_cast<engine::Orientation>(map.b < 0 ? Orientation::right : Orientation::transverse);
}

/// Whether the window's pixels are the result's, one by one.
bool isCopy(const CGImage& source, const engine::Window& window, const engine::Pixels& to)
{
    const auto whole = [](double value) { return value == std::floor(value); };
    return hasUprightRows(source) && window.width == to.width && window.height == to.height && whole(window.x) &&
           whole(window.y) && window.x >= 0 && window.y >= 0 && window.x + window.width <= source.width() &&
           window.y + window.height <= source.height();
}

/// Axes stay axes: the window of the source that the visible part shows is resampled into its place.
bool placeScaled(const Expression& expression, const CGImage& source, const CGRect& visible, const engine::Pixels& to,
                 const PointFilters& filters)
{
    const auto inverse = inverted(expression.map);
    if (!inverse)
        return fail(ZelFailureCode::invalidArgument, "render", "the transform flattens the picture");
    const CGRect shown = mapped(visible, *inverse);
    const int height = source.height();
    const engine::Window window{snapped(shown.minX()), snapped(height - shown.maxY()), snapped(shown.width()),
                                snapped(shown.height())};
    const auto orientation = orientationOf(expression.map);
    const auto scaled = [&](const engine::Pixels& pixels) {
        if (!expression.part)
            return renderScaled(source, window, pixels, engine::Kernel::lanczos3);
        const CGRect& part = *expression.part;
        const PixelRect inside{part.minX(), height - part.maxY(), part.width(), part.height()};
        return renderPart(source, inside, window, pixels, engine::Kernel::lanczos3);
    };
    if (orientation == engine::Orientation{1}) {
        if (isCopy(source, window, to))
            return drawRows(source, static_cast<int>(window.x), static_cast<int>(window.y), to, filters);
        if (!scaled(to))
            return false;
    } else {
        const bool swapped = engine::swapsSides(orientation);
        engine::PixelBuffer turned(swapped ? to.height : to.width, swapped ? to.width : to.height);
        if (turned.empty())
            return fail(ZelFailureCode::outOfMemory, "render", "no memory to turn the picture");
        if (!scaled(turned.pixels()) || !engine::orient(std::as_const(turned).pixels(), orientation, to))
            return false;
    }
    filters.apply(to, drawsOpaque(source));
    return true;
}

/// The source's pixels, premultiplied, as bilinear sampling wants them: as they are in memory, or drawn into `near`,
/// and then near their final size where that is much smaller.
engine::ConstPixels pixelsNear(const Expression& expression, const CGImage& source, engine::PixelBuffer& near)
{
    const double across = std::hypot(expression.map.a, expression.map.b),
                 along = std::hypot(expression.map.c, expression.map.d);
    const auto side = [](int pixels, double scale) {
        return scale >= 0.75 ? pixels : std::max(1, truncated(std::ceil(pixels * scale), 1, pixels));
    };
    const int width = side(source.width(), across), height = side(source.height(), along);
    if (width == source.width() && height == source.height() && source.isDecoded() &&
        pixelLayout(source.layout()) == engine::PixelLayout{} && !ColorTransform::toSrgb(source.layout().colorSpace))
        return pixelsOf(source);
    near = engine::PixelBuffer(width, height);
    if (near.empty()) {
        (void)fail(ZelFailureCode::outOfMemory, "render", "no memory for the picture's pixels");
        return {};
    }
    const engine::Window all{0, 0, static_cast<double>(source.width()), static_cast<double>(source.height())};
    if (!renderScaled(source, all, near.pixels(), engine::Kernel::lanczos3))
        return {};
    return std::as_const(near).pixels();
}

/// Any other map. Strong reductions are brought near their size first, since bilinear sampling would alias.
bool placeTurned(const Expression& expression, const CGImage& source, const Canvas& canvas, const Place& place,
                 const engine::Pixels& to, const PointFilters& filters)
{
    engine::PixelBuffer near;
    const engine::ConstPixels pixels = pixelsNear(expression, source, near);
    if (pixels.empty())
        return false;
    // From those pixels, top left, to the canvas, top left.
    const double width = source.width(), height = source.height();
    const CGAffineTransform toSource{width / pixels.width, 0, 0, -height / pixels.height, 0, height};
    const CGAffineTransform toCanvas{
        canvas.scaleX, 0, 0, -canvas.scaleY, -canvas.from.minX() * canvas.scaleX, canvas.from.maxY() * canvas.scaleY};
    const auto inverse = inverted(composed(toCanvas, composed(expression.map, toSource)));
    if (!inverse)
        return fail(ZelFailureCode::invalidArgument, "render", "the transform flattens the picture");
    CGAffineTransform map = *inverse;
    map.tx += map.a * place.left + map.c * place.top;
    map.ty += map.b * place.left + map.d * place.top;
    const bool drawn = engine::drawAffine(pixels, to,
                                          {.map = {map.a, map.c, map.tx, map.b, map.d, map.ty},
                                           .rim = expression.isCovered ? engine::Rim::extended : engine::Rim::clear,
                                           .onto = engine::Onto::replace});
    if (!drawn)
        return fail(ZelFailureCode::invalidArgument, "render", "the transform leads too far");
    filters.apply(to, expression.isCovered && drawsOpaque(source));
    return true;
}

} // namespace

std::optional<Canvas> Canvas::make(const CGRect& from)
{
    const CGSize sides{std::ceil(from.width() - tolerance), std::ceil(from.height() - tolerance)};
    if (!(sides.width >= 1 && sides.height >= 1 && std::isfinite(from.minX()) && std::isfinite(from.minY())))
        return fail(ZelFailureCode::invalidArgument, "render", "the part to render is empty or infinite");
    if (!withinOperationLimits(sides, 4, "render"))
        return std::nullopt;
    constexpr int most = std::numeric_limits<int>::max();
    return Canvas{{{from.minX(), from.minY()}, {from.width(), from.height()}},
                  sides.width / from.width(),
                  sides.height / from.height(),
                  truncated(sides.width, 0, most),
                  truncated(sides.height, 0, most)};
}

Canvas Canvas::part(const Place& place) const
{
    if (place == whole())
        return *this;
    const CGSize size{place.width / scaleX, place.height / scaleY};
    return {{{from.minX() + place.left / scaleX, from.maxY() - place.top / scaleY - size.height}, size},
            scaleX,
            scaleY,
            place.width,
            place.height};
}

PixelRect Canvas::onPixels(const CGRect& rect) const
{
    return {(rect.minX() - from.minX()) * scaleX, (from.maxY() - rect.maxY()) * scaleY, rect.width() * scaleX,
            rect.height() * scaleY};
}

Place Canvas::touched(const CGRect& rect, const Place& bounds) const
{
    const PixelRect pixels = onPixels(rect);
    const int endX = bounds.left + bounds.width, endY = bounds.top + bounds.height;
    const int left = truncated(std::floor(snapped(pixels.x)), bounds.left, endX);
    const int top = truncated(std::floor(snapped(pixels.y)), bounds.top, endY);
    const int right = truncated(std::ceil(snapped(pixels.x + pixels.width)), bounds.left, endX);
    const int bottom = truncated(std::ceil(snapped(pixels.y + pixels.height)), bounds.top, endY);
    return {left, top, std::max(0, right - left), std::max(0, bottom - top)};
}

bool isGapless(const Expression& expression)
{
    return expression.isCovered || keepsAxes(expression.map);
}

bool placeSource(const Expression& expression, const CGImage& source, const Canvas& canvas,
                 const engine::Pixels& pixels, const PointFilters& filters)
{
    const CGRect visible = intersection(expression.domain, canvas.from);
    const Place place = visible.isEmpty() ? Place{} : canvas.touched(visible, canvas.whole());
    if (!(place == canvas.whole()))
        engine::fill(pixels, {0, 0, 0, 0});
    if (place.empty())
        return true;
    const engine::Pixels to = pixels.part(place.left, place.top, place.width, place.height);
    if (keepsAxes(expression.map))
        return placeScaled(expression, source, visible, to, filters);
    return placeTurned(expression, source, canvas, place, to, filters);
}

} // namespace zel
