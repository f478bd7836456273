#include <zel/platform/graphics/cg_image.h>

#include <zel/engine/fill.h>
#include <zel/engine/orient.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>
#include <zel/platform/graphics/image_part.h>
#include <zel/platform/graphics/image_rows.h>

#include <atomic>
#include <mutex>
#include <utility>

// A picture begins as pixels in memory or as a provider; once all pixels were asked for, they stay.
namespace zel {

struct CGImage::State {
    Layout layout;
    Ref<const PixelProvider> provider;
    Data given;                 // pixels that a host handed over
    engine::PixelBuffer own;    // pixels that we decoded or made
    Ref<const void> owner;      // of pixels that lie in somebody else's memory, which it keeps alive
    engine::ConstPixels pixels; // valid once `decoded`
    std::atomic<bool> decoded = false;
    std::mutex filling;
};

struct CGImageAccess {
    using State = CGImage::State;
    static Ref<CGImage> create(const CGImage::Layout& layout)
    {
        const Ref<CGImage> image(new CGImage);
        image->state_->layout = layout;
        return image;
    }
    static CGImage::State& state(const CGImage& image) { return *image.state_; }
};

namespace {

bool isSound(const CGImage::Layout& layout)
{
    return layout.width >= 1 && layout.height >= 1 && (layout.bitsPerComponent == 8 || layout.bitsPerComponent == 16);
}

/// Decodes all rows into a fresh buffer and turns them upright.
engine::PixelBuffer decodeWhole(const PixelProvider& provider)
{
    const PictureFacts& facts = provider.facts();
    const CGImage::Layout& layout = facts.layout;
    if (!withinDecodeLimits(layout.width, layout.height, bytesPerPixel(layout), "decode"))
        return {};
    engine::PixelBuffer stored(layout.width, layout.height, bytesPerPixel(layout));
    if (stored.empty()) {
        fail(ZelFailureCode::outOfMemory, "decode", "no memory for the picture's pixels");
        return {};
    }
    const auto keep = [&](int first, const engine::ConstPixels& rows) {
        return engine::copy(rows, stored.pixels().rows(first, rows.height));
    };
    if (!decodeBeside(provider, {}, keep))
        return {};
    if (facts.orientation == Orientation::up)
        return stored;
    const bool swapped = swapsSides(facts.orientation);
    engine::PixelBuffer upright(swapped ? layout.height : layout.width, swapped ? layout.width : layout.height,
                                bytesPerPixel(layout));
    if (upright.empty()) {
        fail(ZelFailureCode::outOfMemory, "decode", "no memory to turn the picture upright");
        return {};
    }
    if (!engine::orient(stored.pixels(), static_cast<engine::Orientation>(facts.orientation), upright.pixels()))
        return {};
    return upright;
}

/// Mirrored rows can flow as they come; every other turn needs the last row before it can give the first.
bool readMirrored(const CGImage& image, const PixelProvider& provider, const RowSink& sink)
{
    engine::PixelBuffer band;
    return decodeBeside(provider, {}, [&](int first, const engine::ConstPixels& rows) {
        if (band.empty() || band.pixels().height < rows.height)
            band = engine::PixelBuffer(image.width(), rows.height, rows.bytesPerPixel);
        if (band.empty())
            return static_cast<bool>(fail(ZelFailureCode::outOfMemory, "decode", "no memory for a band of rows"));
        const engine::Pixels turned = band.pixels().rows(0, rows.height);
        return engine::orient(rows, engine::Orientation::mirrored, turned) && sink(first, turned);
    });
}

} // namespace

CGImage::CGImage() : state_(std::make_shared<State>()) {}

Ref<const CGImage> CGImage::make(const Layout& layout, Data bytes, std::size_t bytesPerRow)
{
    if (!isSound(layout))
        return fail(ZelFailureCode::invalidArgument, "make image",
                    "a picture needs sides of at least 1 and 8 or 16 bits");
    const auto row = checkedBytes(layout.width, 1, 4, layout.bitsPerComponent / 8);
    const auto above = checkedBytes(static_cast<std::int64_t>(std::min<std::size_t>(bytesPerRow, 1ULL << 40U)),
                                    layout.height - 1 > 0 ? layout.height - 1 : 1, 1, 1);
    const std::uint64_t needed =
        layout.height > 1 ? above.value_or(~0ULL - (1ULL << 40U)) + row.value_or(0) : row.value_or(0);
    if (!row || bytesPerRow < *row || bytes.size() < needed)
        return fail(ZelFailureCode::invalidArgument, "make image", "fewer bytes than the picture's layout needs");
    const Ref<CGImage> image = CGImageAccess::create(layout);
    State& state = *image->state_;
    state.given = std::move(bytes);
    state.pixels = {state.given.data(), static_cast<std::ptrdiff_t>(bytesPerRow), layout.width, layout.height,
                    zel::bytesPerPixel(layout)};
    state.decoded = true;
    return image;
}

Ref<const CGImage> CGImage::make(const Ref<const PixelProvider>& provider)
{
    if (!provider)
        return nullptr;
    const PictureFacts& facts = provider->facts();
    Layout layout = facts.layout;
    if (!isSound(layout))
        return nullptr;
    if (swapsSides(facts.orientation))
        std::swap(layout.width, layout.height);
    const Ref<CGImage> image = CGImageAccess::create(layout);
    image->state_->provider = provider;
    return image;
}

int CGImage::width() const
{
    return state_->layout.width;
}
int CGImage::height() const
{
    return state_->layout.height;
}
const CGImage::Layout& CGImage::layout() const
{
    return state_->layout;
}
bool CGImage::isDecoded() const
{
    return state_->decoded;
}
const Ref<const PixelProvider>& CGImage::provider() const
{
    return state_->provider;
}
const PictureFacts* CGImage::facts() const
{
    return state_->provider ? &state_->provider->facts() : nullptr;
}

std::size_t CGImage::bytesPerRow() const
{
    if (!state_->given.empty() || state_->owner)
        return static_cast<std::size_t>(state_->pixels.stride);
    return static_cast<std::size_t>(width()) * static_cast<std::size_t>(zel::bytesPerPixel(layout()));
}

std::span<const std::uint8_t> CGImage::bytes() const
{
    const engine::ConstPixels pixels = pixelsOf(*this);
    if (pixels.empty())
        return {};
    return {pixels.data,
            static_cast<std::size_t>(pixels.stride) * static_cast<std::size_t>(pixels.height - 1) + pixels.rowBytes()};
}

Ref<const CGImage> makeImage(const CGImage::Layout& layout, engine::PixelBuffer pixels)
{
    const engine::Pixels view = pixels.pixels();
    if (!isSound(layout) || view.width != layout.width || view.height != layout.height ||
        view.bytesPerPixel != bytesPerPixel(layout))
        return nullptr;
    const Ref<CGImage> image = CGImageAccess::create(layout);
    auto& state = CGImageAccess::state(*image);
    state.own = std::move(pixels);
    state.pixels = view;
    state.decoded = true;
    return image;
}

Ref<const CGImage> makeImage(const CGImage::Layout& layout, const engine::ConstPixels& pixels, Ref<const void> owner)
{
    if (!isSound(layout) || pixels.width != layout.width || pixels.height != layout.height || pixels.stride < 0 ||
        pixels.bytesPerPixel != bytesPerPixel(layout) || !owner)
        return nullptr;
    const Ref<CGImage> image = CGImageAccess::create(layout);
    auto& state = CGImageAccess::state(*image);
    state.owner = std::move(owner);
    state.pixels = pixels;
    state.decoded = true;
    return image;
}

Ref<const CGImage> partOf(const Ref<const CGImage>& image, const PixelArea& area)
{
    if (!image)
        return failAbsentInput("crop");
    if (area.left < 0 || area.top < 0 || area.width < 1 || area.height < 1 || area.width > image->width() - area.left ||
        area.height > image->height() - area.top)
        return fail(ZelFailureCode::invalidArgument, "crop", "the part is not inside the picture");
    if (area.width == image->width() && area.height == image->height())
        return image;
    const CGImageAccess::State& whole = CGImageAccess::state(*image);
    const Ref<const PixelProvider> provider = whole.provider ? partOf(whole.provider, area) : nullptr;
    if (!whole.decoded)
        return CGImage::make(provider);
    CGImage::Layout layout = whole.layout;
    layout.width = area.width;
    layout.height = area.height;
    // A part of a part holds on to the memory alone: chains of parts would be as long as a host cares to make them.
    const Ref<const void> owner = whole.owner ? whole.owner : Ref<const void>(image);
    const Ref<CGImage> part = CGImageAccess::create(layout);
    auto& state = CGImageAccess::state(*part);
    state.provider = provider;
    state.owner = owner;
    state.pixels = whole.pixels.part(area.left, area.top, area.width, area.height);
    state.decoded = true;
    return part;
}

engine::ConstPixels pixelsOf(const CGImage& image)
{
    auto& state = CGImageAccess::state(image);
    if (!state.decoded) {
        const std::scoped_lock lock(state.filling);
        if (!state.decoded) {
            state.own = decodeWhole(*state.provider);
            if (state.own.empty())
                return {};
            state.pixels = state.own.pixels();
            state.decoded = true;
        }
    }
    return state.pixels;
}

bool readRows(const CGImage& image, const RowSink& sink)
{
    if (!image.isDecoded() && image.facts()->orientation == Orientation::up)
        return decodeBeside(*image.provider(), {}, sink);
    if (!image.isDecoded() && image.facts()->orientation == Orientation::mirrored)
        return readMirrored(image, *image.provider(), sink);
    const engine::ConstPixels pixels = pixelsOf(image);
    if (pixels.empty())
        return false;
    // Bands of about 256 KiB keep what a sink does with them in the cache.
    const int step = static_cast<int>(std::max<std::size_t>(1, (256U << 10U) / pixels.rowBytes()));
    for (int first = 0; first < pixels.height; first += step)
        if (!sink(first, pixels.rows(first, std::min(step, pixels.height - first))))
            return false;
    return true;
}

engine::PixelLayout pixelLayout(const CGImage::Layout& layout)
{
    using Alpha = engine::PixelLayout::Alpha;
    engine::PixelLayout result{};
    result.bytesPerComponent = layout.bitsPerComponent / 8;
    switch (layout.alphaInfo) {
    case CGAlphaInfo::noneSkipLast:
        result.alphaFirst = false, result.alpha = Alpha::skip;
        break;
    case CGAlphaInfo::noneSkipFirst:
        result.alphaFirst = true, result.alpha = Alpha::skip;
        break;
    case CGAlphaInfo::last:
        result.alphaFirst = false, result.alpha = Alpha::straight;
        break;
    case CGAlphaInfo::first:
        result.alphaFirst = true, result.alpha = Alpha::straight;
        break;
    case CGAlphaInfo::premultipliedLast:
        result.alphaFirst = false, result.alpha = Alpha::premultiplied;
        break;
    case CGAlphaInfo::premultipliedFirst:
        result.alphaFirst = true, result.alpha = Alpha::premultiplied;
        break;
    }
    return result;
}

} // namespace zel
