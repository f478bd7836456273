#include <zel/core/geometry.h>

#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

namespace zel {
namespace {

std::uint64_t magnitude(std::int64_t value)
{
    // Unsigned, since the lowest integer has no positive partner.
    return value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
}

std::string reduced(std::int64_t value, std::uint64_t divisor)
{
    return fmt::format("{}{}", value < 0 ? "-" : "", magnitude(value) / divisor);
}

} // namespace

CGSize boundToInt(CGSize size)
{
    return {static_cast<CGFloat>(truncated(size.width)), static_cast<CGFloat>(truncated(size.height))};
}

namespace ZelImageHelper {

CGSize getSize(const Ref<const CGImage>& image)
{
    return image ? CGSize{static_cast<CGFloat>(image->width()), static_cast<CGFloat>(image->height())} : CGSize{};
}

CGSize getRepresentedSize(const Ref<ZelImage>& image)
{
    return image && image->image ? image->image->size() : CGSize{};
}
CGRect getRect(const Ref<ZelImage>& image)
{
    return {{0, 0}, image ? image->size : CGSize{}};
}

CGRect getRect(CenteredAt where)
{
    const CGSize size = where.withSize;
    return {{where.centeredAt.x - size.width * 0.5, where.centeredAt.y - size.height * 0.5}, size};
}

CGPoint getActualPointWithoutRetina(CGPoint point)
{
    return point / Screens::displayScale();
}
CGSize getActualSizeWithoutRetina(CGSize size)
{
    return size / Screens::displayScale();
}

CGRect getActualRectWithRepresentation(const Ref<ZelImage>& image, InImageRect what)
{
    const CGSize points = getRepresentedSize(image), pixels = getRect(image).size;
    const CGFloat horizontal = pixels.width / points.width, vertical = pixels.height / points.height;
    const CGRect& rect = what.rect;
    return {{rect.minX() / horizontal, rect.minY() / vertical}, {rect.width() / horizontal, rect.height() / vertical}};
}

CGPoint getCenter(OfRect rect)
{
    return {rect.of.midX(), rect.of.midY()};
}
CGPoint weightedPoint(WeightedPoint point)
{
    return point.point * point.factor;
}
CGPoint sumPoints(CGPoint a, CGPoint b)
{
    return {a.x + b.x, a.y + b.y};
}

CGPoint getCenterOfGravity(GravityRects rects)
{
    CGFloat total = 0;
    CGPoint sum;
    for (const CGRect& rect : rects.rects) {
        const CGFloat area = rect.width() * rect.height();
        total += area;
        sum = sumPoints(sum, getCenter({.of = rect}) * area);
    }
    // The reciprocal, so that no area gives 0 times infinity and both coordinates are not a number.
    return sum * (1.0 / total);
}

CGRect boundRect(BoundRect what)
{
    const CGRect &bounds = what.boundRect, &rect = what.rect;
    const CGFloat x = std::min(std::max(bounds.minX(), rect.minX()), bounds.maxX() - rect.width());
    const CGFloat y = std::min(std::max(bounds.minY(), rect.minY()), bounds.maxY() - rect.height());
    return {{x, y}, {rect.width(), rect.height()}};
}

CGPoint boundPoint(BoundPoint what)
{
    const CGRect& rect = what.rect;
    const CGFloat insetX = what.insetSize.width * 0.5, insetY = what.insetSize.height * 0.5;
    return {std::min(std::max(what.point.x, rect.minX() + insetX), rect.maxX() - insetX),
            std::min(std::max(what.point.y, rect.minY() + insetY), rect.maxY() - insetY)};
}

CGSize getCroppingSize(CroppingSize what)
{
    const CGFloat width = what.rect.width(), height = what.rect.height();
    if (what.ratio < width / height)
        return {what.ratio * (height / what.zoom), height / what.zoom};
    return {width / what.zoom, width / what.zoom / what.ratio};
}

CGRect getNormalizedTo1Rect(InnerRect what)
{
    const CGRect &bounds = what.boundsRect, &inner = what.innerRect;
    return {{(inner.origin.x - bounds.minX()) / bounds.width(), (inner.origin.y - bounds.minY()) / bounds.height()},
            {inner.width() / bounds.width(), inner.height() / bounds.height()}};
}

CGRect getDenormalizedRect(UnitRect what)
{
    const CGRect &bounds = what.boundsRect, &unit = what.normalizedTo1Rect;
    return {{unit.minX() * bounds.width() + bounds.minX(), unit.minY() * bounds.height() + bounds.minY()},
            {unit.width() * bounds.width(), unit.height() * bounds.height()}};
}

CGFloat getRatio(RatioOfBy what)
{
    return static_cast<CGFloat>(what.of) / static_cast<CGFloat>(what.by);
}
CGFloat getRatio(OfRect rect)
{
    return rect.of.size.width / rect.of.size.height;
}

CGFloat getRatio(OfImage image)
{
    const CGSize size = getRect(image.of).size;
    return size.width / size.height;
}

std::string getReadableImageSize(OfSize size)
{
    return fmt::format("{}x{}", truncated(size.of.width), truncated(size.of.height));
}

std::string getReadableImageSize(OfImage image)
{
    return image.of ? getReadableImageSize({.of = image.of->size}) : std::string();
}
std::string getReadableImageSize(OfUrl file)
{
    return getReadableImageSize({.of = makeZelImage(file.of)});
}

std::string getReadableRatio(OfSize size)
{
    const std::int64_t width = truncated(size.of.width), height = truncated(size.of.height);
    if (width == height)
        return width == 0 ? "0:0" : "1:1"; // also below 0, where one sign cancels the other
    const std::uint64_t divisor = std::gcd(magnitude(width), magnitude(height));
    return reduced(width, divisor) + ':' + reduced(height, divisor);
}

std::string getReadableRatio(OfImage image)
{
    return image.of ? getReadableRatio({.of = image.of->size}) : std::string();
}
std::string getReadableRatio(OfUrl file)
{
    return getReadableRatio({.of = makeZelImage(file.of)});
}

Ref<const CGImage> ciImageToCGImage(const Ref<const CIImage>& image)
{
    if (!image)
        return failAbsentInput("render");
    static const CIContext& shared = *new CIContext; // never released: calls may come while the process ends
    return shared.createCGImage(image, image->extent());
}

} // namespace ZelImageHelper
} // namespace zel
