#include <zel/support/colors.h>

#include <zel/engine/mask.h>
#include <zel/operations/resize.h>
#include <zel/platform/filters/expression.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/mean_color.h>
#include <zel/platform/graphics/render.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <type_traits>

namespace zel {
namespace {

using Bytes = std::array<std::uint8_t, 4>; ///< red, green, blue, alpha, premultiplied

NSColor colorOf(Bytes bytes)
{
    return {bytes[0] / 255.0, bytes[1] / 255.0, bytes[2] / 255.0, bytes[3] / 255.0};
}

/// What a grid is of: the picture's bitmap, or what its filter image shows where that was set to something else.
Ref<const CGImage> pictureOfGrid(const Ref<const CIImage>& expression, CGSize size)
{
    if (const Ref<const CGImage> picture = untouchedSource(*expression))
        return picture;
    // The part that would be seen once it is stretched and cut to the size, before it is stretched.
    const Ref<const CIImage> seen = resized(expression, {.to = size});
    if (!seen)
        return nullptr;
    const CGRect all = expression->extent(), part = seen->extent();
    const CGFloat across = all.width() / size.width, down = all.height() / size.height;
    return CIContext().createCGImage(
        expression, {{part.minX() * across, part.minY() * down}, {part.width() * across, part.height() * down}});
}

std::vector<Bytes> colorGrid(const Ref<ZelImage>& image, CGSize size)
{
    const Ref<const CIImage> expression = image ? image->ciImage() : nullptr;
    if (!expression)
        return failAbsentInput("colour grid");
    constexpr int most = std::numeric_limits<int>::max();
    const int columns = truncated(size.width, 0, most), rows = truncated(size.height, 0, most);
    if (columns < 1 || rows < 1)
        return fail(ZelFailureCode::invalidArgument, "colour grid",
                    fmt::format("a grid of {} x {} holds no colours", columns, rows));
    const Ref<const CGImage> picture = pictureOfGrid(expression, size);
    if (!picture)
        return {};
    const auto cells = meanGrid(*picture, columns, rows);
    std::vector<Bytes> grid(cells.size());
    std::transform(cells.begin(), cells.end(), grid.begin(), [](const std::array<double, 4>& cell) {
        Bytes bytes{};
        std::transform(cell.begin(), cell.end(), bytes.begin(),
                       [](double component) { return static_cast<std::uint8_t>(truncated(component + 0.5, 0, 255)); });
        return bytes;
    });
    return grid;
}

/// Squares are taken in double precision; they are added and the root is taken in single precision, in this order.
float distanceBetween(const ZelColor& a, const ZelColor& b)
{
    const auto square = [](double first, double second) {
        const double difference = second - first;
        return static_cast<float>(difference * difference);
    };
    return std::sqrt((square(a.red, b.red) + square(a.blue, b.blue)) + square(a.green, b.green));
}

template <class Color>
float meanDistance(std::span<const Color> a, std::span<const Color> b)
{
    const std::size_t count = std::min(a.size(), b.size());
    if (count == 0)
        return std::numeric_limits<float>::quiet_NaN();
    float sum = 0;
    for (std::size_t i = 0; i < count; ++i)
        sum += distanceBetween(ZelColor(a[i]), ZelColor(b[i]));
    return sum / static_cast<float>(count);
}

// An approximation of √3, the largest distance.
constexpr double farthest = 1.732;

/// The receiver's pixels with the mask's alpha; the receiver itself where either has none.
Ref<ZelImage> masked(const Ref<ZelImage>& image, const ZelContextImage& mask, engine::AlphaOf what)
{
    if (mask.bitmap().empty() || image->cgImage->bytes().empty())
        return image;
    ZelImageBitmapRGBA bitmap(image);
    if (bitmap.width() < 1)
        return image;
    const auto view = [](auto* bytes, std::int64_t width, std::int64_t height) {
        return engine::BasicPixels<std::remove_pointer_t<decltype(bytes)>>{
            bytes, static_cast<std::ptrdiff_t>(width) * 4, static_cast<int>(width), static_cast<int>(height), 4};
    };
    engine::setAlpha(view(mask.bitmap().data(), mask.width, mask.height), what,
                     view(bitmap.bytes().data(), bitmap.width(), bitmap.height()));
    const Ref<ZelImage> result = bitmap.zelImage();
    return result ? result : image;
}

} // namespace

namespace ZelImageHelper {

NSColor getAverageColorOfImage(const Ref<ZelImage>& image)
{
    return ZelContextImage(reduceImageTo1x1Pixels(image), {.size = CGSize{1, 1}}).getPixelColor({.x = 0, .y = 0});
}

NSColor getColor(PixelOfImage pixel)
{
    const Ref<ZelImage>& image = pixel.ofImage;
    const NSColor clear{0, 0, 0, 0};
    if (!image || !image->cgImage) {
        (void)failAbsentInput("pixel colour");
        return clear;
    }
    const std::int64_t width = truncated(image->size.width), height = truncated(image->size.height);
    if (pixel.x < 0 || pixel.y < 0 || pixel.x >= width || pixel.y >= height) {
        (void)fail(ZelFailureCode::invalidArgument, "pixel colour",
                   fmt::format("there is no pixel {}, {} in a picture of {} x {}", pixel.x, pixel.y, width, height));
        return clear;
    }
    const CGImage& picture = *image->cgImage;
    if (width != picture.width() || height != picture.height())
        return ZelContextImage(image).getPixelColor({.x = pixel.x, .y = pixel.y});
    // Whoever asks for one pixel asks for the next: all are decoded, and one is drawn.
    Bytes drawn{};
    const double x = static_cast<double>(pixel.x), y = static_cast<double>(pixel.y);
    if (picture.bytes().empty() ||
        !renderPart(picture, {x, y, 1, 1}, {x, y, 1, 1}, {drawn.data(), 4, 1, 1, 4}, engine::Kernel::nearest))
        return clear;
    return colorOf(drawn);
}

std::vector<NSColor> getColorList(ColorListOfImage what)
{
    const std::vector<Bytes> grid = colorGrid(what.ofImage, what.reduceToSize);
    std::vector<NSColor> colors(grid.size());
    std::transform(grid.begin(), grid.end(), colors.begin(), colorOf);
    return colors;
}

float getColorAverage(const NSColor& color)
{
    return static_cast<float>(((color.redComponent + color.greenComponent) + color.blueComponent) / 3.0);
}

float getTwoColorsDistance(const NSColor& a, const NSColor& b)
{
    return distanceBetween(ZelColor(a), ZelColor(b));
}

float getTwoColorListDistance(std::span<const NSColor> a, std::span<const NSColor> b)
{
    return meanDistance(a, b);
}

} // namespace ZelImageHelper

float distance(const ZelColor& color, DistanceTo other)
{
    return distanceBetween(color, other.to);
}

float distance(std::span<const ZelColor> list, ListDistanceTo other)
{
    return meanDistance(list, other.to);
}

double differencePerc(std::span<const ZelColor> list, ListDistanceTo other)
{
    return static_cast<double>(distance(list, other)) / farthest;
}

std::vector<ZelColor> colorList(const Ref<ZelImage>& image, ReduceToSize size)
{
    const std::vector<Bytes> grid = colorGrid(image, size.reduceToSize);
    std::vector<ZelColor> colors(grid.size());
    std::transform(grid.begin(), grid.end(), colors.begin(),
                   [](Bytes bytes) { return ZelColor::fromBytes(bytes[0], bytes[1], bytes[2], 255); });
    return colors;
}

std::vector<ZelColor> colorList(const Ref<ZelImage>& image, GridSide side)
{
    const auto length = static_cast<CGFloat>(side.side);
    return colorList(image, {.reduceToSize = {length, length}});
}

double deltaColor(const Ref<ZelImage>& image, DeltaColor other)
{
    const std::vector<ZelColor> mine = colorList(image, {.side = other.colroGridSide});
    const std::vector<ZelColor> theirs = colorList(other.to, {.side = other.colroGridSide});
    return differencePerc(theirs, {.to = mine});
}

Ref<ZelImage> apply(const Ref<ZelImage>& image, MaskBitmap mask)
{
    if (!image || !image->cgImage || !mask.mask) {
        (void)failAbsentInput("mask");
        return image;
    }
    if (mask.mask->bytes().empty())
        return image;
    return masked(image, ZelContextImage(makeZelImage(mask.mask), {.size = image->size}), engine::AlphaOf::brightness);
}

Ref<ZelImage> apply(const Ref<ZelImage>& image, MaskImage mask)
{
    const Ref<const CIImage> expression = image && image->cgImage && mask.mask ? mask.mask->ciImage() : nullptr;
    if (!expression) {
        (void)failAbsentInput("mask");
        return image;
    }
    const Ref<const CIImage> stretched = resized(expression, {.to = image->size});
    const Ref<ZelImage> scaled = stretched ? makeZelImage(stretched) : nullptr;
    return scaled && scaled->cgImage ? masked(image, ZelContextImage(scaled), engine::AlphaOf::alpha) : image;
}

} // namespace zel
