#include <zel/platform/graphics/cg_context.h>

#include <zel/engine/fill.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/image_rows.h>
#include <zel/platform/graphics/render.h>

namespace zel {

struct CGContext::State {
    CGImage::Layout layout;
    engine::PixelBuffer canvas;        // RGBA, premultiplied, whatever the layout
    mutable engine::PixelBuffer shown; // the canvas in the layout, where that is another one
    engine::Kernel kernel = engine::Kernel::lanczos3;
};

namespace {

constexpr engine::PixelLayout native{
    .alphaFirst = false, .alpha = engine::PixelLayout::Alpha::premultiplied, .bytesPerComponent = 1};

} // namespace

engine::Kernel kernelOf(CGInterpolationQuality quality)
{
    switch (quality) {
    case CGInterpolationQuality::none:
        return engine::Kernel::nearest;
    case CGInterpolationQuality::low:
    case CGInterpolationQuality::medium:
        return engine::Kernel::triangle;
    case CGInterpolationQuality::high:
        break;
    }
    return engine::Kernel::lanczos3;
}

CGContext::CGContext() : state_(std::make_shared<State>()) {}

Ref<CGContext> CGContext::make(const CGImage::Layout& layout)
{
    if (layout.width < 1 || layout.height < 1 || layout.bitsPerComponent != 8)
        return fail(ZelFailureCode::invalidArgument, "make context", "a context needs sides of at least 1 and 8 bits");
    if (!withinOperationLimits({static_cast<CGFloat>(layout.width), static_cast<CGFloat>(layout.height)}, 4,
                               "make context"))
        return nullptr;
    engine::PixelBuffer canvas(layout.width, layout.height);
    if (canvas.empty())
        return fail(ZelFailureCode::outOfMemory, "make context", "no memory for the context's pixels");
    engine::fill(canvas.pixels(), {0, 0, 0, 0});
    Ref<CGContext> context(new CGContext);
    context->state_->layout = layout;
    context->state_->layout.colorSpace = nullptr;
    context->state_->layout.isGray = false;
    context->state_->canvas = std::move(canvas);
    return context;
}

void CGContext::draw(const Ref<const CGImage>& image, const CGRect& rect, CGFloat opacity)
{
    if (!image)
        return static_cast<void>(failAbsentInput("draw"));
    const engine::Pixels& canvas = state_->canvas.pixels();
    const PixelRect place{rect.minX(), canvas.height - rect.maxY(), rect.width(), rect.height()};
    (void)drawImage(*image, std::nullopt, canvas, place, state_->kernel, opacity);
}

void CGContext::setInterpolationQuality(CGInterpolationQuality quality)
{
    state_->kernel = kernelOf(quality);
}

Ref<const CGImage> CGContext::makeImage() const
{
    engine::PixelBuffer copied(state_->layout.width, state_->layout.height);
    if (copied.empty())
        return fail(ZelFailureCode::outOfMemory, "make image", "no memory for the picture's pixels");
    if (!engine::convert(std::as_const(state_->canvas).pixels(), native, copied.pixels(), pixelLayout(state_->layout)))
        return nullptr;
    return zel::makeImage(state_->layout, std::move(copied));
}

std::span<const std::uint8_t> CGContext::bytes() const
{
    const engine::PixelBuffer* pixels = &state_->canvas;
    if (pixelLayout(state_->layout) != native) {
        if (state_->shown.empty())
            state_->shown = engine::PixelBuffer(state_->layout.width, state_->layout.height);
        if (state_->shown.empty() || !engine::convert(std::as_const(state_->canvas).pixels(), native,
                                                      state_->shown.pixels(), pixelLayout(state_->layout)))
            return {};
        pixels = &state_->shown;
    }
    return {pixels->pixels().data, pixels->sizeInBytes()};
}

} // namespace zel
