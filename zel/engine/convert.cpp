#include <zel/engine/convert.h>
#include <zel/engine/convert_kernels.h>
#include <zel/engine/fill.h>
#include <zel/engine/parallel.h>

// Every pair of layouts is one pass: read a pixel in either order and depth, one step for its alpha, write it in either
// order and depth.
namespace zel::engine {
namespace {

using Alpha = PixelLayout::Alpha;

bool fits(const ConstPixels& pixels, PixelLayout layout)
{
    return (layout.bytesPerComponent == 1 || layout.bytesPerComponent == 2) &&
           pixels.bytesPerPixel == 4 * layout.bytesPerComponent;
}

Conversion::Step stepBetween(Alpha from, Alpha to)
{
    if (from == Alpha::premultiplied && to != Alpha::premultiplied)
        return Conversion::Step::divide;
    if (from == Alpha::straight && to == Alpha::premultiplied)
        return Conversion::Step::premultiply;
    return Conversion::Step::keep;
}

} // namespace

bool convert(const ConstPixels& from, PixelLayout fromLayout, const Pixels& to, PixelLayout toLayout)
{
    if (from.empty() || from.width != to.width || from.height != to.height || !fits(from, fromLayout) ||
        !fits(to, toLayout))
        return false;
    Conversion conversion;
    conversion.fromBytes = fromLayout.bytesPerComponent;
    conversion.toBytes = toLayout.bytesPerComponent;
    conversion.fromAlphaFirst = fromLayout.alphaFirst;
    conversion.toAlphaFirst = toLayout.alphaFirst;
    conversion.step = stepBetween(fromLayout.alpha, toLayout.alpha);
    conversion.makeOpaque = fromLayout.alpha == Alpha::skip || toLayout.alpha == Alpha::skip;
    if (fromLayout == toLayout && !conversion.makeOpaque)
        return copy(from, to);
    parallelFor(from.height, from.width, [&](int first, int last) {
        convertRows(conversion, from.rows(first, last - first), to.rows(first, last - first));
    });
    return true;
}

} // namespace zel::engine
