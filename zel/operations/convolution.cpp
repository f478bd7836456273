#include <zel/operations/convolution.h>

#include <zel/engine/convolve.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/image_rows.h>

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace zel {
namespace {

constexpr std::string_view operation = "convolve";

/// The result's buffer, within the limits; empty, noted, where it cannot be had.
engine::PixelBuffer makeBuffer(const CGImage& image)
{
    if (!withinOperationLimits({static_cast<CGFloat>(image.width()), static_cast<CGFloat>(image.height())}, 4,
                               operation))
        return {};
    engine::PixelBuffer buffer(image.width(), image.height());
    if (buffer.empty())
        fail(ZelFailureCode::outOfMemory, operation, "no memory for the picture's pixels");
    return buffer;
}

/// The stored bytes, 4 a pixel; `scratch` holds them where they had 16 bits. Empty, noted, where there are none.
engine::ConstPixels storedBytes(const CGImage& image, engine::PixelBuffer& scratch)
{
    const engine::ConstPixels stored = pixelsOf(image);
    if (stored.empty() || image.layout().bitsPerComponent == 8)
        return stored;
    warn(ZelFailureCode::unsupported, operation, "16 bits a component were reduced to 8");
    const engine::PixelLayout deep = pixelLayout(image.layout());
    engine::PixelLayout narrow = deep;
    narrow.bytesPerComponent = 1;
    scratch = makeBuffer(image);
    if (scratch.empty() || !engine::convert(stored, deep, scratch.pixels(), narrow))
        return {};
    return std::as_const(scratch).pixels();
}

Ref<const CGImage> convolved(const CGImage& image, const engine::Convolution3x3& how)
{
    engine::PixelBuffer scratch;
    const engine::ConstPixels from = storedBytes(image, scratch);
    if (from.empty())
        return nullptr;
    engine::PixelBuffer result = makeBuffer(image);
    if (result.empty())
        return nullptr;
    if (!engine::convolve(from, how, result.pixels()))
        return fail(ZelFailureCode::outOfMemory, operation, "no memory for a row of the picture");
    CGImage::Layout layout;
    layout.width = image.width();
    layout.height = image.height();
    layout.alphaInfo = CGAlphaInfo::noneSkipLast;
    return makeImage(layout, std::move(result));
}

std::vector<std::int16_t> joined(const std::vector<std::int16_t>& top, const std::vector<std::int16_t>& middle,
                                 const std::vector<std::int16_t>& bottom)
{
    std::vector<std::int16_t> all = top;
    all.insert(all.end(), middle.begin(), middle.end());
    all.insert(all.end(), bottom.begin(), bottom.end());
    return all;
}

} // namespace

ZelConvolution::ZelConvolution(std::vector<std::int16_t> weights) : kernel(std::move(weights)) {}

ZelConvolution::ZelConvolution(const std::vector<std::int16_t>& top, const std::vector<std::int16_t>& middle,
                               const std::vector<std::int16_t>& bottom)
    : kernel(joined(top, middle, bottom))
{
}

Ref<ZelImage> convolve(const Ref<ZelImage>& image, Convolution what)
{
    if (!image || !image->cgImage)
        return failAbsentInput(operation);
    const auto& [kernel, bgColor] = what.convolution;
    engine::Convolution3x3 how;
    if (kernel.size() != how.weights.size())
        return fail(ZelFailureCode::invalidArgument, operation,
                    fmt::format("a kernel has 9 numbers, this one has {}", kernel.size()));
    if (bgColor.size() != how.outside.size())
        return fail(ZelFailureCode::invalidArgument, operation,
                    fmt::format("the colour beyond the edges has 4 bytes, this one has {}", bgColor.size()));
    std::copy(kernel.begin(), kernel.end(), how.weights.begin());
    std::copy(bgColor.begin(), bgColor.end(), how.outside.begin());
    const Ref<const CGImage> result = convolved(*image->cgImage, how);
    return result ? makeZelImage(result) : nullptr;
}

Ref<ZelImage> convolve(const Ref<ZelImage>& image, ConvolutionKernel kernel)
{
    const ZelConvolution convolution(std::move(kernel.kernel));
    return convolve(image, Convolution{convolution});
}

} // namespace zel
