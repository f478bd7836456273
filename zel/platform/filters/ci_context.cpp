#include <zel/engine/affine.h>
#include <zel/engine/fill.h>
#include <zel/engine/orient.h>
#include <zel/platform/filters/expression.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/image_rows.h>
#include <zel/platform/graphics/render.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

// Renders an expression: one map from the source to the result, resampled once.
namespace zel {

struct CIContext::State {};

namespace {

constexpr double tolerance = 1e-6;

/// A result under way: `from` in the expression's space fills `pixels`.
struct Canvas {
    engine::PixelBuffer pixels;
    CGRect from;
    double scaleX = 1, scaleY = 1; // pixels a unit, a little above 1 where a side was rounded up
};

std::optional<Canvas> makeCanvas(const CGRect& from)
{
    const CGSize sides{std::ceil(from.width() - tolerance), std::ceil(from.height() - tolerance)};
    if (!(sides.width >= 1 && sides.height >= 1 && std::isfinite(from.minX()) && std::isfinite(from.minY())))
        return fail(ZelFailureCode::invalidArgument, "render", "the part to render is empty or infinite");
    if (!withinOperationLimits(sides, 4, "render"))
        return std::nullopt;
    constexpr int most = std::numeric_limits<int>::max();
    Canvas canvas;
    canvas.pixels = engine::PixelBuffer(truncated(sides.width, 0, most), truncated(sides.height, 0, most));
    if (canvas.pixels.empty())
        return fail(ZelFailureCode::outOfMemory, "render",
                    fmt::format("no memory for {} x {} pixels", sides.width, sides.height));
    canvas.from = {{from.minX(), from.minY()}, {from.width(), from.height()}};
    canvas.scaleX = sides.width / from.width();
    canvas.scaleY = sides.height / from.height();
    return canvas;
}

/// From the expression's space, lower left, to the canvas's pixels, top left.
PixelRect onCanvas(const Canvas& canvas, const CGRect& rect)
{
    return {(rect.minX() - canvas.from.minX()) * canvas.scaleX, (canvas.from.maxY() - rect.maxY()) * canvas.scaleY,
            rect.width() * canvas.scaleX, rect.height() * canvas.scaleY};
}

/// Fractions that come from the arithmetic alone would cost a pixel each.
double snapped(double value)
{
    const double nearest = std::round(value);
    return std::fabs(value - nearest) < tolerance ? nearest : value;
}

struct Place {
    int left = 0, top = 0, width = 0, height = 0;
};

/// The whole pixels that a rectangle touches, clipped to the canvas.
Place touched(const PixelRect& rect, const engine::Pixels& canvas)
{
    const int left = truncated(std::floor(snapped(rect.x)), 0, canvas.width);
    const int top = truncated(std::floor(snapped(rect.y)), 0, canvas.height);
    const int right = truncated(std::ceil(snapped(rect.x + rect.width)), 0, canvas.width);
    const int bottom = truncated(std::ceil(snapped(rect.y + rect.height)), 0, canvas.height);
    return {left, top, std::max(0, right - left), std::max(0, bottom - top)};
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

/// Axes stay axes: the window of the source that the visible part shows is resampled into its place.
bool renderScaledExpression(const Expression& expression, const CGImage& source, const CGRect& visible,
                            const Canvas& canvas, const engine::Pixels& all)
{
    const auto inverse = inverted(expression.map);
    if (!inverse)
        return fail(ZelFailureCode::invalidArgument, "render", "the transform flattens the picture");
    const Place place = touched(onCanvas(canvas, visible), all);
    if (place.width == 0 || place.height == 0)
        return true;
    const CGRect shown = mapped(visible, *inverse);
    const int height = source.height();
    const engine::Window window{snapped(shown.minX()), snapped(height - shown.maxY()), snapped(shown.width()),
                                snapped(shown.height())};
    const engine::Pixels to = all.part(place.left, place.top, place.width, place.height);
    const auto orientation = orientationOf(expression.map);
    const auto scaled = [&](const engine::Pixels& pixels) {
        if (!expression.part)
            return renderScaled(source, window, pixels, engine::Kernel::lanczos3);
        const CGRect& part = *expression.part;
        const PixelRect inside{part.minX(), height - part.maxY(), part.width(), part.height()};
        return renderPart(source, inside, window, pixels, engine::Kernel::lanczos3);
    };
    if (orientation == engine::Orientation{1})
        return scaled(to);
    const bool swapped = engine::swapsSides(orientation);
    engine::PixelBuffer turned(swapped ? place.height : place.width, swapped ? place.width : place.height);
    if (turned.empty())
        return fail(ZelFailureCode::outOfMemory, "render", "no memory to turn the picture");
    return scaled(turned.pixels()) && engine::orient(std::as_const(turned).pixels(), orientation, to);
}

/// Any other map: bilinear. A strong reduction is brought near its size first, since bilinear sampling would alias.
bool renderTurnedExpression(const Expression& expression, const CGImage& source, const Canvas& canvas,
                            const engine::Pixels& all)
{
    const double across = std::hypot(expression.map.a, expression.map.b),
                 along = std::hypot(expression.map.c, expression.map.d);
    const auto side = [](int pixels, double scale) {
        return scale >= 0.75 ? pixels : std::max(1, truncated(std::ceil(pixels * scale), 1, pixels));
    };
    engine::PixelBuffer near(side(source.width(), across), side(source.height(), along));
    if (near.empty())
        return fail(ZelFailureCode::outOfMemory, "render", "no memory for the picture's pixels");
    const double width = source.width(), height = source.height();
    if (!renderScaled(source, {0, 0, width, height}, near.pixels(), engine::Kernel::lanczos3))
        return false;

    // From the reduced picture, top left, to the canvas, top left.
    const engine::ConstPixels pixels = std::as_const(near).pixels();
    const CGAffineTransform toSource{width / pixels.width, 0, 0, -height / pixels.height, 0, height};
    const CGAffineTransform toCanvas{
        canvas.scaleX, 0, 0, -canvas.scaleY, -canvas.from.minX() * canvas.scaleX, canvas.from.maxY() * canvas.scaleY};
    const auto inverse = inverted(composed(toCanvas, composed(expression.map, toSource)));
    if (!inverse)
        return fail(ZelFailureCode::invalidArgument, "render", "the transform flattens the picture");
    const Place place = touched(onCanvas(canvas, expression.extent), all);
    if (place.width == 0 || place.height == 0)
        return true;
    CGAffineTransform toPixels = *inverse;
    toPixels.tx += toPixels.a * place.left + toPixels.c * place.top;
    toPixels.ty += toPixels.b * place.left + toPixels.d * place.top;
    return engine::drawAffine(pixels, all.part(place.left, place.top, place.width, place.height),
                              {.map = {toPixels.a, toPixels.c, toPixels.tx, toPixels.b, toPixels.d, toPixels.ty}});
}

Ref<const CGImage> render(const Expression& expression, const CGRect& from)
{
    const Ref<const CGImage> source =
        expression.below ? render(*expression.below, expression.below->extent) : expression.source;
    auto canvas = source ? makeCanvas(from) : std::nullopt;
    if (!canvas)
        return nullptr;
    const engine::Pixels all = canvas->pixels.pixels();
    const CGRect visible = intersection(expression.extent, from);
    const bool axes = keepsAxes(expression.map);
    const Place place = visible.isEmpty() ? Place{} : touched(onCanvas(*canvas, visible), all);
    const bool covered = axes && place.width == all.width && place.height == all.height;
    if (!covered)
        engine::fill(all, {0, 0, 0, 0});
    if (!visible.isEmpty() && !(axes ? renderScaledExpression(expression, *source, visible, *canvas, all)
                                     : renderTurnedExpression(expression, *source, *canvas, all)))
        return nullptr;
    CGImage::Layout layout;
    layout.width = all.width;
    layout.height = all.height;
    const bool opaque = covered && drawsOpaque(*source);
    layout.alphaInfo = opaque ? CGAlphaInfo::noneSkipLast : CGAlphaInfo::premultipliedLast;
    layout.isGray = source->layout().isGray;
    return makeImage(layout, std::move(canvas->pixels));
}

} // namespace

CIContext::CIContext() = default;

Ref<const CGImage> CIContext::createCGImage(const Ref<const CIImage>& image, CGRect from) const
{
    if (!image)
        return failAbsentInput("render");
    return render(image->node_->expression, from);
}

} // namespace zel
