#include <zel/core/context_image.h>

#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>

#include <limits>

namespace zel {

ZelContextImage::ZelContextImage(const Ref<const CGImage>& picture) : image(makeZelImage(picture))
{
    if (!image)
        return;
    size = image->size;
    makeContext();
    if (context)
        context->draw(picture, {{0, 0}, {static_cast<CGFloat>(width), static_cast<CGFloat>(height)}});
}

ZelContextImage::ZelContextImage(const Ref<ZelImage>& source, Size wanted) : image(source)
{
    if (!image) {
        (void)failAbsentInput("context image");
        return;
    }
    size = wanted.size.value_or(image->size);
    makeContext();
    if (!image->cgImage)
        (void)failAbsentInput("context image");
    else if (context)
        context->draw(image->cgImage, {{0, 0}, {static_cast<CGFloat>(width), static_cast<CGFloat>(height)}});
}

ZelContextImage::ZelContextImage(Size wanted) : size(wanted.size.value_or(CGSize{}))
{
    makeContext();
}

void ZelContextImage::makeContext()
{
    width = truncated(size.width);
    height = truncated(size.height);
    constexpr int most = std::numeric_limits<int>::max();
    CGImage::Layout layout;
    layout.width = truncated(size.width, 0, most);
    layout.height = truncated(size.height, 0, most);
    layout.alphaInfo = CGAlphaInfo::premultipliedLast;
    context = CGContext::make(layout);
    if (context)
        context->setInterpolationQuality(CGInterpolationQuality::high);
}

std::span<const std::uint8_t> ZelContextImage::bitmap() const
{
    return context ? context->bytes() : std::span<const std::uint8_t>{};
}

std::tuple<std::uint8_t, std::uint8_t, std::uint8_t, std::uint8_t>
ZelContextImage::getPixelColorComponents(Pixel at) const
{
    if (!context || at.x < 0 || at.y < 0 || at.x >= width || at.y >= height)
        return {0, 0, 0, 0};
    const std::uint8_t* pixel = bitmap().data() + (at.x + at.y * width) * 4;
    return {pixel[0], pixel[1], pixel[2], pixel[3]};
}

NSColor ZelContextImage::getPixelColor(Pixel at) const
{
    const auto [red, green, blue, alpha] = getPixelColorComponents(at);
    return {red / 255.0, green / 255.0, blue / 255.0, alpha / 255.0};
}

CGFloat ZelContextImage::getPixelAlpha(Pixel at) const
{
    return std::get<3>(getPixelColorComponents(at)) / 255.0;
}

ZelColor ZelContextImage::pixelZelColorNoAlpha(Pixel at) const
{
    const auto [red, green, blue, alpha] = getPixelColorComponents(at);
    return ZelColor::fromBytes(red, green, blue, 255);
}

} // namespace zel
