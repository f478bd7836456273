#include <zel/platform/graphics/render.h>

#include <zel/engine/blend.h>
#include <zel/engine/composite.h>
#include <zel/engine/fill.h>
#include <zel/engine/orient.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>
#include <zel/platform/graphics/image_rows.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace zel {
namespace {

using engine::ConstPixels;
using engine::PixelBuffer;
using engine::Pixels;
using engine::Window;

constexpr engine::PixelLayout premultiplied8{
    .alphaFirst = false, .alpha = engine::PixelLayout::Alpha::premultiplied, .bytesPerComponent = 1};
constexpr engine::PixelLayout straight8{
    .alphaFirst = false, .alpha = engine::PixelLayout::Alpha::straight, .bytesPerComponent = 1};

/// Stored rows of a picture as they will be sampled: where they come from and how they lie.
struct Source {
    const CGImage& image;
    bool decoded;
    Orientation orientation;
    int width, height; // as stored, not reduced
    int denominator = 1;
    engine::PixelLayout layout;
    Ref<const ColorTransform> transform;
};

Source sourceOf(const CGImage& image)
{
    const bool decoded = image.isDecoded();
    const CGImage::Layout& layout = decoded ? image.layout() : image.facts()->layout;
    return {image,
            decoded,
            decoded ? Orientation::up : image.facts()->orientation,
            layout.width,
            layout.height,
            1,
            pixelLayout(layout),
            ColorTransform::toSrgb(layout.colorSpace)};
}

/// The window of the upright picture, in the stored one.
Window storedWindow(const Window& upright, Orientation orientation, double width, double height)
{
    const auto stored = [&](double x, double y) -> std::pair<double, double> {
        switch (orientation) {
        case Orientation::mirrored:
            return {width - x, y};
        case Orientation::down:
            return {width - x, height - y};
        case Orientation::downMirrored:
            return {x, height - y};
        case Orientation::transposed:
            return {y, x};
        case Orientation::right:
            return {y, height - x};
        case Orientation::transverse:
            return {width - y, height - x};
        case Orientation::left:
            return {width - y, x};
        case Orientation::up:
            break;
        }
        return {x, y};
    };
    const auto [x0, y0] = stored(upright.x, upright.y);
    const auto [x1, y1] = stored(upright.x + upright.width, upright.y + upright.height);
    return {std::min(x0, x1), std::min(y0, y1), std::fabs(x1 - x0), std::fabs(y1 - y0)};
}

bool outOfMemory()
{
    return fail(ZelFailureCode::outOfMemory, "draw", "no memory for the picture's pixels");
}

/// A scratch band of at least that many rows.
bool makeRoom(PixelBuffer& band, const ConstPixels& rows, int bytesPerPixel)
{
    const ConstPixels has = std::as_const(band).pixels();
    if (band.empty() || has.height < rows.height || has.width != rows.width)
        band = PixelBuffer(rows.width, rows.height, bytesPerPixel);
    return !band.empty() || outOfMemory();
}

/// Brings bands from the source's layout and colours to premultiplied ones, with as little copying as the layout
/// allows.
class Preparation {
public:
    Preparation(const Source& source, bool convertColours)
        : layout_(source.layout), transform_(convertColours ? source.transform : nullptr)
    {
        // Decoders write the skipped component as the largest value, so that their rows are opaque as they are.
        asItIs_ = !transform_ && !layout_.alphaFirst &&
                  (layout_.alpha == engine::PixelLayout::Alpha::premultiplied ||
                   (layout_.alpha == engine::PixelLayout::Alpha::skip && !source.decoded));
    }
    /// The rows, or a copy that holds until the next call; empty pixels when memory ran out.
    ConstPixels operator()(const ConstPixels& rows)
    {
        if (asItIs_)
            return rows;
        if (!makeRoom(band_, rows, rows.bytesPerPixel))
            return {};
        engine::PixelLayout to{.alphaFirst = false,
                               .alpha = engine::PixelLayout::Alpha::premultiplied,
                               .bytesPerComponent = layout_.bytesPerComponent};
        const Pixels band = band_.pixels().rows(0, rows.height);
        if (!transform_)
            return engine::convert(rows, layout_, band, to) ? ConstPixels(band) : ConstPixels{};
        engine::PixelLayout between = to;
        between.alpha = engine::PixelLayout::Alpha::straight;
        if (!engine::convert(rows, layout_, band, between))
            return {};
        transform_->apply(band, band);
        if (layout_.alpha != engine::PixelLayout::Alpha::skip && !engine::convert(band, between, band, to))
            return {};
        return band;
    }

private:
    engine::PixelLayout layout_;
    Ref<const ColorTransform> transform_;
    bool asItIs_ = false;
    PixelBuffer band_;
};

/// What is left to do with resampled rows: 16 bits to 8, colours to sRGB.
bool finish(const ConstPixels& rows, const Pixels& to, const ColorTransform* transform, bool opaque)
{
    engine::PixelLayout from = premultiplied8;
    from.bytesPerComponent = rows.bytesPerPixel / 4;
    if (!transform)
        return engine::convert(rows, from, to, premultiplied8);
    if (opaque) {
        if (!engine::convert(rows, from, to, premultiplied8))
            return false;
        transform->apply(to, to);
        return true;
    }
    if (!engine::convert(rows, from, to, straight8))
        return false;
    transform->apply(to, to);
    return engine::convert(to, straight8, to, premultiplied8);
}

/// Stored rows of the window resampled into `to`, which lies as they do.
bool renderStored(Source& source, const Window& window, const Pixels& to, engine::Kernel kernel)
{
    const double reduction = std::min(window.width / to.width, window.height / to.height);
    if (!source.decoded && kernel != engine::Kernel::nearest)
        source.denominator = decodedAt(*source.image.provider(), reduction);
    const auto reduced = [&](int side) { return (side + source.denominator - 1) / source.denominator; };
    const double scale = 1.0 / source.denominator;
    const engine::RowResamplerSizes sizes{reduced(source.width), reduced(source.height), to.width, to.height,
                                          4 * source.layout.bytesPerComponent};
    const Window inReduced{window.x * scale, window.y * scale, window.width * scale, window.height * scale};

    const bool opaque = source.layout.alpha == engine::PixelLayout::Alpha::skip;
    const bool convertFirst = reduction < 1;
    Preparation prepare(source, convertFirst);
    const ColorTransform* after = convertFirst ? nullptr : source.transform.get();
    engine::RowResampler resampler(
        sizes, kernel, inReduced, opaque ? engine::Alpha::opaque : engine::Alpha::premultiplied,
        [&](int first, const ConstPixels& rows) { return finish(rows, to.rows(first, rows.height), after, opaque); });
    if (!resampler.valid())
        return fail(ZelFailureCode::invalidArgument, "draw", "the picture cannot be brought to that size");
    if (source.layout.bytesPerComponent == 2)
        warn(ZelFailureCode::unsupported, "draw", "16 bits a component were reduced to 8");
    const auto take = [&](int first, const ConstPixels& rows) {
        const ConstPixels prepared = prepare(rows);
        return !prepared.empty() && resampler.push(first, prepared) && !resampler.finished();
    };
    // The sink stops the decoder once the last row of the result is there: its answer then says nothing.
    if (source.decoded) {
        const ConstPixels all = pixelsOf(source.image);
        const int step = static_cast<int>(std::max<std::size_t>(16, (std::size_t{1} << 20U) / all.rowBytes()));
        for (int first = resampler.firstRow(); first < resampler.endRow(); first += step)
            if (!take(first, all.rows(first, std::min(step, resampler.endRow() - first))))
                break;
        return resampler.finished();
    }
    const PixelProvider::Request request{source.denominator, resampler.firstRow(),
                                         resampler.endRow() - resampler.firstRow()};
    (void)decodeBeside(*source.image.provider(), request, take);
    return resampler.finished();
}

struct Place {
    int left = 0, top = 0, width = 0, height = 0;
};

/// Whole sides keep their size and move to the nearest pixel; others are widened.
Place snapped(const PixelRect& rect)
{
    constexpr double tolerance = 1e-6;
    constexpr int most = 1 << 30;
    const auto span = [&](double start, double length) -> std::pair<int, int> {
        const double wholeLength = std::round(length);
        if (std::fabs(length - wholeLength) < tolerance)
            return {truncated(std::floor(start + 0.5 + tolerance), -most, most), truncated(wholeLength, 0, most)};
        const double low = std::floor(start + tolerance), high = std::ceil(start + length - tolerance);
        return {truncated(low, -most, most), truncated(high - low, 0, most)};
    };
    const auto [left, width] = span(rect.x, rect.width);
    const auto [top, height] = span(rect.y, rect.height);
    return {left, top, width, height};
}

/// The part that lies on the target.
Place clipped(const Place& place, const Pixels& target)
{
    const int left = std::max(place.left, 0), top = std::max(place.top, 0);
    const auto end = [](int start, int length, int bound) {
        return static_cast<int>(std::min<long long>(bound, static_cast<long long>(start) + length));
    };
    return {left, top, std::max(0, end(place.left, place.width, target.width) - left),
            std::max(0, end(place.top, place.height, target.height) - top)};
}

/// The part of a picture that may be sampled: all of it, or whole pixels of it.
struct Sampled {
    double x = 0, y = 0, width = 0, height = 0;
    bool all = true;
};

Sampled sampledPart(const CGImage& image, const std::optional<PixelRect>& part)
{
    const double width = image.width(), height = image.height();
    if (!part)
        return {0, 0, width, height, true};
    const auto low = [](double value, double most) {
        return value > 0 ? std::min(std::floor(value + 1e-6), most) : 0.0;
    };
    const auto high = [](double value, double most) {
        return value > 0 ? std::min(std::ceil(value - 1e-6), most) : 0.0;
    };
    const double x = low(part->x, width), y = low(part->y, height);
    const double right = high(part->x + part->width, width), bottom = high(part->y + part->height, height);
    return {x, y, std::max(0.0, right - x), std::max(0.0, bottom - y),
            x == 0 && y == 0 && right == width && bottom == height};
}

/// In memory, in the form that drawing works on.
bool isDrawable(const CGImage& image)
{
    return image.isDecoded() && pixelLayout(image.layout()) == premultiplied8 &&
           !ColorTransform::toSrgb(image.layout().colorSpace);
}

} // namespace

bool drawsOpaque(const CGImage& image)
{
    return !hasAlpha(image.layout().alphaInfo);
}

bool renderScaled(const CGImage& image, const Window& window, const Pixels& to, engine::Kernel kernel)
{
    Source source = sourceOf(image);
    const Window stored = storedWindow(window, source.orientation, source.width, source.height);
    if (source.orientation == Orientation::up)
        return renderStored(source, stored, to, kernel);
    const bool swapped = swapsSides(source.orientation);
    PixelBuffer lying(swapped ? to.height : to.width, swapped ? to.width : to.height);
    if (lying.empty())
        return outOfMemory();
    return renderStored(source, stored, lying.pixels(), kernel) &&
           engine::orient(std::as_const(lying).pixels(), static_cast<engine::Orientation>(source.orientation), to);
}

bool renderPart(const CGImage& image, const PixelRect& part, const Window& window, const Pixels& to,
                engine::Kernel kernel)
{
    const Sampled sampled = sampledPart(image, part);
    if (sampled.all)
        return renderScaled(image, window, to, kernel);
    if (!(sampled.width >= 1 && sampled.height >= 1))
        return fail(ZelFailureCode::invalidArgument, "draw", "the part of the picture is empty");
    const int x = static_cast<int>(sampled.x), y = static_cast<int>(sampled.y);
    const int width = static_cast<int>(sampled.width), height = static_cast<int>(sampled.height);
    const ConstPixels pixels = pixelsOf(image);
    if (pixels.empty())
        return false;
    // A picture of the part alone, in the same memory: its edge is where sampling ends.
    Source source = sourceOf(image);
    Preparation prepare(source, true);
    const ConstPixels prepared = prepare(pixels.part(x, y, width, height));
    if (prepared.empty())
        return false;
    PixelBuffer narrowed;
    ConstPixels from = prepared;
    if (from.bytesPerPixel == 8) {
        if (!makeRoom(narrowed, from, 4) || !finish(from, narrowed.pixels(), nullptr, false))
            return false;
        from = std::as_const(narrowed).pixels().rows(0, height);
    }
    const bool opaque = source.layout.alpha == engine::PixelLayout::Alpha::skip;
    return engine::resample(from, to, kernel, {window.x - x, window.y - y, window.width, window.height},
                            opaque ? engine::Alpha::opaque : engine::Alpha::premultiplied);
}

bool renderStraight(const CGImage& image, const Pixels& to)
{
    const auto transform = ColorTransform::toSrgb(image.layout().colorSpace);
    const engine::PixelLayout from = pixelLayout(image.layout());
    if (from.bytesPerComponent == 2)
        warn(ZelFailureCode::unsupported, "draw", "16 bits a component were reduced to 8");
    return readRows(image, [&](int first, const ConstPixels& rows) {
        const Pixels target = to.rows(first, rows.height);
        if (!engine::convert(rows, from, target, straight8))
            return false;
        if (transform)
            transform->apply(target, target);
        return true;
    });
}

bool drawImage(const CGImage& image, const std::optional<PixelRect>& part, const Pixels& target, const PixelRect& place,
               engine::Kernel kernel, double opacity)
{
    const Sampled sampled = sampledPart(image, part);
    const Place wanted = snapped(place);
    const Place visible = clipped(wanted, target);
    if (visible.width == 0 || visible.height == 0 || !(opacity > 0) || !(sampled.width >= 1 && sampled.height >= 1))
        return true;
    if (isDrawable(image)) {
        const ConstPixels from =
            pixelsOf(image).part(static_cast<int>(sampled.x), static_cast<int>(sampled.y),
                                 static_cast<int>(sampled.width), static_cast<int>(sampled.height));
        const engine::Placement on{static_cast<double>(wanted.left), static_cast<double>(wanted.top),
                                   static_cast<double>(wanted.width), static_cast<double>(wanted.height)};
        return engine::drawScaled(from, target, on, kernel, opacity);
    }
    const double scaleX = sampled.width / wanted.width, scaleY = sampled.height / wanted.height;
    const Window window{sampled.x + (visible.left - wanted.left) * scaleX,
                        sampled.y + (visible.top - wanted.top) * scaleY, visible.width * scaleX,
                        visible.height * scaleY};
    const Pixels under = target.part(visible.left, visible.top, visible.width, visible.height);
    const auto render = [&](const Pixels& to) {
        return sampled.all
                   ? renderScaled(image, window, to, kernel)
                   : renderPart(image, {sampled.x, sampled.y, sampled.width, sampled.height}, window, to, kernel);
    };
    if (opacity >= 1 && drawsOpaque(image))
        return render(under);
    PixelBuffer layer(visible.width, visible.height);
    if (layer.empty())
        return outOfMemory();
    return render(layer.pixels()) && engine::sourceOver(std::as_const(layer).pixels(), under, opacity);
}

} // namespace zel
