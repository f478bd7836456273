#include "masking.h"

#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/url.h>
#include <zel/support/colors.h>

#include <algorithm>

namespace zel::program {
namespace {

/// The library leaves colours as they were premultiplied before; a file shows its colours divided by the alpha that is
/// stored beside them. They are divided by the former alpha here, so that a picture's colours stay through new alphas.
Ref<ZelImage> withStraightColors(const Ref<ZelImage>& masked, const ZelImageBitmapRGBA& before)
{
    CGImage::Layout layout = masked->cgImage->layout();
    layout.alphaInfo = CGAlphaInfo::first;
    const auto stored = masked->cgImage->bytes();
    const auto former = before.bytes();
    std::vector<std::uint8_t> bytes(stored.begin(), stored.end());
    for (std::size_t i = 0; i + 3 < bytes.size() && i < former.size(); i += 4) {
        const unsigned alpha = former[i];
        for (std::size_t c = i + 1; alpha < 255 && c < i + 4; ++c)
            bytes[c] =
                static_cast<std::uint8_t>(alpha == 0 ? 0 : std::min(255U, (bytes[c] * 255U + alpha / 2) / alpha));
    }
    return makeZelImage(CGImage::make(layout, Data(std::move(bytes)), masked->cgImage->bytesPerRow()));
}

} // namespace

MaskBy readMaskBy(std::string_view text)
{
    return readChoice<MaskBy>(text, {{"brightness", MaskBy::brightness}, {"alpha", MaskBy::alpha}});
}

PictureStep maskStep(const std::string& file, MaskBy by)
{
    const auto mask = makeZelImage(URL::file(file));
    if (!mask || mask->cgImage->bytes().empty())
        return nullptr;
    return [mask, by](const Ref<ZelImage>& image) -> Ref<ZelImage> {
        if (!image)
            return nullptr;
        const auto masked = by == MaskBy::alpha ? apply(image, {.mask = mask}) : apply(image, {.mask = mask->cgImage});
        return masked == image ? nullptr : withStraightColors(masked, ZelImageBitmapRGBA(image));
    };
}

} // namespace zel::program
