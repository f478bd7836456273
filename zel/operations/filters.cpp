#include <zel/operations/filters.h>

#include <zel/platform/foundation/console.h>
#include <zel/platform/foundation/notes.h>

namespace zel {
namespace {

Absent failPrinted(std::string_view line)
{
    Console::print(line);
    return {};
}

Ref<const CIImage> expressionOf(const Ref<ZelImage>& image, std::string_view operation)
{
    const Ref<const CIImage> expression = image ? image->ciImage() : nullptr;
    return expression ? expression : failAbsentInput(operation);
}

} // namespace

Ref<ZelImage> exposure(const Ref<ZelImage>& image, double stops)
{
    const Ref<const CIImage> expression = expressionOf(image, "exposure");
    const Ref<const CIImage> exposed = expression ? expression->exposed(stops) : nullptr;
    const Ref<ZelImage> result = exposed ? makeZelImage(exposed) : nullptr;
    return result ? result : image;
}

Ref<const CGImage> sharpen(const Ref<const CGImage>& image, Sharpness amount)
{
    if (!image) {
        (void)failAbsentInput("sharpen");
        return failPrinted("Failed to create CISharpenLuminance filter");
    }
    const Ref<const CIImage> sharpened = CIImage::make(image)->luminanceSharpened(amount.sharpness);
    if (!sharpened)
        return failPrinted("Failed to get output image from filter");
    if (Ref<const CGImage> rendered = getCGImage(sharpened))
        return rendered;
    return failPrinted("Failed to create CGImage from CIImage");
}

Ref<ZelImage> sharpen(const Ref<ZelImage>& image, Sharpness amount)
{
    if (!image || !image->cgImage) {
        (void)failAbsentInput("sharpen");
        return failPrinted("Failed to get CGImage");
    }
    const Ref<const CGImage> sharpened = sharpen(image->cgImage, amount);
    return sharpened ? makeZelImage(sharpened) : nullptr;
}

Ref<ZelImage> apply(const Ref<ZelImage>& image, ApplyLut what)
{
    const Ref<const CIImage> expression = expressionOf(image, "look-up table");
    const Ref<const CIImage> graded = expression ? what.lut.applyTo(expression) : nullptr;
    return graded ? makeZelImage(graded) : nullptr;
}

Ref<ZelImage> apply(const Ref<ZelImage>& image, ApplyLutAtUrl what)
{
    if (!image)
        return failAbsentInput("look-up table");
    const std::optional<ZelLut> lut = ZelLut::make(what.lutAtUrl);
    return lut ? apply(image, {.lut = *lut}) : nullptr;
}

} // namespace zel
