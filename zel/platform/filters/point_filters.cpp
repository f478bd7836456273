#include <zel/platform/filters/point_filters.h>

#include <zel/engine/convert.h>
#include <zel/engine/parallel.h>

#include <algorithm>

namespace zel {
namespace {

constexpr int stripPixels = 16 * 1024; // 64 KiB: below what a core's second cache holds

} // namespace

PointFilters::PointFilters(std::span<const Filter>& filters)
{
    std::size_t count = 0;
    while (count < filters.size() && !std::holds_alternative<LumaSharpening>(filters[count]))
        ++count;
    filters_ = filters.first(count);
    filters = filters.subspan(count);
}

int PointFilters::stripRows(int width)
{
    return std::max(1, stripPixels / width);
}

void PointFilters::applyToStrip(const engine::Pixels& strip) const
{
    for (const Filter& filter : filters_)
        if (const Tone* tone = std::get_if<Tone>(&filter))
            (void)engine::applyTone(strip, **tone, strip);
        else if (const Cube* cube = std::get_if<Cube>(&filter))
            (void)engine::applyCube(strip, **cube, strip);
}

void PointFilters::apply(const engine::Pixels& pixels, bool opaque) const
{
    constexpr engine::PixelLayout premultiplied{}, straight{.alpha = engine::PixelLayout::Alpha::straight};
    if (empty())
        return;
    const int step = stripRows(pixels.width);
    engine::parallelFor(pixels.height, pixels.width, [&](int first, int last) {
        for (int y = first; y < last; y += step) {
            const engine::Pixels strip = pixels.rows(y, std::min(step, last - y));
            if (!opaque)
                (void)engine::convert(strip, premultiplied, strip, straight);
            applyToStrip(strip);
            if (!opaque)
                (void)engine::convert(strip, straight, strip, premultiplied);
        }
    });
}

} // namespace zel
