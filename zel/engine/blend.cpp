#include <zel/engine/blend.h>
#include <zel/engine/blend_kernels.h>
#include <zel/engine/parallel.h>

#include <cmath>

namespace zel::engine {
namespace {

bool blendable(const ConstPixels& from, const ConstPixels& to)
{
    return !from.empty() && from.width == to.width && from.height == to.height && from.bytesPerPixel == 4 &&
           to.bytesPerPixel == 4;
}

} // namespace

std::uint32_t fixedOpacity(double opacity)
{
    if (!(opacity > 0))
        return 0;
    return opacity >= 1 ? fullOpacity : static_cast<std::uint32_t>(std::lround(opacity * fullOpacity));
}

bool sourceOver(const ConstPixels& from, const Pixels& to, double opacity)
{
    if (!blendable(from, to))
        return false;
    const std::uint32_t fixed = fixedOpacity(opacity);
    if (fixed == 0)
        return true;
    parallelFor(to.height, to.width, [&](int first, int last) {
        blendRows(from.rows(first, last - first), to.rows(first, last - first), fixed);
    });
    return true;
}

bool flatten(const ConstPixels& from, PixelLayout::Alpha alpha, const Pixels& to, std::array<std::uint8_t, 3> paper)
{
    if (!blendable(from, to))
        return false;
    if (alpha == PixelLayout::Alpha::skip)
        return convert(from, {false, alpha, 1}, to, {false, alpha, 1});
    parallelFor(to.height, to.width, [&](int first, int last) {
        flattenRows(from.rows(first, last - first), alpha == PixelLayout::Alpha::premultiplied,
                    to.rows(first, last - first), paper);
    });
    return true;
}

} // namespace zel::engine
