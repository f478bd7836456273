#include <zel/engine/fill.h>
#include <zel/engine/sharpen.h>
#include <zel/platform/filters/placing.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/image_rows.h>

#include <fmt/format.h>

#include <algorithm>

// Renders an expression: its source is placed, filters of single pixels run over it strip by strip, and a filter that
// sees neighbours gets a picture to read and another to write, with a margin around what is visible.
namespace zel {

struct CIContext::State {};

namespace {

std::optional<engine::PixelBuffer> makePixels(int width, int height)
{
    const CGSize size{static_cast<CGFloat>(width), static_cast<CGFloat>(height)};
    if (!withinOperationLimits(size, 4, "render"))
        return std::nullopt;
    engine::PixelBuffer pixels(width, height);
    if (pixels.empty())
        return fail(ZelFailureCode::outOfMemory, "render", fmt::format("no memory for {} x {} pixels", width, height));
    return pixels;
}

/// How far around a pixel the filters look.
int reachOf(const std::vector<Filter>& filters)
{
    int reach = 0;
    for (const Filter& filter : filters)
        if (std::holds_alternative<LumaSharpening>(filter))
            reach += engine::reachOf({});
    return reach;
}

bool sharpen(const engine::ConstPixels& from, const engine::Pixels& to, const Filter& filter, bool opaque)
{
    const engine::Sharpening sharpening{.amount = std::get<LumaSharpening>(filter).amount};
    return engine::sharpenLuma(from, to, sharpening, opaque) ||
           fail(ZelFailureCode::outOfMemory, "sharpen", "no memory for a few rows");
}

/// The expression's pixels at `place`, which is what is visible of it on the canvas.
bool develop(const Expression& expression, const CGImage& source, const Canvas& canvas, const Place& place,
             const engine::Pixels& to)
{
    std::span<const Filter> filters(expression.filters);
    const PointFilters first(filters);
    if (filters.empty())
        return placeSource(expression, source, canvas.part(place), to, first);

    const int reach = reachOf(expression.filters);
    const Place around{place.left - reach, place.top - reach, place.width + 2 * reach, place.height + 2 * reach};
    const Place seen = canvas.touched(expression.domain, around);
    const bool opaque = isGapless(expression) && drawsOpaque(source);
    auto pixels = makePixels(seen.width, seen.height);
    if (!pixels)
        return false;
    if (!placeSource(expression, source, canvas.part(seen), pixels->pixels(), first))
        return false;
    while (!filters.empty()) {
        const Filter& sharpening = filters.front();
        filters = filters.subspan(1);
        const PointFilters after(filters);
        const bool isLast = filters.empty() && seen == place; // then nothing is left to be cut off
        std::optional<engine::PixelBuffer> next;
        if (!isLast && !(next = makePixels(seen.width, seen.height)))
            return false;
        const engine::Pixels result = isLast ? to : next->pixels();
        if (!sharpen(std::as_const(*pixels).pixels(), result, sharpening, opaque))
            return false;
        after.apply(result, opaque);
        if (isLast)
            return true;
        pixels = std::move(next);
    }
    return engine::copy(
        std::as_const(*pixels).pixels().part(place.left - seen.left, place.top - seen.top, place.width, place.height),
        to);
}

bool hasCube(const Expression& expression)
{
    return std::any_of(expression.filters.begin(), expression.filters.end(),
                       [](const Filter& filter) { return std::holds_alternative<Cube>(filter); });
}

Ref<const CGImage> render(const Expression& expression, const CGRect& from)
{
    const auto canvas = Canvas::make(from);
    auto pixels = canvas ? makePixels(canvas->width, canvas->height) : std::nullopt;
    if (!pixels)
        return nullptr;
    const engine::Pixels all = pixels->pixels();
    const CGRect visible = intersection(expression.extent, from);
    const Place place = visible.isEmpty() ? Place{} : canvas->touched(visible, canvas->whole());
    const bool covered = isGapless(expression) && place == canvas->whole();
    if (!covered)
        engine::fill(all, {0, 0, 0, 0});

    CGImage::Layout layout;
    layout.width = all.width;
    layout.height = all.height;
    if (!place.empty()) {
        const Ref<const CGImage> source =
            expression.below ? render(*expression.below, expression.below->extent) : expression.source;
        if (!source ||
            !develop(expression, *source, *canvas, place, all.part(place.left, place.top, place.width, place.height)))
            return nullptr;
        layout.isGray = source->layout().isGray && !hasCube(expression);
        if (covered && drawsOpaque(*source))
            layout.alphaInfo = CGAlphaInfo::noneSkipLast;
    }
    return makeImage(layout, std::move(*pixels));
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
