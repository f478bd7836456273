#include <zel/platform/images/ns_image.h>

#include <zel/engine/fill.h>
#include <zel/platform/codecs/codec.h>
#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/image_rows.h>
#include <zel/platform/images/draw.h>
#include <zel/platform/images/encoded_image.h>
#include <zel/platform/images/ns_image_state.h>
#include <zel/platform/images/target_image.h>

#include <fmt/format.h>

#include <cmath>
#include <limits>
#include <utility>

namespace zel {
namespace {

Ref<const CGImage> blankBitmap(std::pair<int, int> sides)
{
    CGImage::Layout layout;
    layout.width = sides.first;
    layout.height = sides.second;
    engine::PixelBuffer pixels(layout.width, layout.height);
    if (pixels.empty())
        return fail(ZelFailureCode::outOfMemory, "draw",
                    fmt::format("no memory for {} x {} pixels", layout.width, layout.height));
    engine::fill(pixels.pixels(), {0, 0, 0, 0});
    return makeImage(layout, std::move(pixels));
}

Ref<NSImage> ofDocument(const Ref<const ByteSource>& source, Document::Kind kind)
{
    const Ref<const DocumentPicture> document = DocumentPicture::open(source, kind);
    if (!document)
        return nullptr;
    Ref<NSImage> result = NSImage::make(document->natural(), document->points());
    NSImageAccess::state(*result).document = document;
    NSImageAccess::state(*result).source = source;
    return result;
}

} // namespace

Ref<NSImage> makeEncodedImage(const Ref<const ByteSource>& source)
{
    if (!source)
        return nullptr;
    if (const auto kind = Document::kindOf(*source))
        return ofDocument(source, *kind);
    const SubjectScope subject(source->subject());
    const Ref<const CGImage> image = CGImage::make(openPicture(source));
    const Ref<NSImage> result = image ? NSImage::make(image, uprightPoints(*image->facts())) : nullptr;
    if (result)
        NSImageAccess::state(*result).source = source;
    return result;
}

bool isLost(const NSImage& image)
{
    const Ref<const ByteSource>& source = NSImageAccess::state(image).source;
    return source && source->isLost();
}

std::optional<std::pair<int, int>> pixelSides(CGSize points, CGFloat scale)
{
    const CGSize pixels{std::ceil(points.width * scale - 1e-6), std::ceil(points.height * scale - 1e-6)};
    if (!(pixels.width >= 1 && pixels.height >= 1))
        return fail(ZelFailureCode::invalidArgument, "draw", "an image without sides has no pixels");
    if (!withinOperationLimits(pixels, 4, "draw"))
        return std::nullopt;
    constexpr int most = std::numeric_limits<int>::max();
    return std::pair{truncated(pixels.width, 0, most), truncated(pixels.height, 0, most)};
}

NSImage::NSImage() : state_(std::make_shared<State>()) {}

Ref<NSImage> NSImage::make(CGSize size)
{
    return NSImageAccess::create(size);
}

Ref<NSImage> NSImage::make(const Ref<const CGImage>& image, CGSize size)
{
    if (!image)
        return failAbsentInput("make image");
    Ref<NSImage> result = NSImageAccess::create(size);
    result->state_->bitmap = image;
    return result;
}

Ref<NSImage> NSImage::make(const Data& encoded)
{
    return makeEncodedImage(ByteSource::of(encoded));
}
Ref<NSImage> NSImage::make(const URL& file)
{
    return makeEncodedImage(ByteSource::open(file));
}

Ref<NSImage> NSImage::make(CGSize size, std::function<bool(CGRect)> drawingHandler)
{
    Ref<NSImage> result = NSImageAccess::create(size);
    result->state_->handler = std::move(drawingHandler);
    return result;
}

Ref<NSImage> makeTargetImage(CGSize points, CGSize pixels)
{
    Ref<NSImage> result = NSImageAccess::create(points);
    const auto sides = pixelSides(pixels, 1);
    NSImageAccess::state(*result).pixels = sides.value_or(std::pair{0, 0});
    return result;
}

CGSize NSImage::size() const
{
    return state_->points;
}
CGFloat NSImage::width() const
{
    return state_->points.width;
}
CGFloat NSImage::height() const
{
    return state_->points.height;
}

Ref<const CGImage> NSImage::cgImage(std::optional<CGRect> proposedRect) const
{
    const std::scoped_lock lock(state_->filling);
    if (state_->document && proposedRect) {
        const auto sides = pixelSides(proposedRect->size, 1);
        return sides ? state_->document->bitmap(sides->first, sides->second) : nullptr;
    }
    if (state_->bitmap)
        return state_->bitmap;
    const auto sides = state_->pixels ? state_->pixels : pixelSides(state_->points, Screens::displayScale());
    if (!sides || sides->first < 1)
        return nullptr;
    Ref<const CGImage> blank = blankBitmap(*sides);
    if (!blank || !state_->handler)
        return blank;
    // The handler draws into an image of its own, so that what it does with this one cannot wait for this lock.
    const Ref<NSImage> target = NSImage::make(blank, state_->points);
    Draw::start(target);
    const bool drew = state_->handler({{0, 0}, state_->points});
    Draw::end();
    return drew ? target->cgImage() : blank;
}

} // namespace zel
