#include <zel/operations/chroma.h>

#include <zel/engine/key.h>
#include <zel/operations/subjects.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>
#include <zel/platform/graphics/image_rows.h>
#include <zel/platform/graphics/render.h>

#include <fmt/format.h>

#include <cmath>
#include <limits>

namespace zel {
namespace {

using engine::ConstPixels;
using engine::PixelOrder;
using engine::Pixels;

constexpr engine::PixelLayout stored{
    .alphaFirst = true, .alpha = engine::PixelLayout::Alpha::premultiplied, .bytesPerComponent = 1};

engine::Color bytesOf(const ZelColor& color)
{
    return {color.redB255(), static_cast<std::uint8_t>(color.green255()), color.blueB255()};
}

/// Draws the picture into `to`, alpha first, and has `work(from, to, order)` change the pixels on the way: while they
/// are copied where they are as drawing wants them, else right behind.
template <class Work>
bool drawChanged(const CGImage& picture, const Pixels& to, const Work& work)
{
    const engine::PixelLayout layout = pixelLayout(picture.layout());
    const bool isAsDrawn = picture.width() == to.width && picture.height() == to.height &&
                           layout.bytesPerComponent == 1 && !ColorTransform::toSrgb(picture.layout().colorSpace);
    if (!isAsDrawn) {
        const engine::Window all{0, 0, static_cast<double>(picture.width()), static_cast<double>(picture.height())};
        return renderScaled(picture, all, to, kernelOf(CGInterpolationQuality::high)) &&
               work(to, to, PixelOrder{.fromAlphaFirst = false, .fromIsOpaque = false, .toAlphaFirst = true});
    }
    const auto change = [&](int first, const ConstPixels& rows) {
        const Pixels result = to.rows(first, rows.height);
        if (layout.alpha == engine::PixelLayout::Alpha::straight)
            return engine::convert(rows, layout, result, stored) &&
                   work(result, result,
                        PixelOrder{.fromAlphaFirst = true, .fromIsOpaque = false, .toAlphaFirst = true});
        return work(rows, result,
                    PixelOrder{.fromAlphaFirst = layout.alphaFirst,
                               .fromIsOpaque = layout.alpha == engine::PixelLayout::Alpha::skip,
                               .toAlphaFirst = true});
    };
    return picture.isDecoded() ? change(0, pixelsOf(picture)) : readRows(picture, change);
}

template <class Work>
Ref<ZelImage> changed(const Ref<ZelImage>& image, std::string_view operation, const Work& work)
{
    if (!image->cgImage)
        return fail(ZelFailureCode::invalidArgument, operation, "the image has no pixels");
    constexpr int most = std::numeric_limits<int>::max();
    CGImage::Layout layout;
    layout.width = truncated(image->size.width, 0, most);
    layout.height = truncated(image->size.height, 0, most);
    layout.alphaInfo = CGAlphaInfo::premultipliedFirst;
    if (layout.width < 1 || layout.height < 1)
        return fail(ZelFailureCode::invalidArgument, operation,
                    fmt::format("an image of {} x {} has no whole pixel", image->size.width, image->size.height));
    if (!withinOperationLimits(image->size, 4, operation))
        return nullptr;
    engine::PixelBuffer pixels(layout.width, layout.height);
    if (pixels.empty())
        return fail(ZelFailureCode::outOfMemory, operation,
                    fmt::format("no memory for {} x {} pixels", layout.width, layout.height));
    if (!drawChanged(*image->cgImage, pixels.pixels(), work))
        return nullptr;
    return makeZelImage(makeImage(layout, std::move(pixels)));
}

} // namespace

Ref<ZelImage> key(const Ref<ZelImage>& image, KeyWith color)
{
    if (!image)
        return failAbsentInput("key");
    // What goes is what is not farther than the tolerance, and nothing is farther than what is not a number.
    const double tolerance =
        std::isnan(color.with.tolerance) ? std::numeric_limits<double>::infinity() : color.with.tolerance;
    const engine::ColorKey colorKey{.color = bytesOf(color.with.color),
                                    .mostSquare = engine::largestKeyedSquare(tolerance)};
    return changed(image, "key", [&](const ConstPixels& from, const Pixels& to, PixelOrder order) {
        return engine::keyOut(from, to, order, colorKey);
    });
}

Ref<ZelImage> fill(const Ref<ZelImage>& image, FillWith color)
{
    if (!image)
        return failAbsentInput("fill");
    const Ref<ZelImage> filled =
        changed(image, "fill", [&](const ConstPixels& from, const Pixels& to, PixelOrder order) {
            return engine::paintOver(from, to, order, bytesOf(color.with));
        });
    return filled ? filled : image;
}

void setColor(const Ref<ZelImage>& image, SetColor pixel)
{
    if (!image)
        return static_cast<void>(failAbsentInput("set colour"));
    const Ref<NSBitmapImageRep> rep = image->bitmapRep();
    if (!rep || pixel.x < 0 || pixel.y < 0 || pixel.x >= rep->pixelsWide() || pixel.y >= rep->pixelsHigh())
        return;
    rep->setColor(pixel.color, static_cast<int>(pixel.x), static_cast<int>(pixel.y));
}

Ref<ZelImage> fillHoles(const Ref<ZelImage>& image, FillWith color)
{
    if (!image || !image->cgImage)
        return failAbsentInput("fill holes");
    const Ref<const CGImage> filled = fillHoles(image->cgImage, {.fillColor = color.with.getColor()});
    return filled ? makeZelImage(filled) : nullptr;
}

} // namespace zel
