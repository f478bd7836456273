#include <zel/core/bitmap.h>

#include <zel/engine/convert.h>
#include <zel/engine/key.h>
#include <zel/platform/foundation/console.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/perf.h>

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace zel {
namespace {

constexpr engine::PixelLayout drawn{
    .alphaFirst = false, .alpha = engine::PixelLayout::Alpha::premultiplied, .bytesPerComponent = 1};
constexpr engine::PixelLayout stored{
    .alphaFirst = true, .alpha = engine::PixelLayout::Alpha::premultiplied, .bytesPerComponent = 1};

constexpr engine::PixelOrder inPlace{.fromAlphaFirst = true, .fromIsOpaque = false, .toAlphaFirst = true};

engine::Pixels writablePixels(ZelImageBitmapRGBA& bitmap)
{
    return {bitmap.bytes().data(), static_cast<std::ptrdiff_t>(bitmap.width()) * 4, static_cast<int>(bitmap.width()),
            static_cast<int>(bitmap.height()), 4};
}

int gate(double threshold)
{
    constexpr int outside = 1'000'000; // above every sum
    return truncated(threshold * 255 * 3, -outside, outside);
}

} // namespace

ZelImageBitmapRGBA::Point::Point(CGPoint point) : x(truncated(point.x)), y(truncated(point.y)) {}
ZelImageBitmapRGBA::Size::Size(CGSize size) : width(truncated(size.width)), height(truncated(size.height)) {}
ZelImageBitmapRGBA::Rect::Rect(CGPoint corner, CGSize sides) : origin(corner), size(sides) {}
ZelImageBitmapRGBA::Rect::Rect(const CGRect& rect) : Rect(rect.origin, rect.size) {}

ZelImageBitmapRGBA::ZelImageBitmapRGBA(std::int64_t width, std::int64_t height)
    : bytes_(std::make_shared<std::vector<std::uint8_t>>())
{
    // A size like any other, of no pixels.
    if (width >= 0 && height >= 0 && (width == 0 || height == 0)) {
        width_ = width;
        height_ = height;
        return;
    }
    const auto bytes = checkedBytes(width, height, 4, 1);
    if (!withinOperationLimits({static_cast<CGFloat>(width), static_cast<CGFloat>(height)}, 4, "bitmap") || !bytes)
        return;
    try {
        bytes_->resize(*bytes);
    } catch (const std::bad_alloc&) {
        (void)fail(ZelFailureCode::outOfMemory, "bitmap", fmt::format("no memory for {} x {} pixels", width, height));
        return;
    }
    width_ = width;
    height_ = height;
}

ZelImageBitmapRGBA::ZelImageBitmapRGBA(const Ref<const CGImage>& image) : ZelImageBitmapRGBA(makeZelImage(image)) {}

ZelImageBitmapRGBA::ZelImageBitmapRGBA(const Ref<ZelImage>& image)
    : ZelImageBitmapRGBA(image ? truncated(image->size.width) : 0, image ? truncated(image->size.height) : 0)
{
    const ZelContextImage context(image);
    if (!bytes_->empty() && context.bitmap().size() == bytes_->size()) {
        const auto stride = static_cast<std::ptrdiff_t>(width_) * 4;
        const int columns = static_cast<int>(width_), rows = static_cast<int>(height_);
        (void)engine::convert({context.bitmap().data(), stride, columns, rows, 4}, drawn,
                              {bytes_->data(), stride, columns, rows, 4}, stored);
    }
}

ZelImageBitmapRGBA::ZelImageBitmapRGBA(const ZelContextImage& context)
    : ZelImageBitmapRGBA(context.width, context.height)
{
    if (!bytes_->empty() && context.bitmap().size() == bytes_->size()) {
        const auto stride = static_cast<std::ptrdiff_t>(width_) * 4;
        const int columns = static_cast<int>(width_), rows = static_cast<int>(height_);
        // The context's top row becomes the last stored one.
        (void)engine::convert({context.bitmap().data() + stride * (rows - 1), -stride, columns, rows, 4}, drawn,
                              {bytes_->data(), stride, columns, rows, 4}, stored);
    }
}

ZelImageBitmapRGBA::ZelImageBitmapRGBA(Dimensions dimensions) : ZelImageBitmapRGBA(dimensions.width, dimensions.height)
{
    Console::print(fmt::format("ZelImageBitmapRGBA.init (width: {}, height: {}, fillBlack: {}", dimensions.width,
                               dimensions.height, dimensions.fillBlack));
    if (dimensions.fillBlack)
        fillAlpha();
}

std::optional<std::size_t> ZelImageBitmapRGBA::offset(std::int64_t x, std::int64_t y, bool invertedY) const
{
    if (x < 0 || y < 0 || x >= width_ || y >= height_)
        return std::nullopt;
    return static_cast<std::size_t>((x + (invertedY ? height_ - 1 - y : y) * width_) * 4);
}

ZelColor255 ZelImageBitmapRGBA::getPixelZelColor255(Pixel at) const
{
    const auto where = offset(at.x, at.y, at.invertedY);
    if (!where)
        return {};
    const std::uint8_t* pixel = bytes_->data() + *where;
    return {pixel[1], pixel[2], pixel[3], {.a = pixel[0]}};
}

ZelColor ZelImageBitmapRGBA::getPixelColor(Pixel at) const
{
    const ZelColor255 color = getPixelZelColor255(at);
    return ZelColor::fromBytes(color.r, color.g, color.b, 255);
}

std::uint8_t ZelImageBitmapRGBA::getPixelAlpha(Pixel at) const
{
    return getPixelZelColor255(at).a;
}

std::uint8_t ZelImageBitmapRGBA::getPixelLuminance(Pixel at) const
{
    const ZelColor255 color = getPixelZelColor255(at);
    return static_cast<std::uint8_t>((color.r + color.g + color.b) / 3);
}

void ZelImageBitmapRGBA::write(std::int64_t x, std::int64_t y, bool invertedY, std::uint8_t a, std::uint8_t r,
                               std::uint8_t g, std::uint8_t b)
{
    const auto where = offset(x, y, invertedY);
    if (!where)
        return;
    std::uint8_t* pixel = bytes().data() + *where;
    pixel[0] = a;
    pixel[1] = r;
    pixel[2] = g;
    pixel[3] = b;
}

void ZelImageBitmapRGBA::setPixel(PixelColor255 pixel)
{
    write(pixel.x, pixel.y, pixel.invertedY, pixel.color.a, pixel.color.r, pixel.color.g, pixel.color.b);
}

void ZelImageBitmapRGBA::setPixel(PixelColor pixel)
{
    setPixel({.x = pixel.x, .y = pixel.y, .color = ZelColor255(pixel.color), .invertedY = pixel.invertedY});
}

void ZelImageBitmapRGBA::setPixel(PixelBytes pixel)
{
    write(pixel.x, pixel.y, pixel.invertedY, pixel.a, pixel.r, pixel.g, pixel.b);
}

void ZelImageBitmapRGBA::setPixelAlpha(PixelAlpha pixel)
{
    if (const auto where = offset(pixel.x, pixel.y, pixel.invertedY.value_or(true)))
        bytes()[*where] = pixel.alpha;
}

template <class Change>
void ZelImageBitmapRGBA::forEachPixel(Change change)
{
    const std::span<std::uint8_t> all = bytes();
    std::uint8_t* pixel = all.data();
    for (const std::uint8_t* const end = pixel + all.size(); pixel != end; pixel += 4)
        change(pixel);
}

void ZelImageBitmapRGBA::fill(Red red, std::uint8_t green, std::uint8_t blue)
{
    const engine::Pixels pixels = writablePixels(*this);
    (void)engine::paintOver(pixels, pixels, inPlace, {red.colorRed, green, blue});
}

void ZelImageBitmapRGBA::key(Red red, std::uint8_t green, std::uint8_t blue, Tolerance tolerance)
{
    const engine::Pixels pixels = writablePixels(*this);
    (void)engine::keyOut(
        pixels, pixels, inPlace,
        {.color = {red.colorRed, green, blue}, .mostSquare = engine::largestKeyedSquare(tolerance.tolerance)});
}

void ZelImageBitmapRGBA::fillRect(const Rect& rect, ToColor color)
{
    PerfAn::start("ZelImageBitmap.fillRect ()");
    // An end that does not fit in 64 bits lies beyond every bitmap.
    const auto endOf = [](std::int64_t origin, std::int64_t length, std::int64_t bound) {
        if (length <= 0)
            return origin;
        return origin > std::numeric_limits<std::int64_t>::max() - length ? bound : std::min(bound, origin + length);
    };
    const std::int64_t right = endOf(rect.origin.x, rect.size.width, width_);
    const std::int64_t far = endOf(rect.origin.y, rect.size.height, height_);
    const ZelColor255 value(color.toColor);
    for (std::int64_t y = std::max<std::int64_t>(rect.origin.y, 0); y < far; ++y)
        for (std::int64_t x = std::max<std::int64_t>(rect.origin.x, 0); x < right; ++x)
            write(x, y, color.invertedY, value.a, value.r, value.g, value.b);
    PerfAn::end();
}

void ZelImageBitmapRGBA::fillAlpha()
{
    forEachPixel([](std::uint8_t* pixel) { pixel[0] = 255; });
}

void ZelImageBitmapRGBA::fillTransparentPixelWithColor(Fill color)
{
    const ZelColor255 value(color.color);
    forEachPixel([=](std::uint8_t* pixel) {
        if (pixel[0] == 0) {
            pixel[0] = value.a;
            pixel[1] = value.r;
            pixel[2] = value.g;
            pixel[3] = value.b;
        }
    });
}

void ZelImageBitmapRGBA::lightGate(Threshold threshold)
{
    const int limit = gate(threshold.threshold);
    forEachPixel([=](std::uint8_t* pixel) {
        if (pixel[1] + pixel[2] + pixel[3] < limit)
            pixel[1] = pixel[2] = pixel[3] = 0;
    });
}

void ZelImageBitmapRGBA::darkGate(Threshold threshold)
{
    const int limit = gate(threshold.threshold);
    forEachPixel([=](std::uint8_t* pixel) {
        if (pixel[1] + pixel[2] + pixel[3] > limit)
            pixel[1] = pixel[2] = pixel[3] = 255;
    });
}

void ZelImageBitmapRGBA::lightDarkGate(Threshold threshold)
{
    const int limit = gate(threshold.threshold);
    forEachPixel([=](std::uint8_t* pixel) {
        pixel[1] = pixel[2] = pixel[3] = pixel[1] + pixel[2] + pixel[3] < limit ? std::uint8_t{0} : std::uint8_t{255};
    });
}

Ref<const CGImage> ZelImageBitmapRGBA::cgImage() const
{
    CGImage::Layout layout;
    layout.width = static_cast<int>(width_);
    layout.height = static_cast<int>(height_);
    layout.alphaInfo = CGAlphaInfo::premultipliedFirst;
    return CGImage::make(layout, Data(*bytes_), static_cast<std::size_t>(width_) * 4);
}

Ref<ZelImage> ZelImageBitmapRGBA::zelImage() const
{
    return makeZelImage(cgImage());
}

std::int64_t ZelImageBitmapRGBA::width() const
{
    return width_;
}
std::int64_t ZelImageBitmapRGBA::height() const
{
    return height_;
}
std::span<const std::uint8_t> ZelImageBitmapRGBA::bytes() const
{
    return *bytes_;
}

std::span<std::uint8_t> ZelImageBitmapRGBA::bytes()
{
    if (bytes_.use_count() > 1)
        bytes_ = std::make_shared<std::vector<std::uint8_t>>(*bytes_);
    return *bytes_;
}

} // namespace zel
