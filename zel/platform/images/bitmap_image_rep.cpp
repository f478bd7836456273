#include <zel/engine/convert.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/graphics/color_space.h>
#include <zel/platform/graphics/image_rows.h>
#include <zel/platform/graphics/render.h>
#include <zel/platform/images/ns_image.h>

#include <array>
#include <cmath>
#include <mutex>

namespace zel {
namespace {

constexpr engine::PixelLayout straight{
    .alphaFirst = false, .alpha = engine::PixelLayout::Alpha::straight, .bytesPerComponent = 1};

engine::ConstPixels onePixel(const std::uint8_t* bytes, int bytesPerPixel)
{
    return {bytes, bytesPerPixel, 1, 1, bytesPerPixel};
}
engine::Pixels onePixel(std::uint8_t* bytes, int bytesPerPixel)
{
    return {bytes, bytesPerPixel, 1, 1, bytesPerPixel};
}

std::uint8_t byteOf(CGFloat component)
{
    return static_cast<std::uint8_t>(truncated(component * 255.0, 0, 255));
}

} // namespace

struct NSBitmapImageRep::State {
    Ref<const CGImage> image;    // as it was made, or as `cgImage` last gave it
    engine::PixelBuffer written; // straight sRGB RGBA once somebody wrote
    bool current = true;         // `image` shows what was written
    std::mutex mutex;
};

NSBitmapImageRep::NSBitmapImageRep() : state_(std::make_shared<State>()) {}

Ref<NSBitmapImageRep> NSBitmapImageRep::make(const Ref<const CGImage>& image)
{
    if (!image)
        return failAbsentInput("make bitmap");
    Ref<NSBitmapImageRep> rep(new NSBitmapImageRep);
    rep->state_->image = image;
    rep->size = {static_cast<CGFloat>(image->width()), static_cast<CGFloat>(image->height())};
    return rep;
}

int NSBitmapImageRep::pixelsWide() const
{
    return state_->image->width();
}
int NSBitmapImageRep::pixelsHigh() const
{
    return state_->image->height();
}

Ref<const CGImage> NSBitmapImageRep::cgImage() const
{
    const std::scoped_lock lock(state_->mutex);
    if (!state_->current) {
        CGImage::Layout layout = state_->image->layout();
        layout.bitsPerComponent = 8;
        layout.alphaInfo = CGAlphaInfo::last;
        layout.colorSpace = nullptr;
        layout.isGray = false;
        engine::PixelBuffer copied(layout.width, layout.height);
        if (copied.empty() || !engine::convert(state_->written.pixels(), straight, copied.pixels(), straight))
            return nullptr;
        state_->image = makeImage(layout, std::move(copied));
        state_->current = true;
    }
    return state_->image;
}

NSColor NSBitmapImageRep::colorAt(int x, int y) const
{
    if (x < 0 || y < 0 || x >= pixelsWide() || y >= pixelsHigh())
        return {0, 0, 0, 0};
    const std::scoped_lock lock(state_->mutex);
    std::array<std::uint8_t, 4> pixel{};
    if (!state_->written.empty()) {
        const std::uint8_t* bytes = std::as_const(state_->written).pixels().at(x, y);
        std::copy(bytes, bytes + 4, pixel.begin());
    } else {
        const engine::ConstPixels all = pixelsOf(*state_->image);
        if (all.empty())
            return {0, 0, 0, 0};
        const CGImage::Layout& layout = state_->image->layout();
        (void)engine::convert(onePixel(all.at(x, y), all.bytesPerPixel), pixelLayout(layout), onePixel(pixel.data(), 4),
                              straight);
        if (const auto transform = ColorTransform::toSrgb(layout.colorSpace))
            transform->apply(onePixel(std::as_const(pixel).data(), 4), onePixel(pixel.data(), 4));
        if (!hasAlpha(layout.alphaInfo))
            pixel[3] = 255;
    }
    return {pixel[0] / 255.0, pixel[1] / 255.0, pixel[2] / 255.0, pixel[3] / 255.0};
}

void NSBitmapImageRep::setColor(const NSColor& color, int x, int y)
{
    if (x < 0 || y < 0 || x >= pixelsWide() || y >= pixelsHigh())
        return;
    const std::scoped_lock lock(state_->mutex);
    if (state_->written.empty()) {
        engine::PixelBuffer copied(pixelsWide(), pixelsHigh());
        if (copied.empty() || !renderStraight(*state_->image, copied.pixels()))
            return;
        state_->written = std::move(copied);
    }
    std::uint8_t* pixel = state_->written.pixels().at(x, y);
    pixel[0] = byteOf(color.redComponent);
    pixel[1] = byteOf(color.greenComponent);
    pixel[2] = byteOf(color.blueComponent);
    pixel[3] = byteOf(color.alphaComponent);
    state_->current = false;
}

} // namespace zel
