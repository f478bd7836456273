#include <zel/operations/rotate.h>

#include <zel/engine/affine.h>
#include <zel/engine/orient.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>
#include <zel/platform/graphics/image_rows.h>
#include <zel/platform/graphics/render.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

// A quarter turn of what is not decoded only tells its provider another orientation; of pixels in memory it moves them.
// Any other angle draws the picture through one map onto its new canvas.
namespace zel {
namespace {

using Direction = ZelImage::RotationDirection;

constexpr double pi = 3.141592653589793;
constexpr double tolerance = 1e-6; // of a pixel, by which a side may miss a whole number

std::optional<engine::Orientation> turnOf(Direction direction)
{
    switch (direction) {
    case Direction::r90Clockwhise:
        return engine::Orientation::counterclockwise;
    case Direction::r90AntiClockWise:
        return engine::Orientation::clockwise;
    case Direction::r180:
        return engine::Orientation::halfTurn;
    case Direction::fixHorizon:
    case Direction::none:
        return engine::Orientation::upright;
    }
    return fail(ZelFailureCode::invalidArgument, "rotate", "there is no such direction");
}

/// An encoded picture that is to stand another way.
class TurnedProvider final : public PixelProvider {
public:
    TurnedProvider(Ref<const PixelProvider> stored, engine::Orientation turn)
        : stored_(std::move(stored)), facts_(stored_->facts())
    {
        const auto before = static_cast<engine::Orientation>(facts_.orientation);
        facts_.orientation = static_cast<Orientation>(engine::composed(before, turn));
    }
    [[nodiscard]] const PictureFacts& facts() const override { return facts_; }
    [[nodiscard]] bool canReduce(int denominator) const override { return stored_->canReduce(denominator); }
    [[nodiscard]] bool usesSecondThread() const override { return stored_->usesSecondThread(); }
    [[nodiscard]] bool decode(const Request& request, const RowSink& sink) const override
    {
        return stored_->decode(request, sink);
    }

private:
    Ref<const PixelProvider> stored_;
    PictureFacts facts_;
};

engine::PixelBuffer makeBuffer(int width, int height, int bytesPerPixel)
{
    if (!withinOperationLimits({static_cast<CGFloat>(width), static_cast<CGFloat>(height)}, bytesPerPixel, "rotate"))
        return {};
    engine::PixelBuffer buffer(width, height, bytesPerPixel);
    if (buffer.empty())
        fail(ZelFailureCode::outOfMemory, "rotate", "no memory for the picture's pixels");
    return buffer;
}

/// The picture's own pixels where they are what drawing works on, else `scratch` filled with them; empty, noted, where
/// there are none.
engine::ConstPixels drawnPixels(const CGImage& image, engine::PixelBuffer& scratch)
{
    const engine::PixelLayout drawn{
        .alphaFirst = false, .alpha = engine::PixelLayout::Alpha::premultiplied, .bytesPerComponent = 1};
    const CGImage::Layout& layout = image.layout();
    if (image.isDecoded() && pixelLayout(layout) == drawn && !ColorTransform::toSrgb(layout.colorSpace))
        return pixelsOf(image);
    scratch = makeBuffer(layout.width, layout.height, 4);
    const engine::Window whole{0, 0, static_cast<double>(layout.width), static_cast<double>(layout.height)};
    if (scratch.empty() || !renderScaled(image, whole, scratch.pixels(), engine::Kernel::lanczos3))
        return {};
    return std::as_const(scratch).pixels();
}

/// Pixels a point, across and down.
struct Density {
    double x = 1, y = 1;
    [[nodiscard]] double finer() const { return std::max(x, y); }
};

Density densityOf(const CGImage& pixels, CGSize points)
{
    const Density density{pixels.width() / points.width, pixels.height() / points.height};
    const auto usable = [](double value) { return std::isfinite(value) && value > 0; };
    return usable(density.x) && usable(density.y) ? density : Density{};
}

/// The turned picture on its grown canvas, as many pixels a point in both directions as the finer one has.
Ref<const CGImage> turnedFreely(const CGImage& image, double degrees, Density density)
{
    const double c = std::cos(degrees / 180 * pi), s = std::sin(degrees / 180 * pi);
    const double stretchX = density.finer() / density.x, stretchY = density.finer() / density.y;
    const double width = image.width() * stretchX, height = image.height() * stretchY;
    const CGSize sides{std::ceil(std::fabs(width * c) + std::fabs(height * s) - tolerance),
                       std::ceil(std::fabs(width * s) + std::fabs(height * c) - tolerance)};
    if (!withinOperationLimits(sides, 4, "rotate"))
        return nullptr;
    constexpr int most = std::numeric_limits<int>::max();
    engine::PixelBuffer canvas = makeBuffer(truncated(sides.width, 1, most), truncated(sides.height, 1, most), 4);
    engine::PixelBuffer scratch;
    const engine::ConstPixels from = canvas.empty() ? engine::ConstPixels{} : drawnPixels(image, scratch);
    if (from.empty())
        return nullptr;
    // From the canvas back to the picture, both with y downward: the turn the other way, about both centres.
    const double x = sides.width / 2, y = sides.height / 2;
    const engine::AffineMap back{c / stretchX, -s / stretchX, from.width / 2.0 - (c * x - s * y) / stretchX,
                                 s / stretchY, c / stretchY,  from.height / 2.0 - (s * x + c * y) / stretchY};
    if (!engine::drawAffine(from, canvas.pixels(), {.map = back, .onto = engine::Onto::replace}))
        return fail(ZelFailureCode::invalidArgument, "rotate", "the picture cannot be turned on a canvas of that size");
    CGImage::Layout layout;
    layout.width = canvas.pixels().width;
    layout.height = canvas.pixels().height;
    layout.isGray = image.layout().isGray;
    return makeImage(layout, std::move(canvas));
}

} // namespace

Ref<const CGImage> rotate(const Ref<const CGImage>& image, ZelImage::RotationDirection direction)
{
    if (!image)
        return failAbsentInput("rotate");
    const auto turn = turnOf(direction);
    if (!turn)
        return nullptr;
    if (direction == Direction::none)
        return image;
    if (!image->isDecoded())
        return CGImage::make(std::make_shared<const TurnedProvider>(image->provider(), *turn));
    CGImage::Layout layout = image->layout();
    if (engine::swapsSides(*turn))
        std::swap(layout.width, layout.height);
    engine::PixelBuffer turned = makeBuffer(layout.width, layout.height, bytesPerPixel(layout));
    if (turned.empty() || !engine::orient(pixelsOf(*image), *turn, turned.pixels()))
        return nullptr;
    return makeImage(layout, std::move(turned));
}

Ref<ZelImage> rotate(const Ref<ZelImage>& image, ZelImage::RotationDirection direction)
{
    if (!image)
        return failAbsentInput("rotate");
    if (direction == Direction::none)
        return image;
    const Ref<const CGImage> turned = rotate(image->cgImage, direction);
    return turned ? makeZelImage(turned) : nullptr;
}

Ref<ZelImage> rotate(const Ref<ZelImage>& image, RotateDegrees angle)
{
    if (!image || !image->image)
        return failAbsentInput("rotate");
    if (!std::isfinite(angle.degrees))
        return fail(ZelFailureCode::invalidArgument, "rotate", "the angle is not a finite number");
    const Ref<const CGImage> pixels = image->image->cgImage();
    if (!pixels)
        return nullptr;
    const double degrees = std::fmod(angle.degrees, 360); // exact, so that 90 and 450 are the same turn
    const double quarters = degrees / 90;
    if (quarters != std::floor(quarters)) {
        const Density density = densityOf(*pixels, image->image->size());
        const Ref<const CGImage> turned = turnedFreely(*pixels, degrees, density);
        if (!turned)
            return nullptr;
        const CGSize sides{static_cast<CGFloat>(turned->width()), static_cast<CGFloat>(turned->height())};
        return makeZelImage(NSImage::make(turned, sides / density.finer()));
    }
    constexpr Direction counterclockwise[] = {Direction::fixHorizon, Direction::r90Clockwhise, Direction::r180,
                                              Direction::r90AntiClockWise};
    const int quarter = (static_cast<int>(quarters) + 4) % 4;
    const Ref<const CGImage> turned = rotate(pixels, counterclockwise[quarter]);
    CGSize points = image->image->size();
    if (quarter % 2 == 1)
        std::swap(points.width, points.height);
    return turned ? makeZelImage(NSImage::make(turned, points)) : nullptr;
}

Ref<ZelImage> ZelImageHelper::rotate(const Ref<ZelImage>& image, RotateBy degrees)
{
    if (!image)
        return failAbsentInput("rotate");
    const Ref<const CIImage> flat = image->ciImage();
    if (!flat) {
        fail(ZelFailureCode::invalidArgument, "rotate", "the image has no pixels");
        return image;
    }
    const CGRect extent = flat->extent();
    const auto turn = CGAffineTransform{}
                          .translated(extent.midX(), extent.midY())
                          .rotated(degrees.by * pi / 180)
                          .translated(-extent.midX(), -extent.midY());
    const Ref<const CIImage> turned = flat->transformed(turn);
    const Ref<const CGImage> rendered = CIContext().createCGImage(turned, turned->extent());
    return rendered ? makeZelImage(rendered) : image;
}

} // namespace zel
