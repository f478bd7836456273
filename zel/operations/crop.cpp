#include <zel/operations/crop.h>

#include <zel/core/geometry.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/image_part.h>
#include <zel/platform/images/draw.h>
#include <zel/platform/images/target_image.h>

#include <cmath>
#include <limits>

namespace zel {

Ref<const CGImage> cropToCGImnage(const Ref<ZelImage>& image, CropRect rect)
{
    if (!image || !image->cgImage)
        return failAbsentInput("crop");
    return imageInRect(image->cgImage, rect.rect);
}

Ref<ZelImage> crop(const Ref<ZelImage>& image, CropToTargetRect rect)
{
    const Ref<const CGImage> part = cropToCGImnage(image, {.rect = rect.toTargetRect});
    return part ? makeZelImage(part) : nullptr;
}

Ref<ZelImage> crop(const Ref<ZelImage>& image, CropTo rect)
{
    return crop(image, CropToTargetRect{rect.to});
}

std::int64_t toInt(CGFloat value)
{
    return truncated(value);
}

CGFloat cgFloat(std::int64_t value)
{
    return static_cast<CGFloat>(value);
}

CGFloat divided(CGFloat value, DividedBy divisor)
{
    const std::int64_t whole = truncated(value);
    if (divisor.by == 0) {
        fail(ZelFailureCode::invalidArgument, "divide", "a division by 0");
        return std::numeric_limits<CGFloat>::quiet_NaN();
    }
    if (divisor.by == -1) // the lowest integer has no opposite
        return -cgFloat(whole);
    const std::int64_t quotient = whole / divisor.by;
    return cgFloat(quotient * divisor.by == whole ? quotient : quotient + 1);
}

bool isInt(CGFloat value)
{
    return std::isfinite(value) && std::trunc(value) == value;
}

namespace ZelImageHelper {

// The whole picture is drawn at its own size, moved so that the area's corner comes to lie on the corner of the result:
// no pixel is resampled, and what lies outside is clipped on both sides.
Ref<ZelImage> crop(const Ref<ZelImage>& image, CropTo area)
{
    if (!image || !image->image)
        return failAbsentInput("crop");
    const CGRect& rect = area.to;
    const CGSize pixels{rect.width(), rect.height()};
    const CGSize points = getActualSizeWithoutRetina(pixels);
    if (!std::isfinite(rect.maxX()) || !std::isfinite(rect.maxY()))
        return fail(ZelFailureCode::invalidArgument, "crop", "the rectangle is not made of numbers");
    const Ref<NSImage> target = makeTargetImage(points, pixels);
    if (!target->cgImage())
        return nullptr;
    const auto pointsAPixel = [](CGFloat inPoints, CGFloat inPixels) { return inPoints / std::ceil(inPixels - 1e-6); };
    const CGFloat across = pointsAPixel(points.width, pixels.width), up = pointsAPixel(points.height, pixels.height);
    Draw::start(target);
    Draw::copybits({.srcImage = image->image,
                    .dstRect = CGRect{{-rect.minX() * across, -rect.minY() * up},
                                      {image->size.width * across, image->size.height * up}}});
    Draw::end();
    return makeZelImage(target);
}

Ref<ZelImage> cropToPoint(const Ref<ZelImage>& image, CropToPoint what)
{
    if (!image)
        return failAbsentInput("crop");
    // In this order: an area that is larger than the picture begins below 0.
    const auto start = [](CGFloat middle, CGFloat length, CGFloat bound) {
        const CGFloat from = middle - length * 0.5;
        const CGFloat above = from > 0 ? from : 0;
        return bound - length < above ? bound - length : above;
    };
    const CGPoint corner{start(what.to.x, what.size.width, image->size.width),
                         start(what.to.y, what.size.height, image->size.height)};
    return ZelImageHelper::crop(image, CropTo{{corner, what.size}});
}

} // namespace ZelImageHelper
} // namespace zel
