#include <zel/operations/resize.h>

#include <zel/composition/canvas.h>
#include <zel/core/geometry.h>
#include <zel/platform/filters/expression.h>
#include <zel/platform/foundation/console.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/identifiers.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/number_text.h>
#include <zel/platform/graphics/mean_color.h>
#include <zel/platform/images/draw.h>
#include <zel/platform/images/target_image.h>

#include <algorithm>
#include <cmath>

namespace zel {
namespace {

/// Whole sides of at least 1.
CGSize truncatedAtLeastOne(CGSize size)
{
    const CGSize whole = boundToInt(size);
    return {std::max(whole.width, 1.0), std::max(whole.height, 1.0)};
}

Ref<ZelImage> stretched(const Ref<ZelImage>& image, CGSize size)
{
    if (!image)
        return failAbsentInput("resize");
    const Ref<const CIImage> expression = image->ciImage();
    if (!expression)
        return failAbsentInput("resize");
    if (!(size.width > 0 && size.height > 0))
        return fail(ZelFailureCode::invalidArgument, "resize",
                    "a size of " + shortestDecimal(size.width) + " x " + shortestDecimal(size.height) +
                        " holds no pixels");
    const Ref<const CIImage> result = resized(expression, {.to = size});
    return result ? makeZelImage(result) : nullptr;
}

/// The receiver where the result cannot be had.
Ref<ZelImage> stretchedOrSame(const Ref<ZelImage>& image, CGSize size)
{
    Ref<ZelImage> result = stretched(image, size);
    return result ? result : image;
}

Ref<ZelImage> drawnThroughCanvas(const Ref<ZelImage>& image, CGSize target, ZelSpatialConforming conforming)
{
    if (!image)
        return failAbsentInput("resize");
    ZelCanvas canvas{ZelCanvas::Size(target)};
    canvas.layerList.emplace_back(ZelCanvasLayer::Fields{
        .id = ZelId::newId({.prefix = "", .infix = "zelcl", .useCounter = true}),
        .type = ZelCanvasLayer::LayerType::image,
        .source = {.identification = ZelCanvasLayer::Source::Identification::image,
                   .url = {},
                   .shareAppId = {},
                   .image = image},
        .spatialConforming = conforming,
        .transform = {},
    });
    const Ref<ZelImage> drawn = canvas.getImage();
    const Ref<NSImage> exact = makeTargetImage(target, target);
    Draw::start(exact);
    Draw::copybits({.srcImage = drawn->image, .dstRect = CGRect{{0, 0}, target}});
    Draw::end();
    if (!exact->cgImage())
        return nullptr;
    return makeZelImage(exact);
}

} // namespace

CGFloat aspectRatio(const Ref<ZelImage>& image)
{
    const CGSize size = image ? image->size : CGSize{};
    return size.width / size.height;
}

Ref<const CIImage> resized(const Ref<const CIImage>& image, ResizedTo target)
{
    if (!image)
        return failAbsentInput("resize");
    const CGSize from = image->extent().size;
    const auto scaled =
        image->transformed(CGAffineTransform::scale(target.to.width / from.width, target.to.height / from.height));
    const CGRect extent = scaled->extent();
    return scaled->cropped(
        {{(extent.width() - target.to.width) * 0.5, (extent.height() - target.to.height) * 0.5}, target.to});
}

Ref<ZelImage> resize(const Ref<ZelImage>& image, ResizeTo target)
{
    return stretched(image, target.to);
}

Ref<ZelImage> resize(const Ref<ZelImage>& image, ResizeWithMaxSide side)
{
    if (!image)
        return failAbsentInput("resize");
    const CGFloat scale = side.withMaxSide / std::max(image->size.width, image->size.height);
    return stretched(image, scale < 1 ? truncatedAtLeastOne(image->size * scale) : image->size);
}

Ref<ZelImage> resize(const Ref<ZelImage>& image, ResizeWithMinSide side)
{
    if (!image)
        return failAbsentInput("resize");
    const CGFloat scale = side.withMinSideBoundedTo / std::min(image->size.width, image->size.height);
    return scale < 1 ? stretched(image, truncatedAtLeastOne(image->size * scale)) : image;
}

Ref<ZelImage> resize(const Ref<ZelImage>& image, ResizeToWidth width)
{
    return stretchedOrSame(image, image ? image->size * (width.toWidth / image->size.width) : CGSize{});
}

Ref<ZelImage> resize(const Ref<ZelImage>& image, ResizeToHeight height)
{
    return stretchedOrSame(image, image ? image->size * (height.toHeight / image->size.height) : CGSize{});
}

CGSize thumbSize(ThumbSize what)
{
    return what.size * std::min(what.maxSide / what.size.width, what.maxSide / what.size.height);
}

Ref<ZelImage> thumb(const Ref<ZelImage>& image, ThumbMaxSide side)
{
    return stretched(image, thumbSize({.size = image ? image->size : CGSize{}, .maxSide = side.maxSide}));
}

Ref<ZelImage> resizeWithFit(const Ref<ZelImage>& image, ResizeTo target)
{
    return drawnThroughCanvas(image, target.to, ZelSpatialConforming::fit);
}

Ref<ZelImage> resizeWithFill(const Ref<ZelImage>& image, ResizeTo target)
{
    return drawnThroughCanvas(image, target.to, ZelSpatialConforming::fill);
}

namespace ZelImageHelper {

Ref<ZelImage> resizeImage_v3(const Ref<ZelImage>& image, ImageSize what)
{
    Console::print("resizeImage_v3");
    const Ref<NSImage> result = makeTargetImage(getActualSizeWithoutRetina(what.size), boundToInt(what.size));
    Draw::start(result);
    if (image && image->image)
        Draw::copybits({.srcImage = image->image});
    else
        (void)failAbsentInput("resizeImage_v3");
    Draw::end();
    if (!image || !result->cgImage()) {
        Console::print("resizeImage_v3 failed");
        return nullptr;
    }
    Console::print("resizeImage_v3 done");
    return makeZelImage(result);
}

Ref<ZelImage> resizeImage_v4(const Ref<ZelImage>& image, ImageSize what)
{
    Console::print("resizeImage_v4");
    if (!image || !image->image) {
        (void)failAbsentInput("resizeImage_v4");
        return image;
    }
    Ref<const CGImage> pixels = image->cgImage ? image->cgImage : image->image->cgImage();
    const Ref<NSImage> result = makeTargetImage(what.size, what.size);
    Draw::start(result);
    Draw::copybits({.srcImage = pixels ? image->image : nullptr, .quality = CGInterpolationQuality::medium});
    Draw::end();
    if (!pixels || !result->cgImage())
        return image;
    Ref<ZelImage> wrapped = makeZelImage(result);
    Console::print("resizeImage_v4 done");
    return wrapped;
}

Ref<ZelImage> reduceImageToSize(const Ref<ZelImage>& image, TargetSize target)
{
    if (!image)
        return failAbsentInput("reduce");
    const CGSize wanted = boundToInt(target.targetSize);
    if (!(target.targetSize.width > 0 && target.targetSize.height > 0 && std::isfinite(target.targetSize.width) &&
          std::isfinite(target.targetSize.height)))
        return fail(ZelFailureCode::invalidArgument, "reduce", "the target size is not above 0");
    Ref<ZelImage> current = image;
    int steps = 0;
    for (bool reached = false; current && !reached; ++steps) {
        const CGSize quarter = boundToInt(current->size * 0.25);
        const CGSize next = {std::max(wanted.width, quarter.width), std::max(wanted.height, quarter.height)};
        Console::print("res");
        const Ref<ZelImage> step = stretched(current, next);
        Console::print("res done");
        // A step that does not shrink would repeat for ever.
        reached = !step || !(next.width > wanted.width || next.height > wanted.height);
        current = step ? step : current;
    }
    for (; steps > 0; --steps)
        Console::print("reduceImageToSize done");
    return current;
}

Ref<ZelImage> reduceImageTo1x1Pixels(const Ref<ZelImage>& image)
{
    const Ref<const CIImage> expression = image ? image->ciImage() : nullptr;
    if (!expression) {
        (void)failAbsentInput("reduce");
        return image;
    }
    Ref<const CGImage> picture = untouchedSource(*expression);
    if (!picture)
        picture = getCGImage(expression);
    const auto mean = picture ? meanColor(*picture) : std::nullopt;
    if (!mean)
        return image;
    std::vector<std::uint8_t> pixel;
    for (const double component : *mean)
        pixel.push_back(static_cast<std::uint8_t>(truncated(component + 0.5, 0, 255)));
    CGImage::Layout layout;
    layout.width = layout.height = 1;
    layout.alphaInfo = CGAlphaInfo::last;
    layout.isGray = picture->layout().isGray;
    return makeZelImage(CGImage::make(layout, Data(std::move(pixel)), 4));
}

Ref<ZelImage> getFillColorImage(FillColorImage what)
{
    Ref<ZelImage> result = makeZelImage(BlankSize{.size = what.size});
    const Ref<NSImage> target = makeTargetImage(result->image->size(), what.size);
    Draw::start(target);
    Draw::fillRect({{0, 0}, target->size()}, what.color);
    Draw::end();
    if (!target->cgImage())
        return result;
    result->image = target;
    result->cgImage = target->cgImage();
    return result;
}

Ref<ZelImage> createImage(WithSize what)
{
    Console::print("createImage (withSize: (" + shortestDecimal(what.withSize.width) + ", " +
                   shortestDecimal(what.withSize.height) + "))");
    auto result = std::make_shared<ZelImage>();
    result->image = NSImage::make(getActualSizeWithoutRetina(what.withSize));
    result->size = what.withSize;
    return result;
}

} // namespace ZelImageHelper
} // namespace zel
