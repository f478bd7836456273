#include <zel/platform/images/draw.h>

#include <zel/engine/blend.h>
#include <zel/engine/fill.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/image_rows.h>
#include <zel/platform/graphics/render.h>
#include <zel/platform/images/ns_image_state.h>

#include <cmath>
#include <vector>

namespace zel::Draw {
namespace {

struct Target {
    Ref<NSImage> image;
    engine::PixelBuffer canvas;    // empty where nothing can be drawn
    double scaleX = 1, scaleY = 1; // pixels a point
    bool opaque = false;           // every pixel is, so that what is saved needs no alpha
};

std::vector<Target>& targets()
{
    thread_local std::vector<Target> open;
    return open;
}

/// From points, lower left, to pixels, top left.
PixelRect placed(const Target& target, const CGRect& rect)
{
    const int height = std::as_const(target.canvas).pixels().height;
    return {rect.minX() * target.scaleX, height - rect.maxY() * target.scaleY, rect.width() * target.scaleX,
            rect.height() * target.scaleY};
}

bool coversAll(const Target& target, const PixelRect& place)
{
    const engine::ConstPixels canvas = std::as_const(target.canvas).pixels();
    return place.x <= 0 && place.y <= 0 && place.x + place.width >= canvas.width &&
           place.y + place.height >= canvas.height;
}

/// A page or drawing that would be enlarged is rendered anew for its place, where the limits allow that; `part`
/// follows.
Ref<const CGImage> enlarged(const NSImage& image, const Ref<const CGImage>& bitmap, const PixelRect& place,
                            std::optional<PixelRect>& part)
{
    Ref<const DocumentPicture> document;
    {
        auto& state = NSImageAccess::state(image);
        const std::scoped_lock lock(state.filling);
        document = state.document;
    }
    const PixelRect shown = part.value_or(PixelRect{0, 0, double(bitmap->width()), double(bitmap->height())});
    const double across = place.width / shown.width, down = place.height / shown.height;
    if (!document || !(across > 1 || down > 1))
        return bitmap;
    const NotesOnTrial mayFail;
    const auto sides = pixelSides({bitmap->width() * across, bitmap->height() * down}, 1);
    const Ref<const CGImage> rendered = sides ? document->bitmap(sides->first, sides->second) : nullptr;
    if (!rendered)
        return bitmap;
    if (part) {
        const double x = double(rendered->width()) / bitmap->width(), y = double(rendered->height()) / bitmap->height();
        part = PixelRect{part->x * x, part->y * y, part->width * x, part->height * y};
    }
    return rendered;
}

Target* current()
{
    return targets().empty() || targets().back().canvas.empty() ? nullptr : &targets().back();
}

/// The canvas of an image: what it shows now, or transparent black.
engine::PixelBuffer canvasOf(const NSImage& image)
{
    auto& state = NSImageAccess::state(image);
    const std::scoped_lock lock(state.filling);
    const auto sides = state.bitmap   ? std::optional(std::pair{state.bitmap->width(), state.bitmap->height()})
                       : state.pixels ? state.pixels
                                      : pixelSides(state.points, Screens::displayScale());
    if (!sides || sides->first < 1)
        return {};
    engine::PixelBuffer canvas(sides->first, sides->second);
    if (canvas.empty()) {
        fail(ZelFailureCode::outOfMemory, "draw", "no memory for the picture's pixels");
        return {};
    }
    engine::fill(canvas.pixels(), {0, 0, 0, 0});
    if (state.bitmap && !renderScaled(*state.bitmap, {0, 0, double(sides->first), double(sides->second)},
                                      canvas.pixels(), engine::Kernel::lanczos3))
        return {};
    return canvas;
}

} // namespace

void start(const Ref<NSImage>& target)
{
    Target opened{target, {}, 1, 1, false};
    if (!target)
        (void)failAbsentInput("draw");
    else
        opened.canvas = canvasOf(*target);
    if (!opened.canvas.empty()) {
        const engine::Pixels& canvas = opened.canvas.pixels();
        opened.scaleX = target->width() > 0 ? canvas.width / target->width() : 1;
        opened.scaleY = target->height() > 0 ? canvas.height / target->height() : 1;
        const auto& state = NSImageAccess::state(*target);
        opened.opaque = state.bitmap && drawsOpaque(*state.bitmap);
    }
    targets().push_back(std::move(opened));
}

void copybits(CopyBits what)
{
    Target* target = current();
    if (!target)
        return;
    Ref<const CGImage> source = what.srcImage ? what.srcImage->cgImage() : nullptr;
    if (!source)
        return static_cast<void>(failAbsentInput("draw"));
    CGRect rect{{0, 0},
                {target->canvas.pixels().width / target->scaleX, target->canvas.pixels().height / target->scaleY}};
    if (what.dstRect)
        rect = *what.dstRect;
    else if (what.dstPoint)
        rect = {*what.dstPoint, what.srcImage->size()};
    std::optional<PixelRect> part;
    if (what.srcRect)
        part = PixelRect{what.srcRect->minX(), what.srcRect->minY(), what.srcRect->width(), what.srcRect->height()};
    const PixelRect place = placed(*target, rect);
    source = enlarged(*what.srcImage, source, place, part);
    const bool drawn = drawImage(*source, part, target->canvas.pixels(), place, kernelOf(what.quality), what.opacity);
    target->opaque =
        target->opaque || (drawn && what.opacity >= 1 && drawsOpaque(*source) && coversAll(*target, place));
}

void fillRect(CGRect rect, const NSColor& color)
{
    Target* target = current();
    if (!target)
        return;
    const engine::Pixels& canvas = target->canvas.pixels();
    const PixelRect place = placed(*target, rect);
    const int left = truncated(std::floor(place.x + 1e-6), 0, canvas.width);
    const int top = truncated(std::floor(place.y + 1e-6), 0, canvas.height);
    const int right = truncated(std::ceil(place.x + place.width - 1e-6), 0, canvas.width);
    const int bottom = truncated(std::ceil(place.y + place.height - 1e-6), 0, canvas.height);
    if (right <= left || bottom <= top)
        return;
    const auto component = [](CGFloat value) {
        return static_cast<std::uint8_t>(truncated(value * 255.0 + 0.5, 0, 255));
    };
    // One row of the colour laid over every row.
    engine::PixelBuffer row(right - left, 1);
    if (row.empty())
        return;
    engine::fill(row.pixels(),
                 {component(color.redComponent * color.alphaComponent),
                  component(color.greenComponent * color.alphaComponent),
                  component(color.blueComponent * color.alphaComponent), component(color.alphaComponent)});
    const engine::Pixels under = canvas.part(left, top, right - left, bottom - top);
    const engine::ConstPixels oneRow = std::as_const(row).pixels();
    (void)engine::sourceOver({oneRow.data, 0, under.width, under.height, 4}, under);
    target->opaque = target->opaque || (color.alphaComponent >= 1 && coversAll(*target, place));
}

void end()
{
    if (targets().empty())
        return;
    Target done = std::move(targets().back());
    targets().pop_back();
    if (done.canvas.empty())
        return;
    CGImage::Layout layout;
    layout.width = done.canvas.pixels().width;
    layout.height = done.canvas.pixels().height;
    layout.alphaInfo = done.opaque ? CGAlphaInfo::noneSkipLast : CGAlphaInfo::premultipliedLast;
    auto& state = NSImageAccess::state(*done.image);
    const std::scoped_lock lock(state.filling);
    state.bitmap = makeImage(layout, std::move(done.canvas));
    state.document = nullptr;
    state.handler = nullptr;
}

} // namespace zel::Draw
